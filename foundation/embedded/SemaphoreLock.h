#ifndef QUENDRIL_FOUNDATION_EMBEDDED_SEMAPHORELOCK_H
#define QUENDRIL_FOUNDATION_EMBEDDED_SEMAPHORELOCK_H

#include <atomic>
#include <memory>

#include "foundation/IPC.h"

namespace IPC {

// The lock over a System V semaphore set of two, both 0 when the lock is free:
//
//   semaphore  value
//   0          1 while somebody holds the lock exclusively
//   1          the number of shared holds
//
// Each step is one semop with SEM_UNDO: there is nothing to initialise, and the kernel takes back
// what a killed process held. A set that was removed meanwhile is made again.
class SemaphoreLock {
 public:
  // Never throws but std::bad_alloc: without a set the lock excludes within the process only.
  explicit SemaphoreLock(int key);

  // Blocks. Throws an XTOOStatus with an errno.
  std::unique_ptr<LockHold> Take(LockMode mode);

 private:
  // The set's identifier, -1 when the system gives none.
  int Set();
  void Forget(int set);

  int const m_key;
  std::atomic<int> m_set{-1};
};

}  // namespace IPC

#endif
