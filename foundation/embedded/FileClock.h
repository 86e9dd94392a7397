#ifndef QUENDRIL_FOUNDATION_EMBEDDED_FILECLOCK_H
#define QUENDRIL_FOUNDATION_EMBEDDED_FILECLOCK_H

#include <ctime>

#include "foundation/CTOODateTime.h"

// `moment` (since 1970) at a resolution of 100 ns, rounded down; the time value zero for a moment
// before 1601, and the last one whose count of 100 ns fits 63 bits for any later moment.
CTOODateTime ToDateTime(timespec const& moment);

// The current moment from the fine clock; the kernel's own file stamps lag behind it by up to 4 ms.
timespec FineNow();

// The modification time for a file that is changed now and had the stamp `before`: the current
// moment, but at least 100 ns later than `before`, unless that lies in the future.
timespec NextStamp(timespec const& before);

#endif
