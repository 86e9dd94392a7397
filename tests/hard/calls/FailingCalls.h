#ifndef QUENDRIL_TESTS_HARD_CALLS_FAILINGCALLS_H
#define QUENDRIL_TESTS_HARD_CALLS_FAILINGCALLS_H

#include <string>
#include <vector>

// This program stands between the base services and the C library: while one of these lives, its
// thread's system call number `number` from now on (0 is the next) fails, and for Mode::ForEver
// every later one too. Without one all calls are the C library's own.
//
// Calls that only give something back (close, the end of a lock) do their work even when they are
// told to fail, as the kernel's do.
class FailingCalls {
 public:
  enum class Mode { Once, ForEver };
  // In the place of an errno: pread and pwrite move one byte, or none; everything else works.
  static constexpr int kShortTransfer = -1;
  static constexpr int kNothingMoved = -2;

  FailingCalls(long number, int error, Mode mode);
  FailingCalls(FailingCalls const&) = delete;
  FailingCalls& operator=(FailingCalls const&) = delete;
  ~FailingCalls();

  // Whether it came to that.
  bool HasFailed() const;
  // The names of the calls that were made, in order.
  std::vector<std::string> const& Calls() const;
};

#endif
