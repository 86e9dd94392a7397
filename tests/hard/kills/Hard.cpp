#include "tests/hard/kills/Hard.h"

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/IPC.h"
#include "tests/support/Sanitizers.h"

namespace {

constexpr auto kSoon = std::chrono::milliseconds(100);
constexpr auto kLimit = std::chrono::seconds(5);

char const* watched = "";

void Bark(int /*signal*/) {
  char const text[] = "hangs: ";
  static_cast<void>(!::write(STDERR_FILENO, text, sizeof text - 1));
  static_cast<void>(!::write(STDERR_FILENO, watched, std::strlen(watched)));
  static_cast<void>(!::write(STDERR_FILENO, "\n", 1));
  ::_exit(1);
}

}  // namespace

bool IsFull() {
  char const* const asked = std::getenv("QUENDRIL_HARD");
  return asked != nullptr && std::strcmp(asked, "full") == 0;
}

int HowMany(int ordinary, int full, int underSanitizers) {
  if (kIsSanitized) {
    return underSanitizers;
  }
  return IsFull() ? full : ordinary;
}

void Figure(std::string const& text) {
  std::printf("FIGURE %s\n", text.c_str());
  std::fflush(stdout);
}

std::string Listed(std::map<std::string, int> const& counts) {
  std::string text;
  for (auto const& count : counts) {
    text += (text.empty() ? "" : ", ") + count.first + " " + std::to_string(count.second);
  }
  return text;
}

void Progress(std::string const& text) {
  if (IsFull()) {
    std::printf("  %s\n", text.c_str());
    std::fflush(stdout);
  }
}

Watchdog::Watchdog(char const* what, unsigned int seconds) {
  watched = what;
  ::signal(SIGALRM, Bark);
  ::alarm(seconds);
}

Watchdog::~Watchdog() { ::alarm(0); }

bool LockTimes::Take(std::string const& path) {
  auto const start = std::chrono::steady_clock::now();
  {
    IPC::CReadWriteLock_file lock(path.c_str());
    IPC::CWriteLocker const locker(lock);
  }
  auto const taken = std::chrono::steady_clock::now() - start;
  ++m_taken;
  m_late += taken > kSoon ? 1 : 0;
  return taken < kLimit;
}
