#include "tests/hard/calls/FailingCalls.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <ctime>

#include "tests/support/NextSymbol.h"

namespace {

struct Plan {
  long number = 0;
  int error = 0;
  FailingCalls::Mode mode = FailingCalls::Mode::Once;
  bool hasFailed = false;
  std::vector<std::string> calls;
};
thread_local Plan* plan = nullptr;

// The errno that the call is to fail with, 0 for none.
int FailureOf(char const* name) {
  if (plan == nullptr) {
    return 0;
  }
  Plan& own = *plan;
  plan = nullptr;  // What the noting itself does is not counted.
  long const number = static_cast<long>(own.calls.size());
  own.calls.emplace_back(name);
  plan = &own;
  bool const isMeant =
      number == own.number || (number > own.number && own.mode == FailingCalls::Mode::ForEver);
  own.hasFailed = own.hasFailed || isMeant;
  return isMeant ? own.error : 0;
}

// Calls `real` unless the call is to fail.
template <typename Real>
auto Unless(int failure, Real real) -> decltype(real()) {
  if (failure > 0) {
    errno = failure;
    return -1;
  }
  return real();
}

unsigned long Shortened(int failure, unsigned long count) {
  if (failure == FailingCalls::kNothingMoved) {
    return 0;
  }
  return failure == FailingCalls::kShortTransfer && count > 1 ? 1 : count;
}

}  // namespace

FailingCalls::FailingCalls(long number, int error, Mode mode) {
  auto* const made = new Plan;
  made->number = number;
  made->error = error;
  made->mode = mode;
  plan = made;
}

FailingCalls::~FailingCalls() {
  Plan* const made = plan;
  plan = nullptr;
  delete made;
}

bool FailingCalls::HasFailed() const { return plan->hasFailed; }

std::vector<std::string> const& FailingCalls::Calls() const { return plan->calls; }

// The calls that the base services and the library make. Their declarations in the C library's
// headers say that they do not throw; so do these.
extern "C" {

int open(char const* path, int flags, ...) {
  static auto* const real = NextSymbol<int(char const*, int, ...)>("open");
  mode_t mode = 0;
  if ((flags & (O_CREAT | O_TMPFILE)) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  return Unless(FailureOf("open"), [&] { return real(path, flags, mode); });
}

int close(int file) {
  static auto* const real = NextSymbol<int(int)>("close");
  int const failure = FailureOf("close");
  int const result = real(file);
  return Unless(failure, [&] { return result; });
}

ssize_t pread(int file, void* buffer, size_t count, off_t offset) {
  static auto* const real = NextSymbol<ssize_t(int, void*, size_t, off_t)>("pread");
  int const failure = FailureOf("pread");
  return Unless(failure, [&] { return real(file, buffer, Shortened(failure, count), offset); });
}

ssize_t pwrite(int file, void const* buffer, size_t count, off_t offset) {
  static auto* const real = NextSymbol<ssize_t(int, void const*, size_t, off_t)>("pwrite");
  int const failure = FailureOf("pwrite");
  return Unless(failure, [&] { return real(file, buffer, Shortened(failure, count), offset); });
}

int fstat(int file, struct stat* what) noexcept {
  static auto* const real = NextSymbol<int(int, struct stat*)>("fstat");
  return Unless(FailureOf("fstat"), [&] { return real(file, what); });
}

int stat(char const* path, struct stat* what) noexcept {
  static auto* const real = NextSymbol<int(char const*, struct stat*)>("stat");
  return Unless(FailureOf("stat"), [&] { return real(path, what); });
}

int fchmod(int file, mode_t mode) noexcept {
  static auto* const real = NextSymbol<int(int, mode_t)>("fchmod");
  return Unless(FailureOf("fchmod"), [&] { return real(file, mode); });
}

int fchown(int file, uid_t owner, gid_t group) noexcept {
  static auto* const real = NextSymbol<int(int, uid_t, gid_t)>("fchown");
  return Unless(FailureOf("fchown"), [&] { return real(file, owner, group); });
}

int ftruncate(int file, off_t length) noexcept {
  static auto* const real = NextSymbol<int(int, off_t)>("ftruncate");
  return Unless(FailureOf("ftruncate"), [&] { return real(file, length); });
}

int futimens(int file, struct timespec const times[2]) noexcept {
  static auto* const real = NextSymbol<int(int, struct timespec const*)>("futimens");
  return Unless(FailureOf("futimens"), [&] { return real(file, times); });
}

int fcntl(int file, int command, ...) {
  static auto* const real = NextSymbol<int(int, int, ...)>("fcntl");
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  bool const isLock = command == F_OFD_SETLK || command == F_OFD_SETLKW;
  bool const isEnd = isLock && static_cast<struct flock*>(argument)->l_type == F_UNLCK;
  int const failure = isLock ? FailureOf(isEnd ? "fcntl unlock" : "fcntl lock") : 0;
  if (isEnd) {
    int const result = real(file, command, argument);
    return Unless(failure, [&] { return result; });
  }
  return Unless(failure, [&] { return real(file, command, argument); });
}

int flock(int file, int operation) noexcept {
  static auto* const real = NextSymbol<int(int, int)>("flock");
  int const failure = FailureOf(operation == LOCK_UN ? "flock unlock" : "flock");
  if (operation == LOCK_UN) {
    int const result = real(file, operation);
    return Unless(failure, [&] { return result; });
  }
  return Unless(failure, [&] { return real(file, operation); });
}

int semget(key_t key, int count, int flags) noexcept {
  static auto* const real = NextSymbol<int(key_t, int, int)>("semget");
  return Unless(FailureOf("semget"), [&] { return real(key, count, flags); });
}

int semop(int set, struct sembuf* steps, size_t count) noexcept {
  static auto* const real = NextSymbol<int(int, struct sembuf*, size_t)>("semop");
  bool const isEnd = count == 1;  // Giving back what is held cannot fail while the set is there.
  return Unless(isEnd ? 0 : FailureOf("semop"), [&] { return real(set, steps, count); });
}

int rename(char const* from, char const* to) noexcept {
  static auto* const real = NextSymbol<int(char const*, char const*)>("rename");
  return Unless(FailureOf("rename"), [&] { return real(from, to); });
}

int link(char const* from, char const* to) noexcept {
  static auto* const real = NextSymbol<int(char const*, char const*)>("link");
  return Unless(FailureOf("link"), [&] { return real(from, to); });
}

int unlink(char const* path) noexcept {
  static auto* const real = NextSymbol<int(char const*)>("unlink");
  return Unless(FailureOf("unlink"), [&] { return real(path); });
}

int mkdir(char const* path, mode_t mode) noexcept {
  static auto* const real = NextSymbol<int(char const*, mode_t)>("mkdir");
  return Unless(FailureOf("mkdir"), [&] { return real(path, mode); });
}

int access(char const* path, int mode) noexcept {
  static auto* const real = NextSymbol<int(char const*, int)>("access");
  return Unless(FailureOf("access"), [&] { return real(path, mode); });
}

int faccessat(int folder, char const* path, int mode, int flags) noexcept {
  static auto* const real = NextSymbol<int(int, char const*, int, int)>("faccessat");
  return Unless(FailureOf("faccessat"), [&] { return real(folder, path, mode, flags); });
}

int mkstemp(char* path) {
  static auto* const real = NextSymbol<int(char*)>("mkstemp");
  return Unless(FailureOf("mkstemp"), [&] { return real(path); });
}

}  // extern "C"
