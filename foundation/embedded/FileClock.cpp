#include "foundation/embedded/FileClock.h"

#include <limits>

namespace {

constexpr long kNanosecondsPerSecond = 1000000000;
constexpr long kNanosecondsPerTick = 100;
constexpr long kTicksPerSecond = 10000000;
constexpr long kSecondsPerDay = 86400;
constexpr long kSecondsTo1970 = 11644473600;  // From 1 January 1601.
constexpr long kLastSecond = std::numeric_limits<long>::max() / kTicksPerSecond - 1;

bool IsEarlier(timespec const& first, timespec const& second) {
  return first.tv_sec != second.tv_sec ? first.tv_sec < second.tv_sec
                                       : first.tv_nsec < second.tv_nsec;
}

}  // namespace

CTOODateTime ToDateTime(timespec const& moment) {
  if (moment.tv_sec < -kSecondsTo1970) {
    return CTOODateTime(false);
  }
  bool const isBeyond = moment.tv_sec > kLastSecond - kSecondsTo1970;
  long const seconds = isBeyond ? kLastSecond : moment.tv_sec + kSecondsTo1970;
  long const nanoseconds = isBeyond ? kNanosecondsPerSecond - 1 : moment.tv_nsec;
  long const ticks = seconds % kSecondsPerDay * kTicksPerSecond + nanoseconds / kNanosecondsPerTick;
  return CTOODateTime(CTOODate(static_cast<unsigned int>(seconds / kSecondsPerDay)),
                      CTOOTime(static_cast<unsigned long>(ticks)));
}

timespec FineNow() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

timespec NextStamp(timespec const& before) {
  timespec const now = FineNow();
  timespec next = before;
  next.tv_nsec += kNanosecondsPerTick;
  if (next.tv_nsec >= kNanosecondsPerSecond) {
    next.tv_nsec -= kNanosecondsPerSecond;
    ++next.tv_sec;
  }
  bool const liesInTheFuture = IsEarlier(now, before);
  return !liesInTheFuture && IsEarlier(now, next) ? next : now;
}
