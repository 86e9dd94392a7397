#include "foundation/embedded/ObjectLock.h"

#include <cerrno>
#include <condition_variable>
#include <map>
#include <mutex>
#include <utility>

#include "foundation/embedded/LockDescriptor.h"
#include "foundation/embedded/ThreadToken.h"
#include "foundation/XTOOStatus.h"

// Who holds the lock, in the process that made this. Every operation is called with
// LockDescriptor::ProcessMutex() held.
class ObjectLock::Holds {
 public:
  bool IsOfThisProcess() const { return m_generation == LockDescriptor::ForkGeneration(); }

  // Waits as long as others are in the way, with the mutex free meanwhile.
  void Begin(std::unique_lock<std::mutex>& guard, unsigned long thread, IPC::LockMode mode) {
    auto const own = m_threads.find(thread);
    if (own == m_threads.end()) {
      m_ended.wait(guard, [&] { return IsFree(mode); });
      m_threads.emplace(thread, Hold{mode, 1});
    } else if (mode == IPC::LockMode::Exclusive && own->second.mode == IPC::LockMode::Shared) {
      throw XTOOStatus(EDEADLK, false);
    } else {
      ++own->second.count;
    }
  }

  void End(unsigned long thread) {
    auto const own = m_threads.find(thread);
    if (--own->second.count == 0) {
      m_threads.erase(own);
      m_ended.notify_all();
    }
  }

 private:
  struct Hold {
    IPC::LockMode mode;
    unsigned int count;
  };

  bool IsFree(IPC::LockMode mode) const {
    if (mode == IPC::LockMode::Exclusive) {
      return m_threads.empty();
    }
    // An exclusive hold is the only one there is.
    return m_threads.empty() || m_threads.begin()->second.mode == IPC::LockMode::Shared;
  }

  unsigned long const m_generation = LockDescriptor::ForkGeneration();
  std::condition_variable m_ended;
  std::map<unsigned long, Hold> m_threads;  // By the threads' tokens.
};

class ObjectLock::Holder : public IPC::LockHold {
 public:
  ~Holder() override {
    if (m_lock && m_generation == LockDescriptor::ForkGeneration()) {
      std::lock_guard<std::mutex> const guard(LockDescriptor::ProcessMutex());
      m_lock->m_holds->End(m_thread);
    }
  }

  void Own(std::shared_ptr<ObjectLock> lock, unsigned long thread) {
    m_lock = std::move(lock);
    m_thread = thread;
    m_generation = LockDescriptor::ForkGeneration();
  }

 private:
  std::shared_ptr<ObjectLock> m_lock;
  unsigned long m_thread = 0;
  unsigned long m_generation = 0;
};

ObjectLock::ObjectLock() : m_holds(std::make_unique<Holds>()) {}

ObjectLock::~ObjectLock() {
  // Threads that the child does not have may have waited here; only they could clear that up.
  if (!m_holds->IsOfThisProcess()) {
    static_cast<void>(m_holds.release());
  }
}

std::unique_ptr<IPC::LockHold> ObjectLock::Take(IPC::LockMode mode) {
  unsigned long const thread = ThreadToken();
  auto holder = std::make_unique<Holder>();  // Before the lock is held: it may throw.
  std::unique_lock<std::mutex> guard(LockDescriptor::ProcessMutex());
  HoldsLocked().Begin(guard, thread, mode);
  holder->Own(shared_from_this(), thread);
  return holder;
}

ObjectLock::Holds& ObjectLock::HoldsLocked() {
  if (!m_holds->IsOfThisProcess()) {
    auto fresh = std::make_unique<Holds>();
    static_cast<void>(m_holds.release());  // As in the destructor.
    m_holds = std::move(fresh);
  }
  return *m_holds;
}
