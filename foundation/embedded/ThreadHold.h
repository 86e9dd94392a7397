#ifndef QUENDRIL_FOUNDATION_EMBEDDED_THREADHOLD_H
#define QUENDRIL_FOUNDATION_EMBEDDED_THREADHOLD_H

#include <memory>
#include <mutex>

#include "foundation/embedded/KernelHold.h"

// What one thread holds of one path, however often it took it: its holders share one object, and
// the last of them ends it. A process-wide table knows those of every thread; it is never destroyed
// and knows only what is held.
//
// Lock order: m_moving, then LockDescriptor::ProcessMutex(), which is never held while a
// lock of the kernel's is waited for.
class ThreadHold {
 public:
  // What the calling thread holds of `place`, or of the same file under another name; null for
  // nothing.
  static std::shared_ptr<ThreadHold> Find(LockPlace const& place);
  // Locks `place`, of which the calling thread holds nothing. Blocks; throws as TakeKernelHold
  // does.
  static std::shared_ptr<ThreadHold> Take(LockPlace const& place, IPC::LockMode mode);

  ThreadHold(LockPlace const& place, IPC::LockMode mode, KernelHold kernel);
  ThreadHold(ThreadHold const&) = delete;
  ThreadHold& operator=(ThreadHold const&) = delete;
  ~ThreadHold();

  IPC::LockMode Mode() const { return m_mode; }

  // A hold of the folder becomes one of the file if that is there by now, and the thread does not
  // hold it under another name. Nothing happens in a forked child, which holds nothing.
  void MoveToFile();

 private:
  friend class ThreadHoldTable;

  bool IsOnFolder() const;
  // Whether the thread holds what the path names now under another name.
  bool HoldsSameFile() const;

  // Constant after construction.
  LockPlace const m_place;
  IPC::LockMode const m_mode;
  unsigned long const m_thread;
  unsigned long const m_generation;

  std::mutex m_moving;
  // Guarded by LockDescriptor::ProcessMutex().
  KernelHold m_kernel;
};

#endif
