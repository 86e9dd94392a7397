// CTOODate, CTOOTime, CTOODateTime, CTOOFileTime, GetSystemTime and SystemTimeToFileTime.

#include "foundation/CTOODateTime.h"

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Peer.h"

namespace {

using Ticks = unsigned long;  // Of 100 ns, since 1601.

constexpr Ticks kTicksPerSecond = 10000000;
constexpr Ticks kTicksPerDay = 86400 * kTicksPerSecond;
constexpr Ticks kTicksTo1970 = 116444736000000000;
constexpr long kSecondsTo1970 = 11644473600;

Ticks TicksOf(_FILETIME const& time) {
  return (static_cast<Ticks>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

Ticks TicksOf(CTOODateTime const& time) { return TicksOf(CTOOFileTime(time)); }

CTOOFileTime FileTime(Ticks ticks) {
  CTOOFileTime time;
  time.dwLowDateTime = static_cast<unsigned int>(ticks);
  time.dwHighDateTime = static_cast<unsigned int>(ticks >> 32);
  return time;
}

Ticks Now() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return kTicksTo1970 + static_cast<Ticks>(now.tv_sec) * kTicksPerSecond +
         static_cast<Ticks>(now.tv_nsec) / 100;
}

_SYSTEMTIME Fields(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                   int milliseconds = 0) {
  auto const word = [](int number) { return static_cast<unsigned short>(number); };
  return _SYSTEMTIME{word(year),   word(month),       0, word(day), word(hour), word(minute),
                     word(second), word(milliseconds)};
}

constexpr Ticks kRefused = 0xFFFFFFFFFFFFFFFF;

// The converted time, or kRefused.
Ticks Convert(_SYSTEMTIME const& fields) {
  _FILETIME time{0xFFFFFFFF, 0xFFFFFFFF};
  bool const converted = SystemTimeToFileTime(&fields, &time) != 0;
  EXPECT_EQ(converted, TicksOf(time) != kRefused);
  return TicksOf(time);
}

// Runs the checks in processes that have different local times.
void InEveryZone(std::function<void()> const& checks) {
  for (char const* const zone : {"UTC0", "EST5EDT,M3.2.0,M11.1.0", "CET-1CEST,M3.5.0,M10.5.0/3",
                                 "XYZ-14", "XYZ12", "America/New_York"}) {
    EXPECT_TRUE(InProcess([&] {
      ::setenv("TZ", zone, 1);
      ::tzset();
      checks();
      return true;
    })) << zone;
  }
}

// CTOOFileTime.

TEST(CTOOFileTime, DefaultIsEarlierThanEveryRealOne) {
  CTOOFileTime const none;
  EXPECT_EQ(0U, TicksOf(none));
  EXPECT_FALSE(none > none);
  for (Ticks const ticks : {Ticks{1}, Ticks{0xFFFFFFFF}, Ticks{0x100000000}, kTicksTo1970}) {
    EXPECT_FALSE(none > FileTime(ticks)) << ticks;
    EXPECT_TRUE(FileTime(ticks) > none) << ticks;
  }
}

TEST(CTOOFileTime, LaterIsStrictOverBothHalves) {
  std::vector<Ticks> const ascending = {0,
                                        1,
                                        0x7FFFFFFF,
                                        0x80000000,
                                        0xFFFFFFFF,
                                        0x100000000,
                                        0x1FFFFFFFF,
                                        0x200000000,
                                        kTicksTo1970,
                                        0x7FFFFFFFFFFFFFFF,
                                        0x8000000000000000,
                                        0xFFFFFFFFFFFFFFFF};
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t k = 0; k < ascending.size(); ++k) {
      EXPECT_EQ(i > k, FileTime(ascending[i]) > FileTime(ascending[k])) << i << ' ' << k;
    }
  }
}

TEST(CTOOFileTime, CopiesAndAssigns) {
  CTOOFileTime const original = FileTime(0x0123456789ABCDEF);
  CTOOFileTime const copy(original);
  EXPECT_EQ(0x0123456789ABCDEFU, TicksOf(copy));
  CTOOFileTime assigned;
  EXPECT_EQ(&assigned, &(assigned = original));
  EXPECT_EQ(0x0123456789ABCDEFU, TicksOf(assigned));
}

