// Exceptions that leave the record operations, from every storage operation that they call.

#include <malloc.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/recordstore/Operations.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/ObservedStore.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

// There under the sanitizers only, whose memory mallinfo2 does not count.
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

namespace {

std::string const kHeader = "the header";
std::string const kFile = RecordFile(1, 2, kHeader, kOperationRecords);

std::size_t AllocatedBytes() {
  if (__sanitizer_get_current_allocated_bytes != nullptr) {
    return __sanitizer_get_current_allocated_bytes();
  }
  struct mallinfo2 const info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

class RecordOperationsThrow : public testing::Test {
 protected:
  // Somebody else who takes the lock and lets it go, each time he is told to.
  RecordOperationsThrow()
      : m_other([this](PeerSide& side) {
          IPC::CReadWriteLock_file lock(m_path.c_str());
          for (;;) {
            side.AwaitGo();
            { IPC::CWriteLocker const locker(lock); }
            side.Reached();
          }
        }) {}

  // Runs the operation over and over, with an exception from its first storage operation, its
  // second, and so on, until it runs through. `start` makes the file.
  void ThrowEverywhere(Operation const& operation, std::function<void()> const& start) {
    SCOPED_TRACE(operation.name);
    bool hasThrown = true;
    for (int last = 1; hasThrown; ++last) {
      SCOPED_TRACE(last);
      std::filesystem::remove(m_path);
      start();
      hasThrown = ThrowAt(operation, last);
      ASSERT_LT(last, 100);
      ASSERT_FALSE(HasFailure());
      EXPECT_TRUE(hasThrown || last > 2);  // It was called at all.
    }
  }

  bool ThrowAt(Operation const& operation, int last) {
    ObservedStore store;
    Scan(store);
    int const descriptors = CountDescriptors();
    int calls = 0;
    store.Before = [&](std::string const&) {
      if (++calls == last) {
        throw std::bad_alloc();
      }
    };
    bool hasThrown = false;
    try {
      static_cast<void>(operation.run(store));
    } catch (std::bad_alloc const&) {
      hasThrown = true;
    }
    store.Before = nullptr;
    EXPECT_EQ(0, store.OpenHandles);
    EXPECT_EQ(descriptors, CountDescriptors());
    ExpectFree();
    // An operation that ends well relies on the time of the file that it made.
    if (hasThrown || !m_isRemoved) {
      ExpectMirrorsTheFile(store);
    }
    ExpectUsable(store);
    return hasThrown;
  }

  // Scans the file; one that has changed since then is scanned again by the operation.
  void Scan(ObservedStore& store) {
    store.Reload(m_path.c_str(), true, true);
    if (m_isChanged) {
      ShiftWriteTime(m_path, 10);
    }
    if (m_isRemoved) {
      std::filesystem::remove(m_path);
    }
    if (m_isWithoutClock) {
      CTOOFileTime longAgo;
      longAgo.dwLowDateTime = 1;
      store.WriteTime = [longAgo] { return longAgo; };
    }
  }

  void ExpectFree() {
    if (IsThere(m_path)) {
      EXPECT_EQ(Lock::None, FileLockOf(m_path));
    }
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path()));
    m_other.Go();
    EXPECT_TRUE(m_other.AwaitStep());
  }

  // What the next operation works on is what the file holds, whatever that is by now.
  void ExpectMirrorsTheFile(ObservedStore& store) {
    ObservedStore const fresh(m_path, true);
    store.Clear();
    static_cast<void>(store.GetHeader());
    if (IsThere(m_path) && StatOf(m_path).st_size != 0) {
      EXPECT_EQ(const_cast<ObservedStore&>(fresh).Offsets(), store.Offsets());
      EXPECT_EQ(fresh.Words.HeaderLength, store.Words.HeaderLength);
      EXPECT_EQ(fresh.Status(), store.Status());
    }
  }

