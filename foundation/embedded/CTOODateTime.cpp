#include "foundation/CTOODateTime.h"

#include "foundation/embedded/Calendar.h"
#include "foundation/embedded/FileClock.h"

namespace {

constexpr unsigned long kTicksPerMillisecond = 10000;
constexpr unsigned long kTicksPerSecond = 10000000;
constexpr unsigned long kTicksPerDay = 86400 * kTicksPerSecond;

unsigned long Ticks(_FILETIME const& time) {
  return (static_cast<unsigned long>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}

void SetTicks(_FILETIME& time, unsigned long ticks) {
  time.dwLowDateTime = static_cast<unsigned int>(ticks);
  time.dwHighDateTime = static_cast<unsigned int>(ticks >> 32);
}

CTOODateTime FromSeconds(long seconds) {
  return seconds == 0 ? CTOODateTime(false) : ToDateTime(timespec{seconds, 0});
}

}  // namespace

void GetSystemTime(_SYSTEMTIME* now) { *now = CalendarOf(FineNow()); }

int SystemTimeToFileTime(_SYSTEMTIME const* from, _FILETIME* to) {
  if (!IsDateAndTime(*from)) {
    return 0;
  }
  auto const days =
      static_cast<unsigned long>(DaysBeforeMonth(from->wYear, from->wMonth) + from->wDay - 1);
  unsigned long const seconds = from->wHour * 3600UL + from->wMinute * 60UL + from->wSecond;
  SetTicks(*to, days * kTicksPerDay + seconds * kTicksPerSecond +
                    from->wMilliseconds * kTicksPerMillisecond);
  return 1;
}

CTOODate::CTOODate(unsigned int days) : m_days(days) {}
CTOODate::CTOODate(CTOODate const& other) = default;
CTOODate& CTOODate::operator=(CTOODate const& other) = default;
unsigned int CTOODate::Days() const { return m_days; }

CTOOTime::CTOOTime(unsigned long ticks) : m_ticks(ticks) {}
CTOOTime::CTOOTime(CTOOTime const& other) = default;
CTOOTime& CTOOTime::operator=(CTOOTime const& other) = default;
unsigned long CTOOTime::Ticks() const { return m_ticks; }

CTOODateTime::CTOODateTime(bool now) {
  if (now) {
    *this = ToDateTime(FineNow());
  }
}

CTOODateTime::CTOODateTime(long seconds) : CTOODateTime(FromSeconds(seconds)) {}

CTOODateTime::CTOODateTime(int seconds) : CTOODateTime(FromSeconds(seconds)) {}

CTOODateTime::CTOODateTime(CTOODate const& date, CTOOTime const& time)
    : CTOODate(date), CTOOTime(time) {}

bool CTOODateTime::operator<(CTOODateTime const& other) const {
  return Days() != other.Days() ? Days() < other.Days() : CTOOTime::Ticks() < other.Ticks();
}

CTOOFileTime::CTOOFileTime() : _FILETIME{0, 0} {}

CTOOFileTime::CTOOFileTime(CTOOFileTime const& other) = default;

CTOOFileTime::CTOOFileTime(CTOODateTime const& time) : _FILETIME{0, 0} {
  SetTicks(*this, time.Days() * kTicksPerDay + time.Ticks());
}

CTOOFileTime& CTOOFileTime::operator=(CTOOFileTime const& other) = default;

bool CTOOFileTime::operator>(CTOOFileTime const& other) const {
  return ::Ticks(*this) > ::Ticks(other);
}
