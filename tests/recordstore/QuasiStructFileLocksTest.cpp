// Which operation holds the file's lock how, and where the lock comes from.

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/LockProbe.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::ElementsAre;

class RecordFileLocks : public testing::Test {
 protected:
  RecordFileLocks() { MakeOldFile(m_path, SomeFile()); }

  Lock Held() const { return FileLockOf(m_path); }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  std::string const m_missingPath = m_folder / "missing";
};

// What the operations do.

TEST_F(RecordFileLocks, NoOperationLeavesAFileBesideTheRecordFile) {
  for (StoreCall const& operation : CallsOnAFile()) {
    MakeOldFile(m_path, SomeFile());
    ExposedStore store(m_path, true);
    store.LoadTime() = CTOOFileTime();
    store.Before = [&](std::string const& what) {
      EXPECT_THAT(m_folder.Names(), ElementsAre("records")) << operation.name << ", " << what;
    };
    operation.run(store);
    EXPECT_THAT(m_folder.Names(), ElementsAre("records")) << operation.name;
  }
  for (StoreCall const& operation : CreatingCalls()) {
    std::filesystem::remove(m_path);
    ExposedStore store(m_path, true);
    operation.run(store);
    EXPECT_THAT(m_folder.Names(), ElementsAre("records")) << operation.name;
  }
}

TEST_F(RecordFileLocks, HoldersLeaveNoFileBesideTheRecordFile) {
  ExposedStore store(m_path, true);
  { std::unique_ptr<IPC::CReadLocker> const holder(store.LockReadFile()); }
  std::unique_ptr<IPC::CWriteLocker> const holder(store.LockWriteFile());
  EXPECT_THAT(m_folder.Names(), ElementsAre("records"));
  EXPECT_EQ(SomeFile(), ReadFile(m_path));
}

TEST_F(RecordFileLocks, OperationsHoldTheirLockFromTheOpenUntilTheHandleIsDeleted) {
  for (StoreCall const& operation : CallsOnAFile()) {
    MakeOldFile(m_path, SomeFile());
    ExposedStore store(m_path, true);
    operation.run(store);
    bool isOpen = false;
    for (ObservedStore::Event const& event : store.Events) {
      isOpen = isOpen || event.what == "Open " + operation.opens;
      if (isOpen || operation.lock == Lock::None) {
        EXPECT_EQ(operation.lock, event.lock) << operation.name << ", " << event.what;
      }
    }
    EXPECT_EQ(!operation.opens.empty(), isOpen) << operation.name;
    EXPECT_EQ(Lock::None, Held()) << operation.name;
  }
}

// Where there is no file, the lock of its folder stands for its own.
TEST_F(RecordFileLocks, CreatingOperationsHoldTheirLockFromTheOpenUntilTheHandleIsDeleted) {
  for (StoreCall const& operation : CreatingCalls()) {
    std::filesystem::remove(m_path);
    ExposedStore store(m_path, true);
    bool isOpen = false;
    store.Before = [&](std::string const& what) {
      isOpen = isOpen || what == "Open wbc";
      if (isOpen) {
        EXPECT_EQ(operation.lock, FolderLockOf(m_folder.Path())) << operation.name << ", " << what;
      }
    };
    operation.run(store);
    EXPECT_TRUE(isOpen) << operation.name;
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path())) << operation.name;
    EXPECT_EQ(Lock::None, Held()) << operation.name;
  }
}

TEST_F(RecordFileLocks, OperationsTakeTheirLockOnceAndEndItWhenTheHandleIsGone) {
  for (StoreCall const& operation : CallsOnAFile()) {
    if (operation.name == "Reload" || operation.name == "PreInit") {
      continue;  // They make a lock of their own.
    }
    MakeOldFile(m_path, SomeFile());
    NotedLock::Notes notes;
    ExposedStore store(m_path, true);
    store.m_lock = std::make_unique<NotedLock>(notes);
    int handlesAtEnd = 0;
    notes.atEnd = [&] { handlesAtEnd += store.OpenHandles; };
    operation.run(store);
    EXPECT_EQ(0, notes.held) << operation.name;
    EXPECT_EQ(0, handlesAtEnd) << operation.name;
    if (operation.lock == Lock::None) {
      EXPECT_TRUE(notes.taken.empty()) << operation.name;
    } else {
      EXPECT_THAT(notes.taken,
                  ElementsAre(operation.lock == Lock::Shared ? IPC::LockMode::Shared
                                                             : IPC::LockMode::Exclusive))
          << operation.name;
    }
  }
}

// The scan that an operation begins with has let its lock go when the operation takes its own.
TEST_F(RecordFileLocks, RescanHoldsTheReadSideByItself) {
  for (StoreCall const& operation : CallsOnAFile()) {
    MakeOldFile(m_path, SomeFile());
    NotedLock::Notes notes;
    ExposedStore store(m_path, true);
    store.m_lock = std::make_unique<NotedLock>(notes);
    store.LoadTime() = CTOOFileTime();
    int most = 0;
    store.Before = [&](std::string const&) { most = std::max(most, notes.held); };
    operation.run(store);
    EXPECT_GE(1, most) << operation.name;
  }
}

