#include "foundation/embedded/Descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

// Calls `transfer(done)` for the bytes that are still to move until all are moved, it moves none,
// or it fails.
template <typename Transfer>
unsigned long TransferFully(unsigned long count, int& error, Transfer transfer) {
  unsigned long done = 0;
  while (done < count) {
    ssize_t const moved = transfer(done);
    if (moved > 0) {
      done += static_cast<unsigned long>(moved);
    } else if (moved == 0) {
      break;
    } else if (errno != EINTR) {
      error = errno;
      break;
    }
  }
  return done;
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  int const fd = other.Release();  // First: it may be this very object.
  static_cast<void>(Close());      // Nobody is left to tell.
  m_fd = fd;
  return *this;
}

Descriptor::~Descriptor() { static_cast<void>(Close()); }

int Descriptor::Release() { return std::exchange(m_fd, -1); }

int Descriptor::Close() {
  // Never repeated: after an error, EINTR included, the descriptor is gone all the same.
  int const fd = Release();
  return fd >= 0 && ::close(fd) != 0 && errno != EINTR ? errno : 0;
}

int OpenDescriptor(char const* path, int flags, mode_t mode) {
  int fd = -1;
  do {
    fd = ::open(path, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

bool AwaitLease(char const* path, int error) {
  struct stat what {};
  if (error != EWOULDBLOCK || ::stat(path, &what) != 0 || !S_ISREG(what.st_mode)) {
    return false;
  }
  ::poll(nullptr, 0, 1);
  return true;
}

int OpenFile(char const* path, int flags, mode_t mode, Descriptor& file, struct stat& what) {
  Descriptor opened(OpenDescriptor(path, flags, mode));
  while (!opened.IsOpen() && AwaitLease(path, errno)) {
    opened = Descriptor(OpenDescriptor(path, flags, mode));
  }
  if (!opened.IsOpen() || ::fstat(opened.Get(), &what) != 0) {
    return errno;
  }
  if (S_ISDIR(what.st_mode)) {
    return EISDIR;
  }
  if (S_ISFIFO(what.st_mode) || S_ISSOCK(what.st_mode)) {
    return ESPIPE;
  }
  file = std::move(opened);
  return 0;
}

unsigned long ReadFully(int fd, void* buffer, unsigned long count, off_t offset, int& error) {
  auto* const bytes = static_cast<unsigned char*>(buffer);
  return TransferFully(count, error, [=](unsigned long done) {
    return ::pread(fd, bytes + done, count - done, offset + static_cast<off_t>(done));
  });
}

unsigned long WriteFully(int fd, void const* buffer, unsigned long count, off_t offset,
                         int& error) {
  auto const* const bytes = static_cast<unsigned char const*>(buffer);
  return TransferFully(count, error, [=](unsigned long done) {
    return ::pwrite(fd, bytes + done, count - done, offset + static_cast<off_t>(done));
  });
}
