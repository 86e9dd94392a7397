#ifndef QUENDRIL_SECOND_BASE_IPC_H
#define QUENDRIL_SECOND_BASE_IPC_H

#include <pthread.h>

#include "foundation/CTOOString.h"
#include "foundation/export.h"

namespace IPC {

class QUENDRIL_EXPORT CReadWriteLock {
 public:
  CReadWriteLock() = default;
  CReadWriteLock(CReadWriteLock const&) = delete;
  CReadWriteLock& operator=(CReadWriteLock const&) = delete;
  virtual ~CReadWriteLock();

  // What the holders call.
  virtual void LockShared() = 0;
  virtual void LockExclusive() = 0;
  virtual void Unlock() = 0;
};

// A flock on the folder of the path, so that a file that is missing, made or replaced meanwhile is
// nothing special. A thread that holds it may take it again; each holder ends on its own thread.
class QUENDRIL_EXPORT CReadWriteLock_file : public CReadWriteLock {
 public:
  explicit CReadWriteLock_file(char const* path);
  ~CReadWriteLock_file() override;

  void LockShared() override;
  void LockExclusive() override;
  void Unlock() override;

 private:
  CTOOString m_folder;
};

class QUENDRIL_EXPORT CReadWriteLock_pth : public CReadWriteLock {
 public:
  CReadWriteLock_pth();
  ~CReadWriteLock_pth() override;

  void LockShared() override;
  void LockExclusive() override;
  void Unlock() override;

 private:
  pthread_rwlock_t m_lock;
};

// One semaphore, 1 while it is held in either mode.
class QUENDRIL_EXPORT CReadWriteLock_smph : public CReadWriteLock {
 public:
  explicit CReadWriteLock_smph(int key);
  ~CReadWriteLock_smph() override;

  void LockShared() override;
  void LockExclusive() override;
  void Unlock() override;

 private:
  int m_set;
};

class QUENDRIL_EXPORT CReadLocker {
 public:
  explicit CReadLocker(CReadWriteLock& lock);
  CReadLocker(CReadLocker const&) = delete;
  CReadLocker& operator=(CReadLocker const&) = delete;
  ~CReadLocker();

 private:
  CReadWriteLock& m_lock;
};

class QUENDRIL_EXPORT CWriteLocker {
 public:
  explicit CWriteLocker(CReadWriteLock& lock);
  CWriteLocker(CWriteLocker const&) = delete;
  CWriteLocker& operator=(CWriteLocker const&) = delete;
  ~CWriteLocker();

 private:
  CReadWriteLock& m_lock;
};

}  // namespace IPC

#endif
