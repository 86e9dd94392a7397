#ifndef QUENDRIL_FOUNDATION_IPC_H
#define QUENDRIL_FOUNDATION_IPC_H

#include <memory>
#include <shared_mutex>

#include "foundation/export.h"

namespace IPC {

enum class LockMode { Shared, Exclusive };

// One hold of a lock; destroying it ends the hold.
class QUENDRIL_EXPORT LockHold {
 public:
  LockHold() = default;
  LockHold(LockHold const&) = delete;
  LockHold& operator=(LockHold const&) = delete;
  virtual ~LockHold();
};

// A read/write lock. Any number of threads may use one lock object at once.
class QUENDRIL_EXPORT CReadWriteLock {
 public:
  CReadWriteLock(CReadWriteLock const&) = delete;
  CReadWriteLock& operator=(CReadWriteLock const&) = delete;
  virtual ~CReadWriteLock();

 protected:
  CReadWriteLock() = default;

 private:
  friend class CReadLocker;
  friend class CWriteLocker;

  // Blocks until the lock is held in `mode`. Throws an XTOOStatus with an errno as its code;
  // CReadWriteLock_pth what std::shared_mutex throws.
  virtual std::unique_ptr<LockHold> Take(LockMode mode) = 0;
};

class ReentrantLock;

// The lock between processes, and between threads, that is tied to a file's path.
//
// It is taken on the file itself, whose content it never touches; nothing is created. Where the
// file does not exist yet, its folder is locked in its place, so that of several processes that
// meet over a missing file one makes it while the others wait.
//
// A thread that holds the lock may take it again, through this or any other object of the same
// path. Asking for exclusive while holding only shared throws EDEADLK: waiting would never end. A
// holder may outlive the lock object and may be deleted by another thread. Nothing stays locked
// after the death of a process, and a forked child holds nothing.
//
// A file that is there is known under every name; one that is missing must be locked under one
// name, or under names in one folder: a dangling link's own folder is another place.
//
// A holder excludes nobody when the file, or for a missing file its folder, may not be opened as
// the mode needs: the operation that asked for the lock meets the same refusal and reports it. The
// empty name is a lock of the object's own.
class QUENDRIL_EXPORT CReadWriteLock_file : public CReadWriteLock {
 public:
  explicit CReadWriteLock_file(char const* path);
  ~CReadWriteLock_file() override;

 private:
  std::unique_ptr<LockHold> Take(LockMode mode) override;

  std::shared_ptr<ReentrantLock> m_lock;
};

// The lock between the threads of one process. Not re-entrant; holders end on the thread that made
// them and before the lock.
class QUENDRIL_EXPORT CReadWriteLock_pth : public CReadWriteLock {
 public:
  CReadWriteLock_pth();
  ~CReadWriteLock_pth() override;

 private:
  std::unique_ptr<LockHold> Take(LockMode mode) override;

  std::shared_mutex m_mutex;
};

class SemaphoreLock;

// The lock between processes, and between threads, over a System V semaphore set under `key`, which
// may be any number that ftok gives, -1 included. Nothing stays locked after the death of a
// process. Where the system gives no set for the key, the lock still excludes within the process.
// Not re-entrant. A holder may outlive the lock and may end on another thread of its process.
class QUENDRIL_EXPORT CReadWriteLock_smph : public CReadWriteLock {
 public:
  explicit CReadWriteLock_smph(int key);
  ~CReadWriteLock_smph() override;

 private:
  std::unique_ptr<LockHold> Take(LockMode mode) override;

  std::unique_ptr<SemaphoreLock> m_lock;
};

// Holds a lock shared for its own lifetime; the constructor blocks.
class QUENDRIL_EXPORT CReadLocker {
 public:
  explicit CReadLocker(CReadWriteLock& lock);
  CReadLocker(CReadLocker const&) = delete;
  CReadLocker& operator=(CReadLocker const&) = delete;
  ~CReadLocker();

 private:
  std::unique_ptr<LockHold> m_hold;
};

// Holds a lock exclusively for its own lifetime; the constructor blocks.
class QUENDRIL_EXPORT CWriteLocker {
 public:
  explicit CWriteLocker(CReadWriteLock& lock);
  CWriteLocker(CWriteLocker const&) = delete;
  CWriteLocker& operator=(CWriteLocker const&) = delete;
  ~CWriteLocker();

 private:
  std::unique_ptr<LockHold> m_hold;
};

}  // namespace IPC

#endif
