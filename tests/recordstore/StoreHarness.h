#ifndef QUENDRIL_TESTS_RECORDSTORE_STOREHARNESS_H
#define QUENDRIL_TESTS_RECORDSTORE_STOREHARNESS_H

#include <malloc.h>
#include <sys/types.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "recordstore/CQuasiStructFile.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/ObservedStore.h"
#include "tests/support/Peer.h"

// What the tests of a store's own state have in common.

// An ObservedStore of which a test also sets the lock and the status text.
class ExposedStore : public ObservedStore {
 public:
  using ObservedStore::ObservedStore;
  using QuasiStructFileBase::m_lock;
  using XTOOStatus::Text;
};

// The disk store with its members in the open and no observer: for constructors, and where there
// are very many calls.
class ExposedFile : public CQuasiStructFile {
 public:
  using CQuasiStructFile::CQuasiStructFile;
  using QuasiStructFileBase::m_create;
  using QuasiStructFileBase::m_fileName;
  using QuasiStructFileBase::m_header;
  using QuasiStructFileBase::m_loadTime;
  using QuasiStructFileBase::m_lock;
  using QuasiStructFileBase::m_lockName;
  using QuasiStructFileBase::m_offsets;
  using QuasiStructFileBase::m_reservedLong;
  using QuasiStructFileBase::m_reservedShort;
  using XTOOStatus::Flag;
};

// Shows the flag of a status that was thrown.
class FlagOf : public XTOOStatus {
 public:
  explicit FlagOf(XTOOStatus const& status) : XTOOStatus(status) {}
  bool Get() const { return Flag; }
};

// A lock that excludes nobody and notes what is done with it.
class NotedLock : public IPC::CReadWriteLock {
 public:
  struct Notes {
    std::vector<IPC::LockMode> taken;
    int held = 0;
    int deleted = 0;
    std::function<void()> atEnd;  // Called when a hold ends.
  };

  explicit NotedLock(Notes& notes) : m_notes(notes) {}
  ~NotedLock() override { ++m_notes.deleted; }

 private:
  class Hold : public IPC::LockHold {
   public:
    explicit Hold(Notes& notes) : m_notes(notes) { ++m_notes.held; }
    ~Hold() override {
      --m_notes.held;
      if (m_notes.atEnd) {
        m_notes.atEnd();
      }
    }

   private:
    Notes& m_notes;
  };

  std::unique_ptr<IPC::LockHold> Take(IPC::LockMode mode) override {
    m_notes.taken.push_back(mode);
    return std::make_unique<Hold>(m_notes);
  }

  Notes& m_notes;
};

// Makes the file with a time long ago: no store that is opened from now on takes it for changed.
inline void MakeOldFile(std::string const& path, std::string const& content) {
  std::filesystem::remove(path);  // Emptying a file may wait for the disk, removing it does not.
  WriteFile(path, content);
  AgeFile(path);
}

inline std::string const& SomeHeader() {
  static std::string const header = "header";
  return header;
}
inline std::list<std::string> const& SomeRecords() {
  static std::list<std::string> const records{Pattern(6, 1), Pattern(9, 2), Pattern(12, 3)};
  return records;
}
inline std::list<unsigned int> const& SomeOffsets() {
  static std::list<unsigned int> const offsets{18, 28, 41};
  return offsets;
}
// A file with that header and those records, the first word 0x11223344 and the mark 5.
inline std::string SomeFile() { return RecordFile(0x11223344, 5, SomeHeader(), SomeRecords()); }

struct StoreCall {
  std::string name;
  Lock lock;          // What it holds while it works.
  std::string opens;  // The mode; empty for an operation that opens nothing.
  std::function<void(ExposedStore&)> run;
};

inline void PutHeaderOf(ExposedStore& store, unsigned int length) {
  store.PutHeader(Blob(Pattern(length, 7)));
}

