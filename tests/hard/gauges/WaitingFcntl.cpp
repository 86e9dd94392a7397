// Preloaded under valgrind, which takes fcntl(F_OFD_SETLKW) for a call that never waits: while one
// thread sits in it no other one of the process runs, not even the one that holds the lock. Here
// the waiting is done by a futex that nobody wakes, a moment at a time, and tests that look for who
// waits for a lock see one that does.

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <ctime>

namespace {

using Fcntl = int(int, int, ...);

void WaitAMoment() {
  int const word = 0;
  timespec const moment{0, 20000000};
  ::syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, 0, &moment, nullptr, 0);
}

}  // namespace

extern "C" int fcntl(int file, int command, ...) {
  static auto* const real = reinterpret_cast<Fcntl*>(::dlsym(RTLD_NEXT, "fcntl"));
  std::va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (command != F_OFD_SETLKW) {
    return real(file, command, argument);
  }
  int result = real(file, F_OFD_SETLK, argument);
  while (result == -1 && (errno == EAGAIN || errno == EACCES)) {
    WaitAMoment();
    result = real(file, F_OFD_SETLK, argument);
  }
  return result;
}