TEST(CTOOFileTime, AgreesWithSystemTimeToFileTime) {
  for (long const seconds : {1L, -1L, 951782400L, 951868799L, 1000000000L, 4102444800L, -86400L,
                             -2208988800L, -11644473599L, 13569465600L}) {
    std::tm broken{};
    ::gmtime_r(&seconds, &broken);
    EXPECT_EQ(Convert(Fields(broken.tm_year + 1900, broken.tm_mon + 1, broken.tm_mday,
                             broken.tm_hour, broken.tm_min, broken.tm_sec)),
              TicksOf(CTOODateTime(seconds)))
        << seconds;
  }
}

// CTOODateTime.

TEST(CTOODateTime, NowIsNowAtFullResolution) {
  bool hasFraction = false;
  for (int i = 0; i < 100; ++i) {
    Ticks const before = Now();
    Ticks const now = TicksOf(CTOODateTime(true));
    EXPECT_LE(before, now);
    EXPECT_LE(now, Now());
    hasFraction = hasFraction || now % 10000 != 0;
  }
  EXPECT_TRUE(hasFraction);
}

TEST(CTOODateTime, NowIsUtcInEveryZone) {
  InEveryZone([] {
    Ticks const before = Now();
    Ticks const now = TicksOf(CTOODateTime(true));
    EXPECT_LE(before, now);
    EXPECT_LE(now, Now());
  });
}

TEST(CTOODateTime, ZeroAndFalseAreTheTimeValueZero) {
  for (CTOODateTime const& zero : {CTOODateTime(0), CTOODateTime(0L), CTOODateTime(false)}) {
    EXPECT_EQ(0U, TicksOf(zero));
    EXPECT_TRUE(zero < CTOODateTime(true));
    EXPECT_TRUE(zero < CTOODateTime(1L));
    EXPECT_TRUE(zero < CTOODateTime(-1L));
    EXPECT_FALSE(CTOOFileTime(zero) > CTOOFileTime());
  }
}

TEST(CTOODateTime, SecondsCountFrom1970) {
  InEveryZone([] {
    for (long const seconds : {1L, 86399L, 86400L, 1000000000L, 4294967296L, -1L, -86399L, -86400L,
                               -86401L, -kSecondsTo1970 + 1, -kSecondsTo1970 + 86400}) {
      Ticks const expected = static_cast<Ticks>(seconds + kSecondsTo1970) * kTicksPerSecond;
      EXPECT_EQ(expected, TicksOf(CTOODateTime(seconds))) << seconds;
    }
    EXPECT_EQ(kTicksTo1970 + kTicksPerSecond, TicksOf(CTOODateTime(1)));
    EXPECT_EQ(kTicksTo1970 - kTicksPerSecond, TicksOf(CTOODateTime(-1)));
  });
}

TEST(CTOODateTime, MomentsBefore1601AreTheTimeValueZero) {
  for (long const seconds : {-kSecondsTo1970, -kSecondsTo1970 - 1, -kSecondsTo1970 - 86401,
                             -2 * kSecondsTo1970, -9223372036854775807L - 1}) {
    EXPECT_EQ(0U, TicksOf(CTOODateTime(seconds))) << seconds;
  }
}

TEST(CTOODateTime, OrdersByDateThenTime) {
  using Value = std::pair<unsigned int, Ticks>;
  std::vector<Value> const values = {{0, 0},     {0, 1},          {0, kTicksPerDay - 1},
                                     {1, 0},     {1, 0xFFFFFFFF}, {1, 0x100000000},
                                     {65536, 0}, {65536, 5},      {0xFFFFFFFF, 0}};
  auto const make = [](Value const& value) {
    return CTOODateTime(CTOODate(value.first), CTOOTime(value.second));
  };
  for (Value const& first : values) {
    for (Value const& second : values) {
      EXPECT_EQ(first < second, make(first) < make(second))
          << first.first << '.' << first.second << ' ' << second.first << '.' << second.second;
    }
  }
}

TEST(CTOODateTime, PartsAreAssignedSeparately) {
  CTOODateTime const source(1234567890L);
  CTOODateTime target(1000000000L);
  unsigned long const oldTime = target.CTOOTime::Ticks();
  target.CTOODate::operator=(source);
  EXPECT_EQ(source.Days(), target.Days());
  EXPECT_EQ(oldTime, target.CTOOTime::Ticks());
  target.CTOOTime::operator=(source);
  EXPECT_EQ(TicksOf(source), TicksOf(target));
  EXPECT_FALSE(source < target);
  EXPECT_FALSE(target < source);
  CTOODateTime other(false);
  other.CTOOTime::operator=(source);
  EXPECT_EQ(0U, other.Days());
  EXPECT_EQ(TicksOf(source) % kTicksPerDay, TicksOf(other));
}

