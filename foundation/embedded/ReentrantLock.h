#ifndef QUENDRIL_FOUNDATION_EMBEDDED_REENTRANTLOCK_H
#define QUENDRIL_FOUNDATION_EMBEDDED_REENTRANTLOCK_H

#include <memory>

#include "foundation/IPC.h"

namespace IPC {

// A lock that the thread that holds it may take again. Its holds keep alive what they need and may
// be ended by any thread.
class ReentrantLock {
 public:
  ReentrantLock() = default;
  ReentrantLock(ReentrantLock const&) = delete;
  ReentrantLock& operator=(ReentrantLock const&) = delete;
  virtual ~ReentrantLock() = default;

  // Blocks until the calling thread holds the lock in `mode`. Throws an XTOOStatus; EDEADLK when
  // the thread holds it shared and asks for exclusive.
  virtual std::unique_ptr<LockHold> Take(LockMode mode) = 0;
};

}  // namespace IPC

#endif
