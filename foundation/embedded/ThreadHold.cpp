#include "foundation/embedded/ThreadHold.h"

#include <sys/stat.h>

#include <map>
#include <string>
#include <utility>

#include "foundation/embedded/ThreadToken.h"

// All threads' holds. Every operation is called with LockDescriptor::ProcessMutex() held.
//
// An entry's pointer may be followed while the mutex is held, even when its last holder is just
// going: a hold takes itself out of the table, under the mutex, before it is destroyed.
class ThreadHoldTable {
 public:
  // Never destroyed: a holder may end after the static objects are gone.
  static ThreadHoldTable& Get() {
    static ThreadHoldTable& table = *new ThreadHoldTable;
    return table;
  }

  void AddLocked(std::shared_ptr<ThreadHold> const& hold) {
    m_entries[{hold->m_thread, hold->m_place.path}] = Entry{hold.get(), hold};
  }

  // Called by a destructor, so it allocates nothing: not even a key to search by.
  void RemoveLocked(ThreadHold const& hold) {
    for (auto entry = BeginOf(hold.m_thread); IsOf(hold.m_thread, entry); ++entry) {
      // Not found where the thread has begun anew meanwhile.
      if (entry->second.hold == &hold) {
        m_entries.erase(entry);
        return;
      }
    }
  }

  std::shared_ptr<ThreadHold> FindLocked(LockPlace const& place) {
    ForgetParentsLocked();
    auto const found = m_entries.find({ThreadToken(), place.path});
    if (found != m_entries.end()) {
      return found->second.owner.lock();
    }
    auto const same = FindSameFileLocked(ThreadToken(), place);
    return same == m_entries.end() ? nullptr : same->second.owner.lock();
  }

  // Whether the hold's thread holds what the hold's path names now, under another name.
  bool HoldsSameFileLocked(ThreadHold const& hold) {
    return FindSameFileLocked(hold.m_thread, hold.m_place) != m_entries.end();
  }

  std::shared_ptr<FolderHold> FindFolderLocked(LockPlace const& place) {
    ForgetParentsLocked();
    unsigned long const thread = ThreadToken();
    for (auto entry = BeginOf(thread); IsOf(thread, entry); ++entry) {
      ThreadHold const& hold = *entry->second.hold;
      if (hold.m_kernel.folder && hold.m_place.folder == place.folder) {
        return hold.m_kernel.folder;
      }
    }
    return nullptr;
  }

 private:
  struct Entry {
    ThreadHold* hold = nullptr;
    std::weak_ptr<ThreadHold> owner;
  };
  using Entries = std::map<std::pair<unsigned long, std::string>, Entry>;

  // A file that is reached by a link must not make its own thread wait. The end when there is none.
  Entries::iterator FindSameFileLocked(unsigned long thread, LockPlace const& place) {
    struct stat what {};
    auto entry = BeginOf(thread);
    if (!IsOf(thread, entry) || ::stat(place.path.c_str(), &what) != 0) {
      return m_entries.end();
    }
    for (; IsOf(thread, entry); ++entry) {
      KernelHold const& kernel = entry->second.hold->m_kernel;
      if (kernel.file && kernel.file->IsSameAs(what)) {
        return entry;
      }
    }
    return m_entries.end();
  }

  Entries::iterator BeginOf(unsigned long thread) {
    return m_entries.lower_bound({thread, std::string()});
  }
  bool IsOf(unsigned long thread, Entries::iterator entry) {
    return entry != m_entries.end() && entry->first.first == thread;
  }

  void ForgetParentsLocked() {
    unsigned long const generation = LockDescriptor::ForkGeneration();
    if (m_generation != generation) {
      m_entries.clear();
      m_generation = generation;
    }
  }

  Entries m_entries;
  unsigned long m_generation = 0;
};

std::shared_ptr<ThreadHold> ThreadHold::Find(LockPlace const& place) {
  std::lock_guard<std::mutex> const guard(LockDescriptor::ProcessMutex());
  return ThreadHoldTable::Get().FindLocked(place);
}

std::shared_ptr<ThreadHold> ThreadHold::Take(LockPlace const& place, IPC::LockMode mode) {
  std::shared_ptr<FolderHold> own;
  {
    std::lock_guard<std::mutex> const guard(LockDescriptor::ProcessMutex());
    own = ThreadHoldTable::Get().FindFolderLocked(place);
  }
  auto hold = std::make_shared<ThreadHold>(place, mode, TakeKernelHold(place, mode, own));
  std::lock_guard<std::mutex> const guard(LockDescriptor::ProcessMutex());
  ThreadHoldTable::Get().AddLocked(hold);
  return hold;
}

ThreadHold::ThreadHold(LockPlace const& place, IPC::LockMode mode, KernelHold kernel)
    : m_place(place),
      m_mode(mode),
      m_thread(ThreadToken()),
      m_generation(LockDescriptor::ForkGeneration()),
      m_kernel(std::move(kernel)) {}

ThreadHold::~ThreadHold() {
  std::lock_guard<std::mutex> const guard(LockDescriptor::ProcessMutex());
  ThreadHoldTable::Get().RemoveLocked(*this);
}

void ThreadHold::MoveToFile() {
  if (m_generation != LockDescriptor::ForkGeneration() || !IsOnFolder()) {
    return;
  }
  std::lock_guard<std::mutex> const moving(m_moving);
  if (!IsOnFolder() || HoldsSameFile()) {
    return;
  }
  std::unique_ptr<LockDescriptor> file = LockAppearedFile(m_place, m_mode);
  if (!file) {
    return;
  }
  std::shared_ptr<FolderHold> folder;  // Let go only when the mutex is free again.
  std::lock_guard<std::mutex> const guard(LockDescriptor::ProcessMutex());
  m_kernel.file = std::move(file);
  folder.swap(m_kernel.folder);
}

bool ThreadHold::HoldsSameFile() const {
  std::lock_guard<std::mutex> const guard(LockDescriptor::ProcessMutex());
  return ThreadHoldTable::Get().HoldsSameFileLocked(*this);
}

bool ThreadHold::IsOnFolder() const {
  std::lock_guard<std::mutex> const guard(LockDescriptor::ProcessMutex());
  return m_kernel.folder != nullptr;
}
