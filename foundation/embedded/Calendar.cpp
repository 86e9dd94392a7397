#include "foundation/embedded/Calendar.h"

#include "foundation/embedded/FileClock.h"

namespace {

constexpr long kFirstYear = 1601;
constexpr long kLastYear = 30827;
constexpr long kTicksPerSecond = 10000000;

bool IsLeapYear(long year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

long DaysInMonth(long year, long month) {
  long const next = month == 12 ? DaysBeforeMonth(year + 1, 1) : DaysBeforeMonth(year, month + 1);
  return next - DaysBeforeMonth(year, month);
}

}  // namespace

long DaysBeforeMonth(long year, long month) {
  constexpr long kBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
  long const years = year - kFirstYear;
  long const leapDays = years / 4 - years / 100 + years / 400;
  long const ownLeapDay = month > 2 && IsLeapYear(year) ? 1 : 0;
  return years * 365 + leapDays + kBefore[month - 1] + ownLeapDay;
}

bool IsDateAndTime(_SYSTEMTIME const& fields) {
  return fields.wYear >= kFirstYear && fields.wYear <= kLastYear && fields.wMonth >= 1 &&
         fields.wMonth <= 12 && fields.wDay >= 1 &&
         fields.wDay <= DaysInMonth(fields.wYear, fields.wMonth) && fields.wHour <= 23 &&
         fields.wMinute <= 59 && fields.wSecond <= 59 && fields.wMilliseconds <= 999;
}

_SYSTEMTIME CalendarOf(timespec const& moment) {
  CTOODateTime const time = ToDateTime(moment);
  auto const days = static_cast<long>(time.Days());
  long const second = static_cast<long>(time.Ticks()) / kTicksPerSecond;
  long year =
      kFirstYear + 1 + days * 400 / 146097;  // Never too early: 400 years have so many days.
  while (DaysBeforeMonth(year, 1) > days) {
    --year;
  }
  long month = 12;
  while (DaysBeforeMonth(year, month) > days) {
    --month;
  }
  _SYSTEMTIME fields{};
  fields.wYear = static_cast<unsigned short>(year);
  fields.wMonth = static_cast<unsigned short>(month);
  fields.wDay = static_cast<unsigned short>(days - DaysBeforeMonth(year, month) + 1);
  fields.wDayOfWeek = static_cast<unsigned short>((days + 1) % 7);  // 1601 began on a Monday.
  fields.wHour = static_cast<unsigned short>(second / 3600);
  fields.wMinute = static_cast<unsigned short>(second / 60 % 60);
  fields.wSecond = static_cast<unsigned short>(second % 60);
  fields.wMilliseconds = static_cast<unsigned short>(moment.tv_nsec / 1000000);
  return fields;
}
