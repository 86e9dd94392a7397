#include "foundation/embedded/SemaphoreLock.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <map>

#include "foundation/embedded/LockDescriptor.h"
#include "foundation/embedded/ObjectLock.h"
#include "foundation/XTOOStatus.h"

namespace IPC {
namespace {

constexpr int kSemaphores = 2;
constexpr int kMode = 0666;
constexpr unsigned short kWriter = 0;
constexpr unsigned short kReaders = 1;

// Waits until the lock is free for `mode` and counts the hold, in one step. Returns 0 or an errno.
int Enter(int set, LockMode mode) {
  struct sembuf exclusive[] = {{kWriter, 0, 0}, {kReaders, 0, 0}, {kWriter, 1, SEM_UNDO}};
  struct sembuf shared[] = {{kWriter, 0, 0}, {kReaders, 1, SEM_UNDO}};
  int result = 0;
  do {
    result = mode == LockMode::Exclusive ? ::semop(set, exclusive, std::size(exclusive))
                                         : ::semop(set, shared, std::size(shared));
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

void Leave(int set, LockMode mode) {
  unsigned short const semaphore = mode == LockMode::Exclusive ? kWriter : kReaders;
  struct sembuf step {
    semaphore, -1, SEM_UNDO | IPC_NOWAIT
  };
  // It fails only where the set was removed, and the hold with it.
  static_cast<void>(::semop(set, &step, 1));
}

class SemaphoreHolder : public LockHold {
 public:
  ~SemaphoreHolder() override {
    // A forked child did not inherit the hold.
    if (m_process == ::getpid()) {
      Leave(m_set, m_mode);
    }
  }

  void Own(int set, LockMode mode) {
    m_set = set;
    m_mode = mode;
    m_process = ::getpid();
  }

 private:
  int m_set = -1;
  LockMode m_mode = LockMode::Shared;
  pid_t m_process = -1;
};

// What excludes within the process where the system gives no set: one lock per key.
std::shared_ptr<ObjectLock> LockWithinProcess(int key) {
  static auto& locks = *new std::map<int, std::shared_ptr<ObjectLock>>;
  std::lock_guard<std::mutex> const guard(LockDescriptor::ProcessMutex());
  std::shared_ptr<ObjectLock>& lock = locks[key];
  if (!lock) {
    lock = std::make_shared<ObjectLock>();
  }
  return lock;
}

}  // namespace

SemaphoreLock::SemaphoreLock(int key) : m_key(key) {}

std::unique_ptr<LockHold> SemaphoreLock::Take(LockMode mode) {
  auto holder = std::make_unique<SemaphoreHolder>();  // Before the lock is held: it may throw.
  for (int set = Set(); set != -1; set = Set()) {
    int const error = Enter(set, mode);
    if (error == 0) {
      holder->Own(set, mode);
      return holder;
    }
    if (error != EIDRM && error != EINVAL) {
      throw XTOOStatus(error, "semaphore lock", false);
    }
    Forget(set);
  }
  return LockWithinProcess(m_key)->Take(mode);
}

int SemaphoreLock::Set() {
  int set = m_set.load();
  // Under the key 0 every process would get a set of its own.
  if (set == -1 && m_key != IPC_PRIVATE) {
    set = ::semget(m_key, kSemaphores, IPC_CREAT | kMode);
    m_set.store(set);
  }
  return set;
}

void SemaphoreLock::Forget(int set) { m_set.compare_exchange_strong(set, -1); }

}  // namespace IPC
