#include "foundation/embedded/ObjectLock.h"

#include <cerrno>
#include <utility>

#include "foundation/embedded/ThreadToken.h"
#include "foundation/XTOOStatus.h"

namespace {

class ObjectHolder : public IPC::LockHold {
 public:
  ~ObjectHolder() override {
    if (m_lock) {
      m_lock->End(m_thread);
    }
  }

  void Own(std::shared_ptr<ObjectLock> lock, unsigned long thread) noexcept {
    m_lock = std::move(lock);
    m_thread = thread;
  }

 private:
  std::shared_ptr<ObjectLock> m_lock;
  unsigned long m_thread = 0;
};

}  // namespace

std::unique_ptr<IPC::LockHold> ObjectLock::Take(IPC::LockMode mode) {
  unsigned long const thread = ThreadToken();
  auto holder = std::make_unique<ObjectHolder>();  // Before the lock is held: it may throw.
  std::unique_lock<std::mutex> guard(m_mutex);
  auto const own = m_holds.find(thread);
  if (own == m_holds.end()) {
    m_ended.wait(guard, [&] { return IsFreeLocked(mode); });
    m_holds.emplace(thread, Hold{mode, 1});
  } else if (mode == IPC::LockMode::Exclusive && own->second.mode == IPC::LockMode::Shared) {
    throw XTOOStatus(EDEADLK, false);
  } else {
    ++own->second.count;
  }
  holder->Own(shared_from_this(), thread);
  return holder;
}

void ObjectLock::End(unsigned long thread) {
  std::lock_guard<std::mutex> const guard(m_mutex);
  auto const own = m_holds.find(thread);
  if (--own->second.count == 0) {
    m_holds.erase(own);
    m_ended.notify_all();
  }
}

bool ObjectLock::IsFreeLocked(IPC::LockMode mode) const {
  if (mode == IPC::LockMode::Exclusive) {
    return m_holds.empty();
  }
  // An exclusive hold is the only one there is.
  return m_holds.empty() || m_holds.begin()->second.mode == IPC::LockMode::Shared;
}
