#include "foundation/IPC.h"

#include "foundation/embedded/ObjectLock.h"
#include "foundation/embedded/PathLock.h"
#include "foundation/embedded/SemaphoreLock.h"

namespace IPC {
namespace {

std::shared_ptr<ReentrantLock> MakeFileLock(char const* path) {
  if (path == nullptr || *path == 0) {
    return std::make_shared<ObjectLock>();
  }
  return std::make_shared<PathLock>(path);
}

class ThreadLockHold : public LockHold {
 public:
  ThreadLockHold(std::shared_mutex& mutex, LockMode mode) : m_mutex(mutex), m_mode(mode) {
    if (mode == LockMode::Shared) {
      mutex.lock_shared();
    } else {
      mutex.lock();
    }
  }
  ~ThreadLockHold() override {
    if (m_mode == LockMode::Shared) {
      m_mutex.unlock_shared();
    } else {
      m_mutex.unlock();
    }
  }

 private:
  std::shared_mutex& m_mutex;
  LockMode const m_mode;
};

}  // namespace

LockHold::~LockHold() = default;

CReadWriteLock::~CReadWriteLock() = default;

CReadWriteLock_file::CReadWriteLock_file(char const* path) : m_lock(MakeFileLock(path)) {}

CReadWriteLock_file::~CReadWriteLock_file() = default;

std::unique_ptr<LockHold> CReadWriteLock_file::Take(LockMode mode) { return m_lock->Take(mode); }

CReadWriteLock_pth::CReadWriteLock_pth() = default;

CReadWriteLock_pth::~CReadWriteLock_pth() = default;

std::unique_ptr<LockHold> CReadWriteLock_pth::Take(LockMode mode) {
  return std::make_unique<ThreadLockHold>(m_mutex, mode);
}

CReadWriteLock_smph::CReadWriteLock_smph(int key) : m_lock(std::make_unique<SemaphoreLock>(key)) {}

CReadWriteLock_smph::~CReadWriteLock_smph() = default;

std::unique_ptr<LockHold> CReadWriteLock_smph::Take(LockMode mode) { return m_lock->Take(mode); }

CReadLocker::CReadLocker(CReadWriteLock& lock) : m_hold(lock.Take(LockMode::Shared)) {}

CReadLocker::~CReadLocker() = default;

CWriteLocker::CWriteLocker(CReadWriteLock& lock) : m_hold(lock.Take(LockMode::Exclusive)) {}

CWriteLocker::~CWriteLocker() = default;

}  // namespace IPC
