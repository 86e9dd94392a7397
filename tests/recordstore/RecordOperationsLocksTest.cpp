// What the record operations hold of the file, and how they meet others who hold it.

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/recordstore/Operations.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/ObservedStore.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

std::string const kFile = RecordFile(1, 2, "the header", kOperationRecords);

class RecordOperationsLocks : public testing::Test {
 protected:
  RecordOperationsLocks() { Write(); }

  void Write() {
    WriteFile(m_path, kFile);
    AgeFile(m_path);
  }

  // Another process that runs the operation on a store of its own, scanned before, when told to.
  std::unique_ptr<Peer> Runner(Operation const& operation) {
    Write();
    auto peer = std::make_unique<ProcessPeer>([this, operation](PeerSide& side) {
      CQuasiStructFile store(m_path.c_str(), true, false);
      side.Reached();
      side.AwaitGo();
      EXPECT_EQ(0U, operation.run(store));
      side.Reached();
    });
    EXPECT_TRUE(peer->AwaitStep());
    return peer;
  }

  template <typename Locker>
  void ExpectWaits(Operation const& operation) {
    SCOPED_TRACE(operation.name);
    std::unique_ptr<Peer> const peer = Runner(operation);
    auto locker = std::make_unique<Locker>(m_lock);
    peer->Go();
    EXPECT_TRUE(peer->AwaitBlocked());
    EXPECT_EQ(kFile, ReadFile(m_path));
    locker.reset();
    EXPECT_TRUE(peer->AwaitStep());
    EXPECT_TRUE(peer->Finish());
  }

  template <typename Locker>
  void ExpectProceeds(Operation const& operation) {
    SCOPED_TRACE(operation.name);
    std::unique_ptr<Peer> const peer = Runner(operation);
    Locker const locker(m_lock);
    peer->Go();
    EXPECT_TRUE(peer->AwaitStep());
    EXPECT_TRUE(peer->Finish());
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  IPC::CReadWriteLock_file m_lock{m_path.c_str()};
};

std::vector<Operation> OperationsAndInit() {
  std::vector<Operation> operations = Operations();
  operations.push_back({"Init", [](auto& store) { return store.Init(); }, Lock::Shared, {}, {}});
  return operations;
}

// The lock at the first storage operation on the file, and at the deletion of its handle, and at
// all between.
TEST_F(RecordOperationsLocks, AreHeldFromBeforeTheOpenUntilTheHandleIsDeleted) {
  for (Operation const& operation : OperationsAndInit()) {
    SCOPED_TRACE(operation.name);
    Write();
    ObservedStore store(m_path, true);
    EXPECT_EQ(0U, operation.run(store));
    bool isOpen = false;
    int handles = 0;
    for (ObservedStore::Event const& event : store.Events) {
      isOpen = isOpen || event.what.substr(0, 4) == "Open";
      if (isOpen) {
        EXPECT_EQ(operation.lock, event.lock) << event.what;
      }
      handles += event.what == "delete handle" ? 1 : 0;
    }
    EXPECT_EQ(1, handles);
    EXPECT_EQ("delete handle", store.Names().back());
    EXPECT_EQ(Lock::None, FileLockOf(m_path));
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path()));
  }
}

// The scan that a change of the file brings takes the lock for itself and lets it go first.
TEST_F(RecordOperationsLocks, AreTakenAfterTheFileWasScannedAgain) {
  for (Operation const& operation : Operations()) {
    if (operation.refreshes) {
      SCOPED_TRACE(operation.name);
      Write();
      ObservedStore store(m_path, true);
      ShiftWriteTime(m_path, 10);
      EXPECT_EQ(0U, operation.run(store));
      EXPECT_EQ(std::vector<Lock>{Lock::None}, store.LocksAt("GetLastWriteTime"));
      EXPECT_EQ((std::vector<Lock>{Lock::Shared, operation.lock}), store.LocksAt("delete handle"));
    }
  }
}

TEST_F(RecordOperationsLocks, AreTakenWhereTheStoreHasNoLockYet) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    Write();
    ObservedStore store(m_path, true);
    store.Unload();  // Deletes the lock object.
    store.FileName() = m_path.c_str();
    ASSERT_EQ(nullptr, store.LockObject());
    EXPECT_EQ(0U, operation.run(store));
    EXPECT_EQ(std::vector<Lock>{operation.lock}, store.LocksAt("delete handle"));
    EXPECT_EQ(operation.lock == Lock::None, store.LockObject() == nullptr);
  }
}

