#include <fcntl.h>
#include <sys/file.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"

namespace {

// What a thread holds of a folder.
struct Hold {
  int descriptor = -1;
  bool isExclusive = false;
  unsigned int depth = 0;
};
using Holds = std::map<std::pair<std::thread::id, std::string>, Hold>;

std::mutex& HoldsMutex() {
  static std::mutex& mutex = *new std::mutex;
  return mutex;
}

Holds& AllHolds() {
  static Holds& holds = *new Holds;
  return holds;
}

std::string FolderOf(std::string const& path) {
  std::size_t const slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// A folder that cannot be opened gives a hold that excludes nobody: what is then done to the file
// fails in its own way.
Hold TakeFolder(std::string const& folder, bool exclusive) {
  int const descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  while (descriptor >= 0 && ::flock(descriptor, exclusive ? LOCK_EX : LOCK_SH) != 0 &&
         errno == EINTR) {
  }
  return Hold{descriptor, exclusive, 1};
}

void LockFolder(std::string const& folder, bool exclusive) {
  auto const key = std::make_pair(std::this_thread::get_id(), folder);
  {
    std::lock_guard<std::mutex> const guard(HoldsMutex());
    auto const held = AllHolds().find(key);
    if (held != AllHolds().end()) {
      if (exclusive && !held->second.isExclusive) {
        throw XTOOStatus(EDEADLK, folder.c_str(), false);
      }
      ++held->second.depth;
      return;
    }
  }
  Hold const hold = TakeFolder(folder, exclusive);
  std::lock_guard<std::mutex> const guard(HoldsMutex());
  AllHolds()[key] = hold;
}

void UnlockFolder(std::string const& folder) {
  std::lock_guard<std::mutex> const guard(HoldsMutex());
  auto const held = AllHolds().find({std::this_thread::get_id(), folder});
  if (--held->second.depth == 0) {
    ::close(held->second.descriptor);
    AllHolds().erase(held);
  }
}

void Enter(int set) {
  struct sembuf steps[] = {{0, 0, 0}, {0, 1, SEM_UNDO}};
  while (::semop(set, steps, 2) != 0 && errno == EINTR) {
  }
}

void Leave(int set) {
  struct sembuf step {
    0, -1, SEM_UNDO
  };
  ::semop(set, &step, 1);
}

}  // namespace

namespace IPC {

CReadWriteLock::~CReadWriteLock() = default;

CReadWriteLock_file::CReadWriteLock_file(char const* path) : m_folder(FolderOf(path).c_str()) {}
CReadWriteLock_file::~CReadWriteLock_file() = default;
void CReadWriteLock_file::LockShared() { LockFolder(std::string(m_folder), false); }
void CReadWriteLock_file::LockExclusive() { LockFolder(std::string(m_folder), true); }
void CReadWriteLock_file::Unlock() { UnlockFolder(std::string(m_folder)); }

CReadWriteLock_pth::CReadWriteLock_pth() : m_lock(PTHREAD_RWLOCK_INITIALIZER) {}
CReadWriteLock_pth::~CReadWriteLock_pth() { ::pthread_rwlock_destroy(&m_lock); }
void CReadWriteLock_pth::LockShared() { ::pthread_rwlock_rdlock(&m_lock); }
void CReadWriteLock_pth::LockExclusive() { ::pthread_rwlock_wrlock(&m_lock); }
void CReadWriteLock_pth::Unlock() { ::pthread_rwlock_unlock(&m_lock); }

// Two, like others that may use the same key; only the first is used.
CReadWriteLock_smph::CReadWriteLock_smph(int key) : m_set(::semget(key, 2, IPC_CREAT | 0666)) {}
CReadWriteLock_smph::~CReadWriteLock_smph() = default;
void CReadWriteLock_smph::LockShared() { Enter(m_set); }
void CReadWriteLock_smph::LockExclusive() { Enter(m_set); }
void CReadWriteLock_smph::Unlock() { Leave(m_set); }

CReadLocker::CReadLocker(CReadWriteLock& lock) : m_lock(lock) { m_lock.LockShared(); }
CReadLocker::~CReadLocker() { m_lock.Unlock(); }

CWriteLocker::CWriteLocker(CReadWriteLock& lock) : m_lock(lock) { m_lock.LockExclusive(); }
CWriteLocker::~CWriteLocker() { m_lock.Unlock(); }

}  // namespace IPC
