#ifndef QUENDRIL_FOUNDATION_DEBUG_H
#define QUENDRIL_FOUNDATION_DEBUG_H

#include "foundation/export.h"

// Non-zero when debug output of `level` is wanted. Off unless the environment variable
// QUENDRIL_DEBUG held a level of at least `level` when it was first asked.
QUENDRIL_EXPORT int dbg_can_log(int level);

// Writes one line to standard error: UTC time, process, thread, level, function and the formatted
// text. It does not ask dbg_can_log; callers do.
QUENDRIL_EXPORT void _debug(char const* function, int level, char const* format, ...)
    __attribute__((format(printf, 3, 4)));

#endif
