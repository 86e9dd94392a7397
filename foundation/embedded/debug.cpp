#include "foundation/debug.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "foundation/embedded/Calendar.h"
#include "foundation/embedded/FileClock.h"
#include "foundation/embedded/OrEmpty.h"

namespace {

constexpr unsigned long kLineSize = 2048;

// The level that the environment asks for; below every level when it names none.
long WantedLevel() {
  static long const level = [] {
    char const* const text = ::secure_getenv("QUENDRIL_DEBUG");
    char* end = nullptr;
    long const number = text == nullptr ? 0 : std::strtol(text, &end, 10);
    return end == text || *end != 0 ? std::numeric_limits<long>::min() : number;
  }();
  return level;
}

// Results of the formatting calls below are not looked at: a cut text is still worth having.

// "2026-11-21T10:00:00.123456Z"
void FormatNow(char* text, unsigned long size) {
  timespec const now = FineNow();
  _SYSTEMTIME const fields = CalendarOf(now);
  static_cast<void>(std::snprintf(text, size, "%04u-%02u-%02uT%02u:%02u:%02u.%06ldZ", fields.wYear,
                                  fields.wMonth, fields.wDay, fields.wHour, fields.wMinute,
                                  fields.wSecond, now.tv_nsec / 1000));
}

}  // namespace

int dbg_can_log(int level) { return level <= WantedLevel() ? 1 : 0; }

void _debug(char const* function, int level, char const* format, ...) {
  char now[64];
  FormatNow(now, sizeof now);
  char text[kLineSize];
  va_list arguments;
  va_start(arguments, format);
  static_cast<void>(std::vsnprintf(text, sizeof text, OrEmpty(format), arguments));
  va_end(arguments);
  std::size_t const length = std::strlen(text);
  char const* const end = length != 0 && text[length - 1] == '\n' ? "" : "\n";
  // One call, so that lines of several threads and processes do not mix.
  static_cast<void>(std::fprintf(stderr, "%s %d %ld [%d] %s: %s%s", now, ::getpid(),
                                 ::syscall(SYS_gettid), level, OrEmpty(function), text, end));
}