  void ExpectUsable(ObservedStore& store) {
    store.Clear();
    EXPECT_EQ(0U, store.EmptyFile());
    store.Header() = Blob(kHeader);
    store.Words = {1, 2, 0};
    EXPECT_EQ(0U, store.PutList({Blob("new"), Blob("records")}));
    EXPECT_EQ(RecordFile(1, 2, kHeader, {"new", "records"}), ReadFile(m_path));
    EXPECT_EQ(0U, store.Reload(nullptr, true, true));
    EXPECT_EQ(0U, store.Put(0, Blob("longer than new")));
    EXPECT_EQ(0U, store.Del(1));
    EXPECT_EQ(0U, store.Add(Blob("last")));
    EXPECT_EQ(RecordFile(1, 2, kHeader, {"longer than new", "last"}), ReadFile(m_path));
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  bool m_isChanged = false;
  bool m_isRemoved = false;
  bool m_isWithoutClock = false;
  ProcessPeer m_other;
};

TEST_F(RecordOperationsThrow, NothingIsLeftBehindAndTheStoreIsUsableWhereverItWas) {
  for (Operation const& operation : Operations()) {
    ThrowEverywhere(operation, [&] {
      WriteFile(m_path, kFile);
      AgeFile(m_path);
    });
  }
}

TEST_F(RecordOperationsThrow, NothingIsLeftBehindOfPutHeader) {
  for (std::string const header : {"of length", "of another length", ""}) {
    Operation const putHeader{
        "PutHeader", [&](auto& store) { return store.PutHeader(Blob(header)); }, {}, {}, {}};
    ThrowEverywhere(putHeader, [&] {
      WriteFile(m_path, kFile);
      AgeFile(m_path);
    });
    ThrowEverywhere(putHeader, [] {});
  }
}

TEST_F(RecordOperationsThrow, NothingIsLeftBehindOfTheScanOfAChangedFile) {
  m_isChanged = true;
  for (Operation const& operation : Operations()) {
    ThrowEverywhere(operation, [&] { WriteFile(m_path, kFile); });
  }
}

TEST_F(RecordOperationsThrow, NothingIsLeftBehindOfTheMakingOfAFile) {
  for (Operation const& operation : CreatingOperations()) {
    ThrowEverywhere(operation, [] {});
  }
}

// The file's time tells nothing of what was half done.
TEST_F(RecordOperationsThrow, StoreScansAgainWhateverTheFilesTimeSays) {
  m_isWithoutClock = true;
  for (Operation const& operation : Operations()) {
    ThrowEverywhere(operation, [&] {
      WriteFile(m_path, kFile);
      AgeFile(m_path);
    });
  }
}

TEST_F(RecordOperationsThrow, StoreScansAgainAFileThatItMadeAnew) {
  m_isRemoved = m_isWithoutClock = true;
  for (Operation const& operation : CreatingOperations()) {
    ThrowEverywhere(operation, [&] { WriteFile(m_path, kFile); });
  }
}

// A failed operation takes no status with it: an exception is reported by being thrown.
TEST_F(RecordOperationsThrow, NoStatusIsSet) {
  WriteFile(m_path, kFile);
  AgeFile(m_path);
  ObservedStore store(m_path, true);
  store.Before = [](std::string const& what) {
    if (what.substr(0, 4) == "Open") {
      throw std::bad_alloc();
    }
  };
  for (Operation const& operation : Operations()) {
    EXPECT_THROW(operation.run(store), std::bad_alloc) << operation.name;
    EXPECT_EQ(0, store.Status());
  }
}

// There is no upgrade: waiting for oneself would never end.
TEST_F(RecordOperationsThrow, ChangesUnderTheStoresOwnReadLockThrowAndChangeNothing) {
  WriteFile(m_path, kFile);
  AgeFile(m_path);
  ObservedStore store(m_path, true);
  std::unique_ptr<IPC::CReadLocker> locker(store.LockReadFile());
  for (Operation const& operation : Operations()) {
    if (operation.lock == Lock::Exclusive) {
      SCOPED_TRACE(operation.name);
      try {
        static_cast<void>(operation.run(store));
        ADD_FAILURE() << "an upgrade";
      } catch (XTOOStatus const& status) {
        EXPECT_EQ(EDEADLK, status.Status());
      }
      EXPECT_EQ(0, store.OpenHandles);
      EXPECT_EQ(3U, store.Offsets().size());
      EXPECT_EQ(Lock::Shared, FileLockOf(m_path));
    }
  }
  EXPECT_EQ(kFile, ReadFile(m_path));
  locker.reset();
  ExpectFree();
  EXPECT_EQ(0U, store.Add(Blob("one more")));
}

// Notes, when its handle is deleted, how much memory there is and what is locked.
class MeasuringStore : public CQuasiStructFile {
 public:
  explicit MeasuringStore(std::string const& path)
      : CQuasiStructFile(path.c_str(), true, false), m_path(path) {}
  CTOOFile* stor_Open(char const* name, char const* mode, bool flag) override {
    return new Handle(*this, name, mode, flag);  // Owned by the caller.
  }
  unsigned int stor_WriteIdentObject(CTOOFile* file, IdentObj const& source,
                                     unsigned int position) override {
    if (--WritesUntilThrow == 0) {
      AtThrow = AllocatedBytes();
      throw std::bad_alloc();
    }
    return CQuasiStructFile::stor_WriteIdentObject(file, source, position);
  }

