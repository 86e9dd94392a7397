// The holders of a file's lock that a caller takes.

#include <cerrno>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/LockProbe.h"
#include "tests/support/TempFolder.h"

namespace {

class RecordFileHolders : public testing::Test {
 protected:
  RecordFileHolders() { MakeOldFile(m_path, SomeFile()); }

  Lock Held() const { return FileLockOf(m_path); }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  std::string const m_missingPath = m_folder / "missing";
};

TEST_F(RecordFileHolders, HoldersHoldTheirModeUntilTheyAreDeleted) {
  ExposedStore store(m_path, true);
  {
    std::unique_ptr<IPC::CReadLocker> const holder(store.LockReadFile());
    EXPECT_EQ(Lock::Shared, Held());
  }
  EXPECT_EQ(Lock::None, Held());
  {
    std::unique_ptr<IPC::CWriteLocker> const holder(store.LockWriteFile());
    EXPECT_EQ(Lock::Exclusive, Held());
  }
  EXPECT_EQ(Lock::None, Held());
  {
    std::unique_ptr<IPC::CWriteLocker> const holder(store.LockReadWriteFile());
    EXPECT_EQ(Lock::Exclusive, Held());
  }
  EXPECT_EQ(Lock::None, Held());
  EXPECT_TRUE(store.Events.empty());
}

TEST_F(RecordFileHolders, HoldersAreNewEachTime) {
  ExposedStore store(m_path, true);
  std::unique_ptr<IPC::CReadLocker> first(store.LockReadFile());
  std::unique_ptr<IPC::CReadLocker> const second(store.LockReadFile());
  EXPECT_NE(first, second);
  first.reset();
  EXPECT_EQ(Lock::Shared, Held());
}

// Takes a holder when told to, says so, and holds it until told again.
template <typename Take>
std::function<void(PeerSide&)> HoldInSteps(std::string const& path, Take take) {
  return [path, take](PeerSide& side) {
    CQuasiStructFile store(path.c_str(), true, false);
    side.Reached();
    side.AwaitGo();
    auto const holder = take(store);
    side.Reached();
    side.AwaitGo();
  };
}
auto const kTakeRead = [](CQuasiStructFile& store) {
  return std::unique_ptr<IPC::CReadLocker>(store.LockReadFile());
};
auto const kTakeWrite = [](CQuasiStructFile& store) {
  return std::unique_ptr<IPC::CWriteLocker>(store.LockWriteFile());
};
auto const kTakeReadWrite = [](CQuasiStructFile& store) {
  return std::unique_ptr<IPC::CWriteLocker>(store.LockReadWriteFile());
};

template <typename Own>
void ExpectWaitsFor(Peer& peer, std::string const& path, Own own) {
  ASSERT_TRUE(peer.AwaitStep());
  CQuasiStructFile store(path.c_str(), true, false);
  auto holder = own(store);
  ASSERT_NE(nullptr, holder);
  peer.Go();
  EXPECT_TRUE(peer.AwaitBlocked());
  holder.reset();
  EXPECT_TRUE(peer.AwaitStep());
  peer.Go();
  EXPECT_TRUE(peer.Finish());
}

TEST_F(RecordFileHolders, ReadersOfTwoProcessesCoexist) {
  ProcessPeer peer(HoldInSteps(m_path, kTakeRead));
  ASSERT_TRUE(peer.AwaitStep());
  ExposedStore store(m_path, true);
  std::unique_ptr<IPC::CReadLocker> const holder(store.LockReadFile());
  peer.Go();
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_EQ(Lock::Shared, Held());
}

TEST_F(RecordFileHolders, WriterExcludesReadersAndWritersOfOtherProcesses) {
  ProcessPeer reader(HoldInSteps(m_path, kTakeRead));
  ExpectWaitsFor(reader, m_path, kTakeWrite);
  ProcessPeer writer(HoldInSteps(m_path, kTakeWrite));
  ExpectWaitsFor(writer, m_path, kTakeWrite);
}

TEST_F(RecordFileHolders, ReaderExcludesWritersOfOtherProcesses) {
  ProcessPeer writer(HoldInSteps(m_path, kTakeWrite));
  ExpectWaitsFor(writer, m_path, kTakeRead);
  ProcessPeer readWriter(HoldInSteps(m_path, kTakeReadWrite));
  ExpectWaitsFor(readWriter, m_path, kTakeRead);
}

TEST_F(RecordFileHolders, ReadWriteHolderExcludesAsTheWriterDoes) {
  ProcessPeer reader(HoldInSteps(m_path, kTakeRead));
  ExpectWaitsFor(reader, m_path, kTakeReadWrite);
  ProcessPeer other(HoldInSteps(m_path, kTakeReadWrite));
  ExpectWaitsFor(other, m_path, kTakeReadWrite);
}

TEST_F(RecordFileHolders, WriterExcludesOtherThreads) {
  ThreadPeer reader(HoldInSteps(m_path, kTakeRead));
  ExpectWaitsFor(reader, m_path, kTakeWrite);
  ThreadPeer writer(HoldInSteps(m_path, kTakeWrite));
  ExpectWaitsFor(writer, m_path, kTakeReadWrite);
}

void ExpectNoHolder(ExposedStore& store) {
  EXPECT_EQ(nullptr, store.LockReadFile());
  EXPECT_EQ(nullptr, store.LockWriteFile());
  EXPECT_EQ(nullptr, store.LockReadWriteFile());
  EXPECT_EQ(nullptr, store.LockObject());
}

TEST_F(RecordFileHolders, WithoutLockThereIsNoHolderAndNoneIsMade) {
  ExposedStore store;
  ExpectNoHolder(store);
  ExposedStore missing(m_missingPath, false);
  ExpectNoHolder(missing);
  WriteFile(m_missingPath, SomeFile());  // Not even when the file is there by now.
  ExpectNoHolder(missing);
}

TEST_F(RecordFileHolders, UnloadTakesTheLockUntilTheNextLockingOperation) {
  ExposedStore store(m_path, true);
  store.Unload();
  ExpectNoHolder(store);
  EXPECT_EQ(0U, store.EmptyFile());
  EXPECT_NE(nullptr, store.LockObject());
  std::unique_ptr<IPC::CWriteLocker> const holder(store.LockWriteFile());
  EXPECT_NE(nullptr, holder);
}

// In a process of its own, which ends when it waits for itself.
TEST_F(RecordFileHolders, WhoHoldsTheWriteLockMayCallEverything) {
  EXPECT_TRUE(InProcess([&] {
    for (StoreCall const& operation : CallsOnAFile()) {
      MakeOldFile(m_path, SomeFile());
      ExposedStore store(m_path, true);
      store.LoadTime() = CTOOFileTime();
      std::unique_ptr<IPC::CWriteLocker> const holder(store.LockWriteFile());
      operation.run(store);
      for (ObservedStore::Event const& event : store.Events) {
        EXPECT_EQ(Lock::Exclusive, event.lock) << operation.name << ", " << event.what;
      }
      EXPECT_EQ(Lock::Exclusive, Held()) << operation.name;
    }
    return true;
  }));
}

TEST_F(RecordFileHolders, OthersWaitUntilTheHolderOfTheWriteLockHasDoneEverything) {
  ProcessPeer process(HoldInSteps(m_path, kTakeRead));
  ASSERT_TRUE(process.AwaitStep());
  ThreadPeer thread(HoldInSteps(m_path, kTakeRead));
  ASSERT_TRUE(thread.AwaitStep());
  ExposedStore store(m_path, true);
  std::unique_ptr<IPC::CWriteLocker> holder(store.LockWriteFile());
  process.Go();
  thread.Go();
  for (StoreCall const& operation : CallsOnAFile()) {
    WriteFile(m_path, SomeFile());  // Not a new one: it is this one that is locked.
    store.Clear();
    store.LoadTime() = CTOOFileTime();
    operation.run(store);
  }
  EXPECT_TRUE(process.AwaitBlocked());
  EXPECT_TRUE(thread.AwaitBlocked());
  holder.reset();
  EXPECT_TRUE(process.AwaitStep());
  EXPECT_TRUE(thread.AwaitStep());
  thread.Go();
}

// There is no upgrade; waiting for oneself would never end.
TEST_F(RecordFileHolders, ChangeUnderAReadHolderThrowsAndChangesNothing) {
  for (StoreCall const& operation : CallsOnAFile()) {
    if (operation.lock != Lock::Exclusive) {
      continue;
    }
    ExposedStore store(m_path, true);
    std::unique_ptr<IPC::CReadLocker> const holder(store.LockReadFile());
    int code = 0;
    try {
      operation.run(store);
    } catch (XTOOStatus const& status) {
      code = status.Status();
    }
    EXPECT_EQ(EDEADLK, code) << operation.name;
    EXPECT_EQ(0, store.OpenHandles) << operation.name;
    EXPECT_EQ(Lock::Shared, Held()) << operation.name;
    EXPECT_EQ(SomeFile(), ReadFile(m_path)) << operation.name;
  }
}

TEST_F(RecordFileHolders, HolderOutlivesTheLockOfItsStore) {
  struct End {
    char const* name;
    std::function<void(std::unique_ptr<ExposedStore>&)> run;
  };
  std::string const otherPath = m_folder / "other";
  End const ends[] = {
      {"Unload", [](std::unique_ptr<ExposedStore>& store) { store->Unload(); }},
      {"Reload", [&](auto& store) { store->Reload(otherPath.c_str(), true, false); }},
      {"assignment", [&](auto& store) { *store = ExposedStore(otherPath, true); }},
      {"PreInit", [](std::unique_ptr<ExposedStore>& store) { store->PreInit(); }},
      {"destruction", [](std::unique_ptr<ExposedStore>& store) { store.reset(); }},
  };
  for (End const& end : ends) {
    int const descriptors = CountDescriptors();
    auto store = std::make_unique<ExposedStore>(m_path, true);
    std::unique_ptr<IPC::CWriteLocker> writer(store->LockWriteFile());
    std::unique_ptr<IPC::CReadLocker> reader(store->LockReadFile());
    end.run(store);
    EXPECT_EQ(Lock::Exclusive, Held()) << end.name;
    reader.reset();
    EXPECT_EQ(Lock::Exclusive, Held()) << end.name;
    writer.reset();
    EXPECT_EQ(Lock::None, Held()) << end.name;
    EXPECT_EQ(descriptors, CountDescriptors()) << end.name;
  }
}

}  // namespace
