#ifndef QUENDRIL_SECOND_BASE_SHGETFOLDERPATH_H
#define QUENDRIL_SECOND_BASE_SHGETFOLDERPATH_H

#include "foundation/export.h"

// Folder 35 is what the environment variable SECOND_BASE_FOLDER says; without it the call fails.
QUENDRIL_EXPORT int SHGetFolderPath(void* window, int folder, void* token, unsigned int flags,
                                    char* path);

#endif