TEST_F(RecordFileLocks, OperationsWithoutLockWaitForNobody) {
  ExposedStore store(m_path, true);
  std::unique_ptr<IPC::CWriteLocker> const holder(store.LockWriteFile());
  ProcessPeer peer([&](PeerSide& side) {
    ExposedFile own;
    own.m_fileName = m_path.c_str();
    own.m_loadTime = FileTimeOf(TicksNow());
    own.PreInit();
    own.CheckAndRestore();
    own.GetHeader();
    EXPECT_EQ(0U, own.PutList({Blob("without lock")}));
    own.m_loadTime = FileTimeOf(TicksNow() + 10000000);
    EXPECT_FALSE(own.IsItInFile(Blob("record"), nullptr));
    EXPECT_EQ(22, own.Status());
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_EQ(SomeFile() + Item("without lock"), ReadFile(m_path));
  EXPECT_TRUE(peer.Finish());
}

TEST_F(RecordFileLocks, OperationsWithLockWaitForAWriter) {
  ExposedStore store(m_path, true);
  for (StoreCall const& operation : CallsOnAFile()) {
    if (operation.lock == Lock::None) {
      continue;
    }
    MakeOldFile(m_path, SomeFile());
    ProcessPeer peer([&](PeerSide& side) {
      ExposedStore own(m_path, true);
      side.Reached();
      side.AwaitGo();
      operation.run(own);
      side.Reached();
    });
    ASSERT_TRUE(peer.AwaitStep());
    std::unique_ptr<IPC::CWriteLocker> holder(store.LockWriteFile());
    peer.Go();
    EXPECT_TRUE(peer.AwaitBlocked()) << operation.name;
    EXPECT_EQ(SomeFile(), ReadFile(m_path)) << operation.name;
    holder.reset();
    EXPECT_TRUE(peer.AwaitStep()) << operation.name;
  }
}

TEST_F(RecordFileLocks, ReadingOperationsDoNotWaitForAReader) {
  ExposedStore store(m_path, true);
  std::unique_ptr<IPC::CReadLocker> const holder(store.LockReadFile());
  ProcessPeer peer([&](PeerSide& side) {
    ExposedStore own(m_path, true);
    for (StoreCall const& operation : CallsOnAFile()) {
      if (operation.lock == Lock::Shared) {
        operation.run(own);
      }
    }
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitStep());
}

// Where the lock comes from.

TEST_F(RecordFileLocks, LockIsMadeWhenTheFileIsReadableOrMayBeMade) {
  EXPECT_NE(nullptr, ExposedStore(m_path, false).LockObject());
  EXPECT_NE(nullptr, ExposedStore(m_path, true).LockObject());
  EXPECT_NE(nullptr, ExposedStore(m_missingPath, true).LockObject());
  EXPECT_EQ(nullptr, ExposedStore(m_missingPath, false).LockObject());
}

TEST_F(RecordFileLocks, LockingOperationsMakeAMissingLockOverTheFileName) {
  for (StoreCall const& operation : CallsOnAFile()) {
    if (operation.opens.empty() || operation.name == "Reload") {
      continue;
    }
    MakeOldFile(m_path, SomeFile());
    ExposedStore store(m_path, true);
    store.m_lock.reset();
    store.LockName() = m_missingPath.c_str();
    operation.run(store);
    EXPECT_EQ(operation.lock != Lock::None, store.LockObject() != nullptr) << operation.name;
    EXPECT_THAT(store.LocksAt("Open " + operation.opens), ElementsAre(operation.lock))
        << operation.name;
    EXPECT_EQ(m_missingPath, static_cast<char const*>(store.LockName())) << operation.name;
  }
}

TEST_F(RecordFileLocks, LockingOperationsKeepTheLockThatIsThere) {
  for (StoreCall const& operation : CallsOnAFile()) {
    if (operation.name == "Reload" || operation.name == "PreInit") {
      continue;
    }
    MakeOldFile(m_path, SomeFile());
    ExposedStore store(m_path, true);
    IPC::CReadWriteLock const* const lock = store.LockObject();
    operation.run(store);
    EXPECT_EQ(lock, store.LockObject()) << operation.name;
  }
}

TEST_F(RecordFileLocks, CopyHasALockOfItsOwn) {
  auto store = std::make_unique<CQuasiStructFile>(m_path.c_str(), true, false);
  CQuasiStructFile copy(*store);
  CQuasiStructFile assigned;
  assigned = *store;
  store->Unload();
  store.reset();
  for (CQuasiStructFile* const other : {&copy, &assigned}) {
    std::unique_ptr<IPC::CWriteLocker> const holder(other->LockWriteFile());
    ASSERT_NE(nullptr, holder);
    EXPECT_EQ(Lock::Exclusive, Held());
  }
  copy.Unload();
  EXPECT_EQ(nullptr, copy.LockReadFile());
  std::unique_ptr<IPC::CReadLocker> const holder(assigned.LockReadFile());
  EXPECT_NE(nullptr, holder);
}

}  // namespace
