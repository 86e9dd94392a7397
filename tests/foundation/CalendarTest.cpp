// The calendar that times are told in, day by day.

#include "foundation/embedded/Calendar.h"

#include <limits>

#include <gtest/gtest.h>

#include "foundation/embedded/FileClock.h"

namespace {

constexpr long kSecondsTo1970 = 11644473600;

bool IsLeapYear(long year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

long DaysIn(long year, long month) {
  if (month == 2) {
    return IsLeapYear(year) ? 29 : 28;
  }
  return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

TEST(Calendar, KnowsEveryDayOf1601To2999) {
  long day = 0;
  for (long year = 1601; year < 3000; ++year) {
    for (long month = 1; month <= 12; ++month) {
      ASSERT_EQ(day, DaysBeforeMonth(year, month));
      for (long inMonth = 1; inMonth <= DaysIn(year, month); ++inMonth, ++day) {
        _SYSTEMTIME const first = CalendarOf({day * 86400 - kSecondsTo1970, 0});
        _SYSTEMTIME const last = CalendarOf({day * 86400 - kSecondsTo1970 + 86399, 999999999});
        for (_SYSTEMTIME const& fields : {first, last}) {
          ASSERT_EQ(year, fields.wYear) << day;
          ASSERT_EQ(month, fields.wMonth) << day;
          ASSERT_EQ(inMonth, fields.wDay) << day;
          ASSERT_EQ((day + 1) % 7, fields.wDayOfWeek) << day;
        }
        ASSERT_EQ(0, first.wHour + first.wMinute + first.wSecond + first.wMilliseconds);
        ASSERT_EQ(23 + 59 + 59 + 999,
                  last.wHour + last.wMinute + last.wSecond + last.wMilliseconds);
      }
    }
  }
}

// Such a time may stand in a file system; a file that bears it must not seem to be an old one.
TEST(Calendar, MomentsBeyondTheCountAreTheLastOne) {
  CTOOFileTime const last(ToDateTime({910692730084, 999999999}));
  EXPECT_TRUE(last > CTOOFileTime(ToDateTime({910692730083, 999999999})));
  for (long const second :
       {910692730085L, 1833029933776L, 1844674407371L, std::numeric_limits<long>::max()}) {
    CTOOFileTime const time(ToDateTime({second, 0}));
    EXPECT_FALSE(last > time || time > last) << second;
  }
}

}  // namespace