// Every operation, for a store that has read SomeFile().
inline std::vector<StoreCall> CallsOnAFile() {
  IdentObj const obj = Blob(Pattern(30, 4));
  return {
      {"Init", Lock::Shared, "rbc", [](ExposedStore& store) { store.Init(); }},
      {"Reload", Lock::Shared, "rbc", [](ExposedStore& s) { s.Reload(nullptr, true, false); }},
      {"Get", Lock::Shared, "rbc",
       [](ExposedStore& store) {
         IdentObj out;
         store.Get(1, out);
       }},
      {"GetAll", Lock::Shared, "rbc",
       [](ExposedStore& store) {
         std::list<IdentObj> out;
         store.GetAll(out);
       }},
      {"EmptyFile", Lock::Exclusive, "r+bc", [](ExposedStore& store) { store.EmptyFile(); }},
      {"Add", Lock::Exclusive, "r+bc", [obj](ExposedStore& store) { store.Add(obj); }},
      {"Put", Lock::Exclusive, "r+bc", [obj](ExposedStore& store) { store.Put(0, obj); }},
      {"Put at the end", Lock::Exclusive, "r+bc",
       [obj](ExposedStore& store) { store.Put(3, obj); }},
      {"Del", Lock::Exclusive, "r+bc", [](ExposedStore& store) { store.Del(0); }},
      {"PutHeader", Lock::Exclusive, "r+bc", [](ExposedStore& store) { PutHeaderOf(store, 6); }},
      {"PutHeader longer", Lock::Exclusive, "r+bc", [](ExposedStore& s) { PutHeaderOf(s, 30); }},
      {"PutHeader shorter", Lock::Exclusive, "r+bc", [](ExposedStore& s) { PutHeaderOf(s, 2); }},
      {"PutList", Lock::None, "r+bc",
       [obj](ExposedStore& store) {
         store.PutList({obj, obj});
       }},
      {"IsItInFile", Lock::None, "rbc", [obj](ExposedStore& s) { s.IsItInFile(obj, nullptr); }},
      {"GetHeader", Lock::None, "", [](ExposedStore& store) { store.GetHeader(); }},
      {"CheckAndRestore", Lock::None, "", [](ExposedStore& store) { store.CheckAndRestore(); }},
      {"PreInit", Lock::None, "", [](ExposedStore& store) { store.PreInit(); }},
  };
}

// What makes the file where there is none.
inline std::vector<StoreCall> CreatingCalls() {
  IdentObj const obj = Blob(Pattern(30, 4));
  return {
      {"Add", Lock::Exclusive, "wbc", [obj](ExposedStore& store) { store.Add(obj); }},
      {"Put", Lock::Exclusive, "wbc", [obj](ExposedStore& store) { store.Put(0, obj); }},
      {"PutList", Lock::None, "wbc", [obj](ExposedStore& store) { store.PutList({obj}); }},
      {"PutHeader", Lock::None, "wbc", [](ExposedStore& store) { PutHeaderOf(store, 30); }},
  };
}

// What is status 4 where there is no file and none may be made.
inline std::vector<StoreCall> CallsThatNeedAFile() {
  std::vector<StoreCall> operations = CreatingCalls();
  operations.push_back({"Init", Lock::None, "", [](ExposedStore& store) { store.Init(); }});
  operations.push_back({"GetAll", Lock::None, "", [](ExposedStore& store) {
                          std::list<IdentObj> out;
                          store.GetAll(out);
                        }});
  return operations;
}

// 100 ns intervals since 1601.
inline unsigned long TicksOf(_FILETIME const& time) {
  return (static_cast<unsigned long>(time.dwHighDateTime) << 32) | time.dwLowDateTime;
}
inline CTOOFileTime FileTimeOf(unsigned long ticks) {
  CTOOFileTime time;
  time.dwLowDateTime = static_cast<unsigned int>(ticks);
  time.dwHighDateTime = static_cast<unsigned int>(ticks >> 32);
  return time;
}
inline unsigned long TicksNow() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  constexpr unsigned long kUntil1970 = 11644473600;
  return (static_cast<unsigned long>(now.tv_sec) + kUntil1970) * 10000000 +
         static_cast<unsigned long>(now.tv_nsec) / 100;
}

// Bytes in use on the heap; always 0 under the sanitizers, of which one looks for leaks itself.
inline std::size_t HeapInUse() { return ::mallinfo2().uordblks; }

#endif
