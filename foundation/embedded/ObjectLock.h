#ifndef QUENDRIL_FOUNDATION_EMBEDDED_OBJECTLOCK_H
#define QUENDRIL_FOUNDATION_EMBEDDED_OBJECTLOCK_H

#include <memory>

#include "foundation/embedded/ReentrantLock.h"

// A lock between the threads of this process over nothing but the object itself. A forked child
// finds it free, and what it inherited of holders ends nothing.
//
// Its state is guarded by LockDescriptor::ProcessMutex(), for which fork() waits.
class ObjectLock : public IPC::ReentrantLock, public std::enable_shared_from_this<ObjectLock> {
 public:
  ObjectLock();
  ~ObjectLock() override;

  std::unique_ptr<IPC::LockHold> Take(IPC::LockMode mode) override;

 private:
  class Holds;
  class Holder;

  Holds& HoldsLocked();

  std::unique_ptr<Holds> m_holds;
};

#endif
