#ifndef QUENDRIL_FOUNDATION_EMBEDDED_CALENDAR_H
#define QUENDRIL_FOUNDATION_EMBEDDED_CALENDAR_H

#include <ctime>

#include "foundation/CTOODateTime.h"

// The calendar in UTC, from 1 January 1601 on. Not the C library's: where the zone that TZ names
// counts leap seconds, that counts them even for UTC.

// The days from 1 January 1601 to the first of `month` (1 to 12) of `year`.
long DaysBeforeMonth(long year, long month);

// Whether there is such a date and time, in a year up to which counts of 100 ns do not overflow.
bool IsDateAndTime(_SYSTEMTIME const& fields);

// The calendar fields of `moment`, milliseconds rounded down; those of the time value zero for a
// moment before 1601.
_SYSTEMTIME CalendarOf(timespec const& moment);

#endif
