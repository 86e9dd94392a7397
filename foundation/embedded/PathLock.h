#ifndef QUENDRIL_FOUNDATION_EMBEDDED_PATHLOCK_H
#define QUENDRIL_FOUNDATION_EMBEDDED_PATHLOCK_H

#include "foundation/embedded/KernelHold.h"
#include "foundation/embedded/ReentrantLock.h"

// The lock over one path. All objects of one path share, thread by thread, what that thread holds.
class PathLock : public IPC::ReentrantLock {
 public:
  // `path` is not empty.
  explicit PathLock(char const* path);

  std::unique_ptr<IPC::LockHold> Take(IPC::LockMode mode) override;

 private:
  // Looked up anew as long as the folder is missing.
  LockPlace const m_place;
};

#endif
