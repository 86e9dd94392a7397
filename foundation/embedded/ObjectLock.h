#ifndef QUENDRIL_FOUNDATION_EMBEDDED_OBJECTLOCK_H
#define QUENDRIL_FOUNDATION_EMBEDDED_OBJECTLOCK_H

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>

#include "foundation/embedded/ReentrantLock.h"

// A lock between the threads of this process over nothing but the object itself.
class ObjectLock : public IPC::ReentrantLock, public std::enable_shared_from_this<ObjectLock> {
 public:
  std::unique_ptr<IPC::LockHold> Take(IPC::LockMode mode) override;

  // Ends one hold of the thread with that token.
  void End(unsigned long thread);

 private:
  struct Hold {
    IPC::LockMode mode;
    unsigned int count;
  };

  bool IsFreeLocked(IPC::LockMode mode) const;

  std::mutex m_mutex;
  std::condition_variable m_ended;
  // Guarded by m_mutex. By the threads' tokens.
  std::map<unsigned long, Hold> m_holds;
};

#endif
