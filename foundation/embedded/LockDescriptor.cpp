#include "foundation/embedded/LockDescriptor.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>

#include "foundation/embedded/Descriptor.h"

// Every open LockDescriptor of the process.
struct LockDescriptorList {
  static LockDescriptorList& Get();
  static void BeforeFork() { Get().mutex.lock(); }
  static void AfterForkInParent() { Get().mutex.unlock(); }
  static void AfterForkInChild();

  std::mutex mutex;
  LockDescriptor* first = nullptr;  // Guarded by mutex.
  std::atomic<unsigned long> generation{0};
};

// Never destroyed: a holder may end after the static objects are gone.
LockDescriptorList& LockDescriptorList::Get() {
  static LockDescriptorList& list = *[] {
    auto made = std::make_unique<LockDescriptorList>();
    if (::pthread_atfork(&BeforeFork, &AfterForkInParent, &AfterForkInChild) != 0) {
      throw std::bad_alloc();
    }
    return made.release();
  }();
  return list;
}

void LockDescriptorList::AfterForkInChild() {
  LockDescriptorList& list = Get();
  LockDescriptor* next = list.first;
  list.first = nullptr;
  while (next != nullptr) {
    LockDescriptor* const descriptor = next;
    next = descriptor->m_next;
    ::close(descriptor->m_fd);  // Not unlocked: the lock is the parent's.
    descriptor->m_fd = -1;
    descriptor->m_previous = nullptr;
    descriptor->m_next = nullptr;
  }
  list.generation.fetch_add(1);
  list.mutex.unlock();
}

namespace {

// Blocking lock calls are taken up again after a signal. Returns 0 or an errno.
template <typename Call>
int Repeat(Call call) {
  int result = 0;
  do {
    result = call();
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

int SetFileLock(int fd, int command, short type) {
  struct flock whole {};
  whole.l_type = type;
  whole.l_whence = SEEK_SET;
  return Repeat([&] { return ::fcntl(fd, command, &whole); });
}

}  // namespace

std::mutex& LockDescriptor::ProcessMutex() { return LockDescriptorList::Get().mutex; }

unsigned long LockDescriptor::ForkGeneration() {
  return LockDescriptorList::Get().generation.load();
}

std::unique_ptr<LockDescriptor> LockDescriptor::Open(char const* path, int flags, int& error) {
  std::unique_ptr<LockDescriptor> descriptor(new (std::nothrow) LockDescriptor);
  if (!descriptor) {
    error = ENOMEM;
    return nullptr;
  }
  while (!descriptor->Register(path, flags, error)) {
    if (!AwaitLease(path, error)) {
      return nullptr;
    }
  }
  if (::fstat(descriptor->m_fd, &descriptor->m_what) != 0) {
    error = errno;
    return nullptr;
  }
  return descriptor;
}

// Opened and listed in one step, so that no fork comes between the two.
bool LockDescriptor::Register(char const* path, int flags, int& error) {
  LockDescriptorList& list = LockDescriptorList::Get();
  std::lock_guard<std::mutex> const guard(list.mutex);
  m_fd = OpenDescriptor(path, flags);
  if (m_fd < 0) {
    error = errno;
    return false;
  }
  m_next = list.first;
  if (m_next != nullptr) {
    m_next->m_previous = this;
  }
  list.first = this;
  return true;
}

LockDescriptor::~LockDescriptor() {
  if (m_fd < 0) {
    return;
  }
  if (m_held == Held::File) {
    static_cast<void>(SetFileLock(m_fd, F_OFD_SETLK, F_UNLCK));  // The close does it too.
  } else if (m_held == Held::Folder) {
    static_cast<void>(::flock(m_fd, LOCK_UN));
  }
  LockDescriptorList& list = LockDescriptorList::Get();
  std::lock_guard<std::mutex> const guard(list.mutex);
  ::close(m_fd);
  (m_previous != nullptr ? m_previous->m_next : list.first) = m_next;
  if (m_next != nullptr) {
    m_next->m_previous = m_previous;
  }
}

int LockDescriptor::LockFile(IPC::LockMode mode) {
  m_held = Held::File;
  return SetFileLock(m_fd, F_OFD_SETLKW, mode == IPC::LockMode::Shared ? F_RDLCK : F_WRLCK);
}

int LockDescriptor::LockFolder(IPC::LockMode mode, bool wait) {
  m_held = Held::Folder;
  int const operation = (mode == IPC::LockMode::Shared ? LOCK_SH : LOCK_EX) | (wait ? 0 : LOCK_NB);
  return Repeat([&] { return ::flock(m_fd, operation); });
}

bool LockDescriptor::IsNamed(char const* path) const {
  struct stat now {};
  return ::stat(path, &now) == 0 && IsSameAs(now);
}
