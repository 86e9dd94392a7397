#include <ctime>

#include "foundation/CTOODateTime.h"

namespace {

constexpr long kNanosecondsPerSecond = 1000000000;
constexpr long kNanosecondsPerTick = 100;
constexpr long kTicksPerSecond = kNanosecondsPerSecond / kNanosecondsPerTick;
constexpr long kTicksPerMillisecond = kTicksPerSecond / 1000;
constexpr long kSecondsFrom1601To1970 = 11644473600;

long NanosecondsNow() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

void SetTicks(_FILETIME& time, long ticks) {
  time.dwLowDateTime = static_cast<unsigned int>(ticks);
  time.dwHighDateTime = static_cast<unsigned int>(ticks >> 32);
}

}  // namespace

void GetSystemTime(_SYSTEMTIME* now) {
  long const nanoseconds = NanosecondsNow();
  std::time_t const seconds = nanoseconds / kNanosecondsPerSecond;
  std::tm fields{};
  ::gmtime_r(&seconds, &fields);
  auto const field = [](long value) { return static_cast<unsigned short>(value); };
  *now = _SYSTEMTIME{field(fields.tm_year + 1900), field(fields.tm_mon + 1),
                     field(fields.tm_wday),        field(fields.tm_mday),
                     field(fields.tm_hour),        field(fields.tm_min),
                     field(fields.tm_sec),         field(nanoseconds / 1000000 % 1000)};
}

int SystemTimeToFileTime(_SYSTEMTIME const* from, _FILETIME* to) {
  std::tm fields{};
  fields.tm_year = from->wYear - 1900;
  fields.tm_mon = from->wMonth - 1;
  fields.tm_mday = from->wDay;
  fields.tm_hour = from->wHour;
  fields.tm_min = from->wMinute;
  fields.tm_sec = from->wSecond;
  SetTicks(*to, (::timegm(&fields) + kSecondsFrom1601To1970) * kTicksPerSecond +
                    from->wMilliseconds * kTicksPerMillisecond);
  return 1;
}

CTOODateTime::CTOODateTime(bool now) : m_nanoseconds(now ? NanosecondsNow() : 0) {}

CTOODateTime::CTOODateTime(long seconds) : m_nanoseconds(seconds * kNanosecondsPerSecond) {}

bool CTOODateTime::operator<(CTOODateTime const& other) const {
  return m_nanoseconds < other.m_nanoseconds;
}

CTOOFileTime::CTOOFileTime() : _FILETIME{0, 0} {}
CTOOFileTime::CTOOFileTime(CTOOFileTime const& other) = default;
CTOOFileTime& CTOOFileTime::operator=(CTOOFileTime const& other) = default;

CTOOFileTime::CTOOFileTime(CTOODateTime const& time) : _FILETIME{0, 0} {
  SetTicks(*this,
           time.m_nanoseconds / kNanosecondsPerTick + kSecondsFrom1601To1970 * kTicksPerSecond);
}

bool CTOOFileTime::operator>(CTOOFileTime const& other) const {
  return dwHighDateTime != other.dwHighDateTime ? dwHighDateTime > other.dwHighDateTime
                                                : dwLowDateTime > other.dwLowDateTime;
}
