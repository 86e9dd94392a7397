#ifndef QUENDRIL_SECOND_BASE_DEBUG_H
#define QUENDRIL_SECOND_BASE_DEBUG_H

#include "foundation/export.h"

QUENDRIL_EXPORT int dbg_can_log(int level);
QUENDRIL_EXPORT void _debug(char const* function, int level, char const* format, ...)
    __attribute__((format(printf, 3, 4)));

#endif