TEST(CTOODateTime, PartsAreDaysAndTicksSinceMidnight) {
  CTOODateTime const time(86400L * 3 + 7);
  EXPECT_EQ(kTicksTo1970 / kTicksPerDay + 3, time.Days());
  EXPECT_EQ(7 * kTicksPerSecond, time.CTOOTime::Ticks());
  EXPECT_EQ(0U, CTOODate().Days());
  EXPECT_EQ(0U, CTOOTime().Ticks());
}

// GetSystemTime.

Ticks SystemNow() {
  _SYSTEMTIME fields{};
  GetSystemTime(&fields);
  return Convert(fields);
}

// A change that follows must never seem to be older.
TEST(GetSystemTime, IsNowRoundedDownToMilliseconds) {
  for (int i = 0; i < 2000; ++i) {
    Ticks const before = Now();
    Ticks const now = SystemNow();
    ASSERT_LE(now, Now());
    ASSERT_GE(now, before - before % 10000);
    ASSERT_EQ(0U, now % 10000);
  }
}

TEST(GetSystemTime, IsUtcInEveryZone) {
  InEveryZone([] {
    Ticks const before = Now();
    Ticks const now = SystemNow();
    EXPECT_LE(before - before % 10000, now);
    EXPECT_LE(now, Now());
  });
}

TEST(GetSystemTime, LeapSecondsOfAZoneDoNotCount) {
  EXPECT_TRUE(InProcess([] {
    ::setenv("TZ", ":right/UTC", 1);
    ::tzset();
    Ticks before = 0;
    Ticks after = 0;
    _SYSTEMTIME fields{};
    do {  // Again when a minute ended in between.
      before = Now() / kTicksPerSecond;
      GetSystemTime(&fields);
      after = Now() / kTicksPerSecond;
    } while (before / 60 != after / 60);
    EXPECT_LE(before % 60, fields.wSecond);
    EXPECT_LE(fields.wSecond, after % 60);
    return true;
  }));
}

TEST(GetSystemTime, FillsEveryFieldAsUsual) {
  _SYSTEMTIME fields{};
  long day = 0;
  do {  // Again when midnight came in between.
    day = std::time(nullptr) / 86400;
    fields = Fields(1, 99, 99, 99, 99, 99, 9999);
    fields.wDayOfWeek = 99;
    GetSystemTime(&fields);
  } while (day != std::time(nullptr) / 86400);
  long const seconds = day * 86400;
  std::tm broken{};
  ::gmtime_r(&seconds, &broken);
  EXPECT_EQ(broken.tm_year + 1900, fields.wYear);
  EXPECT_EQ(broken.tm_mon + 1, fields.wMonth);
  EXPECT_EQ(broken.tm_mday, fields.wDay);
  EXPECT_EQ((day + 4) % 7, fields.wDayOfWeek);  // 1 January 1970 was a Thursday.
  EXPECT_LE(fields.wHour, 23);
  EXPECT_LE(fields.wMinute, 59);
  EXPECT_LE(fields.wSecond, 59);
  EXPECT_LE(fields.wMilliseconds, 999);
}

// SystemTimeToFileTime.

