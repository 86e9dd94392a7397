#ifndef QUENDRIL_FOUNDATION_EMBEDDED_DESCRIPTOR_H
#define QUENDRIL_FOUNDATION_EMBEDDED_DESCRIPTOR_H

#include <sys/stat.h>
#include <sys/types.h>

// Owns a file descriptor.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : m_fd(fd) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  ~Descriptor();

  bool IsOpen() const { return m_fd >= 0; }
  int Get() const { return m_fd; }
  int Release();
  // Returns 0 or an errno. May be called twice.
  int Close();

 private:
  int m_fd = -1;
};

// ::open with O_CLOEXEC, and without waiting for the other end of a FIFO or becoming the terminal's
// process; EINTR is retried. `errno` tells why the result is -1.
int OpenDescriptor(char const* path, int flags, mode_t mode = 0);

// For an OpenDescriptor that failed with `error`: true, after a short pause, when somebody has a
// lease on the file (file servers take them) and gives it back now, so that it is worth another
// try. The kernel ends a lease that is not given back.
bool AwaitLease(char const* path, int error);

// Opens what is to be used as a file: a folder fails with EISDIR, what has no positions (a FIFO, a
// socket) with ESPIPE. Returns 0, with what the file is in `what`, or an errno.
int OpenFile(char const* path, int flags, mode_t mode, Descriptor& file, struct stat& what);

// Both move `count` bytes at `offset`, unless the end of the file or an error comes first; EINTR is
// retried. They return the bytes moved and set `error` to an errno or leave it alone.
unsigned long ReadFully(int fd, void* buffer, unsigned long count, off_t offset, int& error);
unsigned long WriteFully(int fd, void const* buffer, unsigned long count, off_t offset, int& error);

#endif
