#ifndef QUENDRIL_RECORDSTORE_ASNCREATELOCKNAME_H
#define QUENDRIL_RECORDSTORE_ASNCREATELOCKNAME_H

#include "foundation/CTOOString.h"
#include "foundation/export.h"

// Gives a path that can be locked in the place of `path`: `path` itself when it is readable,
// otherwise that of a new empty file beside it, named as `path` with six characters behind it,
// which the caller removes. Returns false, and leaves `lockName` alone, when no such file can be
// made; a line at debug level 1 says so. `lockName` may be null; the first argument is ignored.
QUENDRIL_EXPORT bool ASNCreateLockName(char const* ignored, char const* path, CTOOString* lockName);

#endif