bool IsLeap(int year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int DaysIn(int year, int month) {
  static int const days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeap(year) ? 29 : days[month - 1];
}

TEST(SystemTimeToFileTime, KnowsTheFixedPoints) {
  InEveryZone([] {
    EXPECT_EQ(0U, Convert(Fields(1601, 1, 1)));
    EXPECT_EQ(kTicksTo1970, Convert(Fields(1970, 1, 1)));
    EXPECT_EQ(kTicksTo1970 - 10000, Convert(Fields(1969, 12, 31, 23, 59, 59, 999)));
    EXPECT_EQ(125911584000000000U, Convert(Fields(2000, 1, 1)));
    EXPECT_EQ(116444736000000000U + 1234567890UL * kTicksPerSecond + 9990000,
              Convert(Fields(2009, 2, 13, 23, 31, 30, 999)));
  });
}

TEST(SystemTimeToFileTime, CountsEveryDay) {
  Ticks expected = 0;
  for (int year = 1601; year < 2500; ++year) {
    for (int month = 1; month <= 12; ++month) {
      for (int day = 1; day <= DaysIn(year, month); ++day) {
        ASSERT_EQ(expected, Convert(Fields(year, month, day)))
            << year << ' ' << month << ' ' << day;
        expected += kTicksPerDay;
      }
      ASSERT_EQ(kRefused, Convert(Fields(year, month, DaysIn(year, month) + 1)))
          << year << ' ' << month;
    }
  }
}

TEST(SystemTimeToFileTime, CountsEveryFieldOfADay) {
  Ticks const day = Convert(Fields(2026, 3, 29));
  InEveryZone([&] {
    for (int minute = 0; minute < 1440; ++minute) {
      ASSERT_EQ(day + static_cast<Ticks>(minute) * 60 * kTicksPerSecond,
                Convert(Fields(2026, 3, 29, minute / 60, minute % 60)));
    }
  });
  for (int second = 0; second < 60; ++second) {
    ASSERT_EQ(day + static_cast<Ticks>(second) * kTicksPerSecond,
              Convert(Fields(2026, 3, 29, 0, 0, second)));
  }
  for (int milliseconds = 0; milliseconds < 1000; ++milliseconds) {
    ASSERT_EQ(day + static_cast<Ticks>(milliseconds) * 10000,
              Convert(Fields(2026, 3, 29, 0, 0, 0, milliseconds)));
  }
}

TEST(SystemTimeToFileTime, DoesNotLookAtTheDayOfTheWeek) {
  _SYSTEMTIME fields = Fields(2026, 3, 29);
  Ticks const expected = Convert(fields);
  for (unsigned int weekDay = 0; weekDay < 65536; weekDay += 257) {
    fields.wDayOfWeek = static_cast<unsigned short>(weekDay);
    EXPECT_EQ(expected, Convert(fields));
  }
}

TEST(SystemTimeToFileTime, RefusesWhatIsNoDateAndLeavesTheResultAlone) {
  for (_SYSTEMTIME const& fields : {Fields(1600, 12, 31, 23, 59, 59, 999),
                                    Fields(0, 1, 1),
                                    Fields(2026, 0, 1),
                                    Fields(2026, 13, 1),
                                    Fields(2026, 65535, 1),
                                    Fields(2026, 1, 0),
                                    Fields(2026, 1, 32),
                                    Fields(2026, 1, 65535),
                                    Fields(2026, 1, 366),
                                    Fields(2026, 4, 31),
                                    Fields(2026, 2, 29),
                                    Fields(1900, 2, 29),
                                    Fields(2000, 2, 30),
                                    Fields(2026, 1, 1, 24),
                                    Fields(2026, 1, 1, 65535),
                                    Fields(2026, 1, 1, 0, 60),
                                    Fields(2026, 1, 1, 0, 65535),
                                    Fields(2026, 1, 1, 0, 0, 60),
                                    Fields(2026, 1, 1, 0, 0, 65535),
                                    Fields(2026, 1, 1, 0, 0, 0, 1000),
                                    Fields(2026, 1, 1, 0, 0, 0, 65535)}) {
    EXPECT_EQ(kRefused, Convert(fields))
        << fields.wYear << '-' << fields.wMonth << '-' << fields.wDay << ' ' << fields.wHour << ':'
        << fields.wMinute << ':' << fields.wSecond << '.' << fields.wMilliseconds;
  }
  EXPECT_NE(kRefused, Convert(Fields(2000, 2, 29)));
  EXPECT_NE(kRefused, Convert(Fields(2024, 2, 29)));
}

// There are zones that count leap seconds; times here do not.
TEST(SystemTimeToFileTime, LeapSecondsOfAZoneDoNotCount) {
  EXPECT_TRUE(InProcess([] {
    ::setenv("TZ", ":right/UTC", 1);
    ::tzset();
    EXPECT_EQ(125911584000000000U, Convert(Fields(2000, 1, 1)));
    EXPECT_EQ(130014720000000000U, Convert(Fields(2013, 1, 1)));
    EXPECT_EQ(kRefused, Convert(Fields(2012, 6, 30, 23, 59, 60)));
    return true;
  }));
}

// A year that does not fit into the result must not come out as an early one.
TEST(SystemTimeToFileTime, EveryYearIsLaterThanTheOneBeforeOrRefused) {
  Ticks before = 0;
  for (int year = 1602; year < 65536; ++year) {
    Ticks const ticks = Convert(Fields(year, 1, 1));
    ASSERT_GT(ticks, before) << year;
    before = ticks == kRefused ? before : ticks;
  }
}

}  // namespace
