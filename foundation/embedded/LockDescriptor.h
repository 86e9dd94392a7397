#ifndef QUENDRIL_FOUNDATION_EMBEDDED_LOCKDESCRIPTOR_H
#define QUENDRIL_FOUNDATION_EMBEDDED_LOCKDESCRIPTOR_H

#include <sys/stat.h>

#include <memory>
#include <mutex>

#include "foundation/IPC.h"

// An open descriptor that exists to carry a lock. The lock belongs to the open file description, so
// a copy of the descriptor in a forked child would keep it alive; therefore
//   - every such descriptor is in one process-wide list from its opening to its closing,
//   - fork() waits for that list's mutex, and a child closes them all before fork() returns in it,
//   - the lock is let go by name before the close (between vfork and exec a child still has a
//   copy).
// In a forked child every object of this class is closed and stays so.
class LockDescriptor {
 public:
  // Opens `path`; null on failure, with `error` set to an errno.
  static std::unique_ptr<LockDescriptor> Open(char const* path, int flags, int& error);

  LockDescriptor(LockDescriptor const&) = delete;
  LockDescriptor& operator=(LockDescriptor const&) = delete;
  // Lets the lock go.
  ~LockDescriptor();

  // A file is locked whole, from its first byte to whatever its end will be. Blocks. Returns 0 or
  // an errno.
  int LockFile(IPC::LockMode mode);
  // Returns 0 or an errno; without `wait` EWOULDBLOCK when somebody holds it in the way.
  int LockFolder(IPC::LockMode mode, bool wait);

  bool IsRegularFile() const { return S_ISREG(m_what.st_mode); }
  // Whether both are the same file, or the same folder.
  bool IsSameAs(struct stat const& other) const {
    return m_what.st_dev == other.st_dev && m_what.st_ino == other.st_ino;
  }
  // Whether `path` names, at this moment, what was opened.
  bool IsNamed(char const* path) const;

  // What guards all process-wide state of the file locks; fork() takes it too.
  static std::mutex& ProcessMutex();
  // Rises by one in each forked child: what was made under another number was made by a parent.
  static unsigned long ForkGeneration();

 private:
  LockDescriptor() = default;
  bool Register(char const* path, int flags, int& error);
  friend struct LockDescriptorList;

  enum class Held { Nothing, File, Folder };

  int m_fd = -1;
  Held m_held = Held::Nothing;
  struct stat m_what {};
  // Guarded by ProcessMutex().
  LockDescriptor* m_previous = nullptr;
  LockDescriptor* m_next = nullptr;
};

#endif
