#ifndef QUENDRIL_FOUNDATION_SHGETFOLDERPATH_H
#define QUENDRIL_FOUNDATION_SHGETFOLDERPATH_H

#include "foundation/export.h"

// Writes the path of a well-known folder to `path`, a buffer of 4096 bytes, and returns 0; any
// other result is a failure that leaves the buffer alone. `window`, `token` and `flags` are not
// looked at. Known is one folder: 35, the common application data, /var/lib here.
//
// The library imports this function, so a host may put one of its own in place.
QUENDRIL_EXPORT int SHGetFolderPath(void* window, int folder, void* token, unsigned int flags,
                                    char* path);

#endif