TEST_F(RecordOperationsLocks, AreThoseOfTheLockObjectThatIsThere) {
  for (Operation const& operation : OperationsAndInit()) {
    Write();
    ObservedStore store(m_path, true);
    IPC::CReadWriteLock const* const lock = store.LockObject();
    ASSERT_NE(nullptr, lock);
    EXPECT_EQ(0U, operation.run(store)) << operation.name;
    EXPECT_EQ(lock, store.LockObject()) << operation.name;
  }
}

TEST_F(RecordOperationsLocks, OfAFailedOpenAreHeldUntilTheHandleIsDeleted) {
  for (Operation const& operation : OperationsAndInit()) {
    SCOPED_TRACE(operation.name);
    Write();
    ObservedStore store(m_path, true);
    store.FailOpenWith = 13;
    static_cast<void>(operation.run(store));
    EXPECT_EQ(std::vector<Lock>{operation.lock}, store.LocksAt("delete handle"));
    EXPECT_EQ(Lock::None, FileLockOf(m_path));
  }
}

// Of a file that is not there yet the folder is locked in its place.
class CreatingStore : public CQuasiStructFile {
 public:
  CreatingStore(std::string const& path, std::string folder)
      : CQuasiStructFile(path.c_str(), true, false), m_folder(std::move(folder)) {}
  CTOOFile* stor_Open(char const* name, char const* mode, bool flag) override {
    AtOpen = FolderLockOf(m_folder);
    return new Handle(*this, name, mode, flag);  // Owned by the caller.
  }
  Lock AtOpen = Lock::None;
  Lock AtDeletion = Lock::None;

 private:
  class Handle : public CTOOFile {
   public:
    Handle(CreatingStore& store, char const* name, char const* mode, bool flag)
        : CTOOFile(name, mode, flag), m_store(store) {}
    ~Handle() override { m_store.AtDeletion = FolderLockOf(m_store.m_folder); }

   private:
    CreatingStore& m_store;
  };
  std::string m_folder;
};

TEST_F(RecordOperationsLocks, OfANewFileAreHeldUntilTheHandleIsDeleted) {
  for (Operation const& operation : CreatingOperations()) {
    SCOPED_TRACE(operation.name);
    TempFolder const folder;
    CreatingStore store(folder / "new", folder.Path());
    EXPECT_EQ(0U, operation.run(store));
    EXPECT_EQ(operation.lock, store.AtOpen);
    EXPECT_EQ(operation.lock, store.AtDeletion);
    EXPECT_EQ(Lock::None, FolderLockOf(folder.Path()));
    EXPECT_EQ(Lock::None, FileLockOf(folder / "new"));
  }
}

TEST_F(RecordOperationsLocks, EmptyFileOfAMissingFileLetsTheFolderGo) {
  TempFolder const folder;
  CQuasiStructFile store((folder / "new").c_str(), true, false);
  EXPECT_EQ(0U, store.EmptyFile());
  EXPECT_EQ(Lock::None, FolderLockOf(folder.Path()));
}

// Another process.

TEST_F(RecordOperationsLocks, ChangesWaitForAReader) {
  for (Operation const& operation : Operations()) {
    if (operation.lock == Lock::Exclusive) {
      ExpectWaits<IPC::CReadLocker>(operation);
    }
  }
}

TEST_F(RecordOperationsLocks, ReadsProceedBesideAReader) {
  for (Operation const& operation : OperationsAndInit()) {
    if (operation.lock == Lock::Shared) {
      ExpectProceeds<IPC::CReadLocker>(operation);
    }
  }
}

TEST_F(RecordOperationsLocks, ReadsAndChangesWaitForAWriter) {
  for (Operation const& operation : OperationsAndInit()) {
    if (operation.lock != Lock::None) {
      ExpectWaits<IPC::CWriteLocker>(operation);
    }
  }
}

TEST_F(RecordOperationsLocks, IsItInFileAndPutListWaitForNobody) {
  for (Operation const& operation : Operations()) {
    if (operation.lock == Lock::None) {
      ExpectProceeds<IPC::CWriteLocker>(operation);
    }
  }
}

TEST_F(RecordOperationsLocks, AddWaitsForAnotherThread) {
  CQuasiStructFile store(m_path.c_str(), true, false);
  auto locker = std::make_unique<IPC::CWriteLocker>(m_lock);
  ThreadPeer peer([&](PeerSide& side) {
    side.Reached();
    EXPECT_EQ(0U, store.Add(Blob("one more")));
    side.Reached();
  });
  ASSERT_TRUE(peer.AwaitStep());
  EXPECT_TRUE(peer.AwaitBlocked());
  EXPECT_EQ(kFile, ReadFile(m_path));
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_TRUE(peer.Finish());
}

