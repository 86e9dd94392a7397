#ifndef QUENDRIL_SECOND_BASE_CTOODATETIME_H
#define QUENDRIL_SECOND_BASE_CTOODATETIME_H

#include "foundation/export.h"

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

struct _FILETIME {
  unsigned int dwLowDateTime;
  unsigned int dwHighDateTime;
};

QUENDRIL_EXPORT void GetSystemTime(_SYSTEMTIME* now);
QUENDRIL_EXPORT int SystemTimeToFileTime(_SYSTEMTIME const* from, _FILETIME* to);

// Nanoseconds since 1970; no date and time of its own.
class QUENDRIL_EXPORT CTOODateTime {
 public:
  explicit CTOODateTime(bool now);
  explicit CTOODateTime(long seconds);

  bool operator<(CTOODateTime const& other) const;

 private:
  friend class CTOOFile;
  friend class CTOOFileTime;

  long m_nanoseconds;
};

class QUENDRIL_EXPORT CTOOFileTime : public _FILETIME {
 public:
  CTOOFileTime();
  CTOOFileTime(CTOOFileTime const& other);
  CTOOFileTime(CTOODateTime const& time);  // NOLINT(google-explicit-constructor)
  CTOOFileTime& operator=(CTOOFileTime const& other);

  bool operator>(CTOOFileTime const& other) const;
};

#endif
