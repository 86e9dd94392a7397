#include "tests/support/LockProbe.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <ostream>
#include <stdexcept>

namespace {

// A description of its own: it shares nothing with those that hold locks.
class Opened {
 public:
  Opened(std::string const& path, int flags) : m_fd(::open(path.c_str(), flags | O_CLOEXEC)) {
    if (m_fd < 0) {
      throw std::runtime_error("cannot open " + path);
    }
  }
  Opened(Opened const&) = delete;
  Opened& operator=(Opened const&) = delete;
  ~Opened() { ::close(m_fd); }
  int Get() const { return m_fd; }

 private:
  int m_fd;
};

}  // namespace

std::ostream& operator<<(std::ostream& out, Lock lock) {
  char const* const names[] = {"none", "shared", "exclusive"};
  return out << names[static_cast<int>(lock)];
}

Lock FileLockOf(std::string const& path) {
  Opened const file(path, O_RDONLY);
  struct flock asked {};
  asked.l_type = F_WRLCK;
  asked.l_whence = SEEK_SET;
  if (::fcntl(file.Get(), F_OFD_GETLK, &asked) != 0) {
    throw std::runtime_error("cannot ask for the lock of " + path);
  }
  switch (asked.l_type) {
    case F_RDLCK:
      return Lock::Shared;
    case F_WRLCK:
      return Lock::Exclusive;
    default:
      return Lock::None;
  }
}

Lock FolderLockOf(std::string const& path) {
  Opened const folder(path, O_RDONLY | O_DIRECTORY);
  if (::flock(folder.Get(), LOCK_EX | LOCK_NB) == 0) {
    return Lock::None;
  }
  return ::flock(folder.Get(), LOCK_SH | LOCK_NB) == 0 ? Lock::Shared : Lock::Exclusive;
}