// Several of them under one lock.
TEST_F(RecordOperationsLocks, OperationsRunUnderTheStoresOwnWriteLock) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    Write();
    CQuasiStructFile store(m_path.c_str(), true, false);
    std::unique_ptr<IPC::CWriteLocker> const locker(store.LockWriteFile());
    EXPECT_EQ(0U, operation.run(store));
    EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
  }
}

TEST_F(RecordOperationsLocks, TwoProcessesThatAddInTurnSeeEachOther) {
  ProcessPeer peer([&](PeerSide& side) {
    CQuasiStructFile store(m_path.c_str(), true, false);
    side.Reached();
    for (long turn = 0; turn < 20; ++turn) {
      side.AwaitGo();
      IdentObj out;
      EXPECT_EQ(0U, store.Get(3 + 2 * turn, out));
      EXPECT_EQ("of the test " + std::to_string(turn), DataOf(out));
      EXPECT_EQ(0U, store.Add(Blob("of the peer " + std::to_string(turn))));
      side.Reached();
    }
  });
  ASSERT_TRUE(peer.AwaitStep());
  ObservedStore store(m_path, true);
  for (long turn = 0; turn < 20; ++turn) {
    EXPECT_EQ(0U, store.Add(Blob("of the test " + std::to_string(turn))));
    EXPECT_EQ(static_cast<std::size_t>(4 + 2 * turn), store.Offsets().size());
    peer.Go();
    ASSERT_TRUE(peer.AwaitStep());
    IdentObj out;
    EXPECT_EQ(0U, store.Get(4 + 2 * turn, out));
    EXPECT_EQ("of the peer " + std::to_string(turn), DataOf(out));
  }
  EXPECT_TRUE(peer.Finish());
}

// Processes that meet over a file that none of them has made yet.
TEST_F(RecordOperationsLocks, AddsOfManyProcessesAtOnceLoseNothing) {
  constexpr int kProcesses = 4;
  constexpr int kRounds = 25;
  constexpr int kAdds = 8;
  std::list<std::unique_ptr<ProcessPeer>> peers;
  for (int i = 0; i < kProcesses; ++i) {
    peers.push_back(std::make_unique<ProcessPeer>([&](PeerSide& side) {
      for (int round = 0; round < kRounds; ++round) {
        std::string const path = m_folder / ("new" + std::to_string(round));
        CQuasiStructFile store(path.c_str(), true, false);
        side.Reached();
        side.AwaitGo();
        for (int add = 0; add < kAdds; ++add) {
          EXPECT_EQ(0U, store.Add(Blob(Pattern(10, static_cast<unsigned int>(add)))));
        }
        side.Reached();
      }
    }));
  }
  for (int round = 0; round < kRounds; ++round) {
    for (auto const& peer : peers) {
      ASSERT_TRUE(peer->AwaitStep());
    }
    for (auto const& peer : peers) {
      peer->Go();
    }
    for (auto const& peer : peers) {
      ASSERT_TRUE(peer->AwaitStep());
    }
    std::string const path = m_folder / ("new" + std::to_string(round));
    EXPECT_EQ(12U + kProcesses * kAdds * 14U, ReadFile(path).size());
    CQuasiStructFile store(path.c_str(), false, false);
    std::list<IdentObj> all;
    EXPECT_EQ(0U, store.GetAll(all));
    EXPECT_EQ(static_cast<std::size_t>(kProcesses * kAdds), all.size());
  }
  for (auto const& peer : peers) {
    EXPECT_TRUE(peer->Finish());
  }
}

TEST_F(RecordOperationsLocks, AProcessThatIsKilledInsideAnOperationLeavesNothingLocked) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    Write();
    ProcessPeer peer([&](PeerSide& side) {
      ObservedStore store(m_path, true);
      store.Before = [&](std::string const& what) {
        if (what.substr(0, 4) == "Open" || what.find("Ident") != std::string::npos ||
            what == "Truncate") {
          side.Reached();
          side.AwaitGo();
        }
      };
      static_cast<void>(operation.run(store));
    });
    ASSERT_TRUE(peer.AwaitStep());
    EXPECT_EQ(operation.lock, FileLockOf(m_path));
    peer.Kill();
    EXPECT_EQ(Lock::None, FileLockOf(m_path));
    CQuasiStructFile store(m_path.c_str(), true, false);
    EXPECT_EQ(0U, store.Add(Blob("one more")));
    EXPECT_EQ(kFile + Item("one more"), ReadFile(m_path));
  }
}

}  // namespace