  int WritesUntilThrow = 0;
  std::size_t AtThrow = 0;
  std::size_t AtDeletion = 0;
  Lock LockAtDeletion = Lock::None;

 private:
  class Handle : public CTOOFile {
   public:
    Handle(MeasuringStore& store, char const* name, char const* mode, bool flag)
        : CTOOFile(name, mode, flag), m_store(store) {}
    ~Handle() override {
      m_store.AtDeletion = AllocatedBytes();
      m_store.LockAtDeletion = FileLockOf(m_store.m_path);
    }

   private:
    MeasuringStore& m_store;
  };
  std::string m_path;
};

constexpr unsigned int kLarge = 16U << 20;

TEST_F(RecordOperationsThrow, QueueOfPutIsFreedThenTheHandleIsDeletedThenTheLockReleased) {
  IdentObj const large(nullptr, kLarge);
  for (int const writes : {1, 2}) {
    // The second record is as large: it is in the queue while the first is written.
    WriteFile(m_path, RecordFile({"first", Pattern(kLarge, 1), "third"}));
    AgeFile(m_path);
    MeasuringStore store(m_path);
    std::size_t const before = AllocatedBytes();
    store.WritesUntilThrow = writes;
    EXPECT_THROW(store.Put(0, large), std::bad_alloc);
    EXPECT_GT(store.AtThrow, before + kLarge);
    EXPECT_LT(store.AtDeletion, before + kLarge / 2);
    EXPECT_EQ(Lock::Exclusive, store.LockAtDeletion);
    EXPECT_EQ(Lock::None, FileLockOf(m_path));
  }
}

TEST_F(RecordOperationsThrow, QueueOfPutHeaderIsFreedThenTheHandleIsDeletedThenTheLockReleased) {
  WriteFile(m_path, RecordFile({Pattern(kLarge, 1), "second"}));
  AgeFile(m_path);
  MeasuringStore store(m_path);
  std::size_t const before = AllocatedBytes();
  store.WritesUntilThrow = 1;
  EXPECT_THROW(store.PutHeader(Blob(kHeader)), std::bad_alloc);
  EXPECT_GT(store.AtThrow, before + kLarge);
  EXPECT_LT(store.AtDeletion, before + kLarge / 2);
  EXPECT_EQ(Lock::Exclusive, store.LockAtDeletion);
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
}

// Without an exception the order is the same.
TEST_F(RecordOperationsThrow, QueueOfPutIsFreedBeforeTheHandleOnTheOrdinaryWayOut) {
  WriteFile(m_path, RecordFile({"first"}));
  AgeFile(m_path);
  IdentObj const large(nullptr, kLarge);
  MeasuringStore store(m_path);
  std::size_t const before = AllocatedBytes();
  EXPECT_EQ(0U, store.Put(0, large));
  EXPECT_LT(store.AtDeletion, before + kLarge / 2);
  EXPECT_EQ(Lock::Exclusive, store.LockAtDeletion);
}

// Otherwise the next operation would work on the half of the offsets that were found, and cut off
// the records behind them.
TEST_F(RecordOperationsThrow, ExceptionInARescanLeavesNoHalfMirror) {
  WriteFile(m_path, kFile);
  AgeFile(m_path);
  ObservedStore store(m_path, false);
  store.LoadTime() = CTOOFileTime();
  int reads = 0;
  store.Before = [&](std::string const& what) {
    if (what == "Read" && ++reads == 4) {
      throw std::bad_alloc();
    }
  };
  IdentObj record;
  EXPECT_THROW(store.Get(0, record), std::bad_alloc);
  store.Before = nullptr;
  ASSERT_LT(store.Offsets().size(), kOperationRecords.size());
  EXPECT_EQ(0U, store.Put(0, Blob(kOperationRecords.front())));
  EXPECT_EQ(kFile, ReadFile(m_path));
  EXPECT_EQ(kOperationRecords.size(), store.Offsets().size());
}

}  // namespace
