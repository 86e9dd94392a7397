#ifndef QUENDRIL_TESTS_DOCS_SAMPLEFRAME_H
#define QUENDRIL_TESTS_DOCS_SAMPLEFRAME_H

// What the samples of the pages may use without saying so.

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <list>
#include <memory>
#include <vector>

#include "catalogue/ContainerInfoEdit.h"
#include "common/CommonContInfoFileCreater.h"
#include "common/CommonContInfoList.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/ASNCreateLockName.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/QuasiStructBuffer.h"
#include "recordstore/StatusCodes.h"

// Each of them as a function.
extern void (*const kSamples[])();

#endif
