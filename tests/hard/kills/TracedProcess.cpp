#include "tests/hard/kills/TracedProcess.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr int kCallStop = SIGTRAP | 0x80;  // What PTRACE_O_TRACESYSGOOD makes of a call's stop.

[[noreturn]] void BeTraced(std::function<void()> const& prepare,
                           std::function<void()> const& body) {
  try {
    prepare();
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
      ::_exit(1);
    }
    ::raise(SIGSTOP);
    body();
  } catch (...) {
    ::_exit(1);
  }
  ::_exit(0);
}

TracedEnd EndOf(pid_t process) {
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
  return TracedEnd::Failed;
}

// Lets the process run to its next stop at a call; false when it ended or does something else.
bool NextStop(pid_t process, int& status) {
  int signal = 0;
  for (;;) {
    if (::ptrace(PTRACE_SYSCALL, process, nullptr, signal) != 0 ||
        ::waitpid(process, &status, 0) != process || !WIFSTOPPED(status)) {
      return false;
    }
    if (WSTOPSIG(status) == kCallStop) {
      return true;
    }
    signal = WSTOPSIG(status);
  }
}

}  // namespace

TracedEnd KillAtStop(int stop, std::function<void()> const& prepare,
                     std::function<void()> const& body, std::function<void()> const& killed) {
  pid_t const process = ::fork();
  if (process == 0) {
    BeTraced(prepare, body);
  }
  int status = 0;
  if (process < 0 || ::waitpid(process, &status, 0) != process || !WIFSTOPPED(status)) {
    return TracedEnd::Failed;
  }
  if (::ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL) !=
      0) {
    return EndOf(process);
  }
  // The exit that ends the body is a stop too: killing there is killing behind the last call.
  for (int number = 0; number < stop; ++number) {
    if (!NextStop(process, status)) {
      if (WIFSTOPPED(status)) {
        return EndOf(process);
      }
      return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? TracedEnd::RanThrough
                                                           : TracedEnd::Failed;
    }
  }
  ::kill(process, SIGKILL);
  killed();
  bool const isKilled = ::waitpid(process, &status, 0) == process && WIFSIGNALED(status);
  return isKilled ? TracedEnd::Killed : TracedEnd::Failed;
}

std::string const& TraceObstacle() {
  static std::string const obstacle = [] {
    auto const nothing = [] {};
    TracedEnd const end = KillAtStop(
        1, nothing, [] { ::getppid(); }, nothing);
    return std::string(end == TracedEnd::Killed ? "" : "processes may not be traced here");
  }();
  return obstacle;
}
