#ifndef QUENDRIL_FOUNDATION_CTOODATETIME_H
#define QUENDRIL_FOUNDATION_CTOODATETIME_H

#include "foundation/export.h"

// Broken-down UTC time, fields as usual: month 1 to 12, day of week 0 (Sunday) to 6.
struct _SYSTEMTIME {
  unsigned short wYear;
  unsigned short wMonth;
  unsigned short wDayOfWeek;
  unsigned short wDay;
  unsigned short wHour;
  unsigned short wMinute;
  unsigned short wSecond;
  unsigned short wMilliseconds;
};

// A count of 100 ns intervals since 1 January 1601 UTC, in two halves.
struct _FILETIME {
  unsigned int dwLowDateTime;
  unsigned int dwHighDateTime;
};

// The current UTC time, rounded down to milliseconds: never later than the moment of the call.
QUENDRIL_EXPORT void GetSystemTime(_SYSTEMTIME* now);

// Converts `from`; returns non-zero on success. A date that does not exist returns 0 and leaves
// `to` alone. The day of the week is not looked at.
QUENDRIL_EXPORT int SystemTimeToFileTime(_SYSTEMTIME const* from, _FILETIME* to);

// The date part of a time: whole days since 1 January 1601 UTC.
class QUENDRIL_EXPORT CTOODate {
 public:
  explicit CTOODate(unsigned int days = 0);
  CTOODate(CTOODate const& other);
  CTOODate& operator=(CTOODate const& other);

  unsigned int Days() const;

 private:
  unsigned int m_days;
};

// The time part: 100 ns intervals since midnight UTC.
class QUENDRIL_EXPORT CTOOTime {
 public:
  explicit CTOOTime(unsigned long ticks = 0);
  CTOOTime(CTOOTime const& other);
  CTOOTime& operator=(CTOOTime const& other);

  unsigned long Ticks() const;

 private:
  unsigned long m_ticks;
};

// A moment in UTC at a resolution of 100 ns. The time value zero (1 January 1601) stands for no
// time and is earlier than any real one.
class QUENDRIL_EXPORT CTOODateTime : public CTOODate, public CTOOTime {
 public:
  // Now for true, the time value zero for false.
  explicit CTOODateTime(bool now);
  // Seconds since 1 January 1970; 0 is the time value zero, like CTOODateTime(false).
  explicit CTOODateTime(long seconds);
  // As from long; without it CTOODateTime(0) would be ambiguous.
  explicit CTOODateTime(int seconds);
  CTOODateTime(CTOODate const& date, CTOOTime const& time);

  bool operator<(CTOODateTime const& other) const;
};

// A file time. The default one stands for no time and is earlier than every real one.
class QUENDRIL_EXPORT CTOOFileTime : public _FILETIME {
 public:
  CTOOFileTime();
  CTOOFileTime(CTOOFileTime const& other);
  // A file time is often made from what LastWriteTime gives, hence no explicit.
  CTOOFileTime(CTOODateTime const& time);  // NOLINT(google-explicit-constructor)

  CTOOFileTime& operator=(CTOOFileTime const& other);

  // Strictly later than.
  bool operator>(CTOOFileTime const& other) const;
};

#endif
