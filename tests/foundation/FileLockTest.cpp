// IPC::CReadWriteLock_file on a file that is there.

#include <fcntl.h>
#include <malloc.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"
#include "tests/support/Files.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

using FileLock = IPC::CReadWriteLock_file;

class CReadWriteLock_file : public testing::Test {
 protected:
  CReadWriteLock_file() { WriteFile(m_path, "content"); }

  char const* Path() const { return m_path.c_str(); }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
};

// Takes the lock when told to, says so, and holds it until told again.
template <typename Locker>
std::function<void(PeerSide&)> HoldInSteps(std::string const& path) {
  return [path](PeerSide& side) {
    FileLock lock(path.c_str());
    side.AwaitGo();
    Locker const locker(lock);
    side.Reached();
    side.AwaitGo();
  };
}

template <typename Own, typename Other>
void ExpectExcluded(Peer& peer, std::string const& path) {
  FileLock lock(path.c_str());
  auto locker = std::make_unique<Own>(lock);
  peer.Go();
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
  peer.Go();
  EXPECT_TRUE(peer.Finish());
}

TEST_F(CReadWriteLock_file, ExclusiveExcludesExclusiveOfAnotherProcess) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_path));
  ExpectExcluded<IPC::CWriteLocker, IPC::CWriteLocker>(peer, m_path);
}

TEST_F(CReadWriteLock_file, ExclusiveExcludesSharedOfAnotherProcess) {
  ProcessPeer peer(HoldInSteps<IPC::CReadLocker>(m_path));
  ExpectExcluded<IPC::CWriteLocker, IPC::CReadLocker>(peer, m_path);
}

TEST_F(CReadWriteLock_file, SharedExcludesExclusiveOfAnotherProcess) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_path));
  ExpectExcluded<IPC::CReadLocker, IPC::CWriteLocker>(peer, m_path);
}

TEST_F(CReadWriteLock_file, SharedAdmitsSharedOfAnotherProcess) {
  ProcessPeer peer(HoldInSteps<IPC::CReadLocker>(m_path));
  FileLock lock(Path());
  IPC::CReadLocker const locker(lock);
  peer.Go();
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_EQ(Lock::Shared, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, ExclusiveExcludesExclusiveOfAnotherThread) {
  ThreadPeer peer(HoldInSteps<IPC::CWriteLocker>(m_path));
  ExpectExcluded<IPC::CWriteLocker, IPC::CWriteLocker>(peer, m_path);
}

TEST_F(CReadWriteLock_file, ExclusiveExcludesSharedOfAnotherThread) {
  ThreadPeer peer(HoldInSteps<IPC::CReadLocker>(m_path));
  ExpectExcluded<IPC::CWriteLocker, IPC::CReadLocker>(peer, m_path);
}

TEST_F(CReadWriteLock_file, SharedExcludesExclusiveOfAnotherThread) {
  ThreadPeer peer(HoldInSteps<IPC::CWriteLocker>(m_path));
  ExpectExcluded<IPC::CReadLocker, IPC::CWriteLocker>(peer, m_path);
}

TEST_F(CReadWriteLock_file, SharedAdmitsSharedOfAnotherThread) {
  ThreadPeer peer(HoldInSteps<IPC::CReadLocker>(m_path));
  FileLock lock(Path());
  IPC::CReadLocker const locker(lock);
  peer.Go();
  EXPECT_TRUE(peer.AwaitStep());
  peer.Go();
}

TEST_F(CReadWriteLock_file, OneObjectExcludesBetweenThreads) {
  FileLock lock(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  ThreadPeer peer([&](PeerSide& side) {
    IPC::CWriteLocker const own(lock);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST_F(CReadWriteLock_file, OtherFilesAreNotExcluded) {
  std::string const other = m_folder / "other";
  WriteFile(other, "content");
  ProcessPeer process(HoldInSteps<IPC::CWriteLocker>(other));
  FileLock lock(Path());
  IPC::CWriteLocker const locker(lock);
  process.Go();
  EXPECT_TRUE(process.AwaitStep());
  process.Go();
  EXPECT_TRUE(process.Finish());
  ThreadPeer thread(HoldInSteps<IPC::CWriteLocker>(other));
  thread.Go();
  EXPECT_TRUE(thread.AwaitStep());
  thread.Go();
  EXPECT_TRUE(thread.Finish());
}

TEST_F(CReadWriteLock_file, LeavesTheFileAsItWas) {
  timespec const written = AgeFile(m_path);
  FileLock lock(Path());
  { IPC::CWriteLocker const locker(lock); }
  { IPC::CReadLocker const locker(lock); }
  EXPECT_EQ("content", ReadFile(m_path));
  EXPECT_TRUE(StatOf(m_path).st_mtim == written);
  EXPECT_EQ(std::vector<std::string>{"records"}, m_folder.Names());
}

template <typename Locker>
void ThrowHolding(FileLock& lock, std::string const& path, Lock expected) {
  try {
    Locker const locker(lock);
    EXPECT_EQ(expected, FileLockOf(path));
    throw 1;
  } catch (int) {
  }
  EXPECT_EQ(Lock::None, FileLockOf(path));
}

TEST_F(CReadWriteLock_file, HoldEndsWithAnException) {
  FileLock lock(Path());
  ThrowHolding<IPC::CWriteLocker>(lock, m_path, Lock::Exclusive);
  ThrowHolding<IPC::CReadLocker>(lock, m_path, Lock::Shared);
}

TEST_F(CReadWriteLock_file, SurvivesTheClosingOfAnotherDescriptorOfTheFile) {
  FileLock lock(Path());
  IPC::CWriteLocker const locker(lock);
  ::close(::open(Path(), O_RDWR | O_CLOEXEC));
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, HasADescriptorOnlyWhileItIsHeld) {
  int const before = CountDescriptors();
  FileLock lock(Path());
  EXPECT_EQ(before, CountDescriptors());
  {
    IPC::CWriteLocker const outer(lock);
    EXPECT_EQ(before + 1, CountDescriptors());
    IPC::CWriteLocker const inner(lock);
    EXPECT_EQ(before + 1, CountDescriptors());
  }
  EXPECT_EQ(before, CountDescriptors());
}

TEST_F(CReadWriteLock_file, DescriptorDoesNotOutliveExec) {
  FileLock lock(Path());
  IPC::CWriteLocker const locker(lock);
  int found = 0;
  for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry.path(), ignored) == m_path) {
      ++found;
      EXPECT_NE(0, ::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC);
    }
  }
  EXPECT_EQ(1, found);
}

TEST_F(CReadWriteLock_file, KilledProcessHoldsNothing) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_path));
  peer.Go();
  ASSERT_TRUE(peer.AwaitStep());
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
  peer.Kill();
  FileLock lock(Path());
  IPC::CWriteLocker const locker(lock);
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
}

volatile sig_atomic_t g_signals = 0;

TEST_F(CReadWriteLock_file, WaitGoesOnAfterASignal) {
  ProcessPeer peer([&](PeerSide& side) {
    struct sigaction action {};
    action.sa_handler = [](int) { g_signals = g_signals + 1; };
    ::sigaction(SIGUSR1, &action, nullptr);  // Without SA_RESTART: the wait is interrupted.
    FileLock lock(Path());
    side.AwaitGo();
    IPC::CWriteLocker const locker(lock);
    EXPECT_GT(g_signals, 0);
    side.Reached();
  });
  FileLock lock(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  peer.Go();
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(peer.AwaitBlocked());
    ::kill(peer.Process(), SIGUSR1);
  }
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_TRUE(peer.Finish());
}

// One thread, many holds.

TEST_F(CReadWriteLock_file, ThreadMayTakeItAgain) {
  FileLock lock(Path());
  IPC::CWriteLocker const outer(lock);
  {
    IPC::CWriteLocker const inner(lock);
    IPC::CReadLocker const innermost(lock);
  }
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, ThreadMayTakeItAgainThroughAnotherObject) {
  FileLock first(Path());
  FileLock second(Path());
  IPC::CWriteLocker const outer(first);
  IPC::CWriteLocker const inner(second);
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, ThreadMayTakeItAgainUnderAnotherSpelling) {
  std::string const byLinkedFolder = m_folder / "linked/records";
  std::string const byLinkedFile = m_folder / "link";
  std::string const byHardLink = m_folder / "hard";
  std::filesystem::create_directory_symlink(m_folder.Path(), m_folder / "linked");
  std::filesystem::create_symlink(m_path, byLinkedFile);
  std::filesystem::create_hard_link(m_path, byHardLink);
  std::filesystem::current_path(m_folder.Path());
  FileLock lock(Path());
  IPC::CWriteLocker const outer(lock);
  for (std::string const& spelling :
       {byLinkedFolder, byLinkedFile, byHardLink, std::string("records"), std::string("./records"),
        m_folder.Path() + "//./records"}) {
    FileLock other(spelling.c_str());
    IPC::CWriteLocker const inner(other);
    EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path)) << spelling;
  }
  std::filesystem::current_path("/");
}

TEST_F(CReadWriteLock_file, SharedMayBeTakenAgainShared) {
  FileLock lock(Path());
  IPC::CReadLocker const outer(lock);
  { IPC::CReadLocker const inner(lock); }
  EXPECT_EQ(Lock::Shared, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, SharedIsNotUpgraded) {
  FileLock lock(Path());
  FileLock other(Path());
  IPC::CReadLocker const outer(lock);
  for (FileLock* asked : {&lock, &other}) {
    try {
      IPC::CWriteLocker const inner(*asked);
      FAIL() << "an upgrade";
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(EDEADLK, status.Status());
      EXPECT_EQ(m_path, status.ErrorMessage());
    }
  }
  EXPECT_EQ(Lock::Shared, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, HoldersMayEndInAnyOrder) {
  FileLock lock(Path());
  auto outer = std::make_unique<IPC::CWriteLocker>(lock);
  auto inner = std::make_unique<IPC::CReadLocker>(lock);
  outer.reset();
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
  inner.reset();
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, HolderOutlivesTheLockObject) {
  auto lock = std::make_unique<FileLock>(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(*lock);
  lock.reset();
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
  locker.reset();
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, HolderMayBeDeletedByAnotherThread) {
  FileLock lock(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  ThreadPeer peer([&](PeerSide&) { locker.reset(); });
  ASSERT_TRUE(peer.Finish());
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
  IPC::CWriteLocker const again(lock);
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
}

// The system gives the identities of ended threads out again; the hold stays the old thread's.
TEST_F(CReadWriteLock_file, NewThreadDoesNotInheritTheHoldOfAnEndedOne) {
  FileLock lock(Path());
  std::unique_ptr<IPC::CWriteLocker> locker;
  {
    ThreadPeer ended([&](PeerSide&) { locker = std::make_unique<IPC::CWriteLocker>(lock); });
    ASSERT_TRUE(ended.Finish());
  }
  ThreadPeer peer([&](PeerSide& side) {
    IPC::CWriteLocker const own(lock);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST_F(CReadWriteLock_file, IsDeletedThroughItsBase) {
  std::unique_ptr<IPC::CReadWriteLock> const lock = std::make_unique<FileLock>(Path());
  IPC::CWriteLocker const locker(*lock);
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, RemembersNothingOfPathsThatAreFree) {
  auto const lockSome = [&](int from) {
    for (int i = from; i < from + 2000; ++i) {
      std::string const path = m_folder / ("missing-" + std::to_string(i));
      FileLock lock(path.c_str());
      IPC::CWriteLocker const locker(lock);
    }
  };
  lockSome(0);
  std::size_t const before = ::mallinfo2().uordblks;
  lockSome(10000);
  EXPECT_LT(::mallinfo2().uordblks, before + 20000);  // Ten bytes a path would be more.
}

// A file that is replaced.

TEST_F(CReadWriteLock_file, LocksTheFileThatThePathNamesNow) {
  FileLock lock(Path());
  { IPC::CWriteLocker const locker(lock); }
  std::filesystem::remove(m_path);
  WriteFile(m_path, "another");
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_path));
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  peer.Go();
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST_F(CReadWriteLock_file, WaiterOfAReplacedFileTakesTheNewOne) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_path));
  FileLock lock(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  peer.Go();
  ASSERT_TRUE(peer.AwaitBlocked());
  WriteFile(m_folder / "new", "another");
  std::filesystem::rename(m_folder / "new", m_path);
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
  locker.reset();
  ASSERT_TRUE(peer.AwaitStep());
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
  peer.Go();
  EXPECT_TRUE(peer.Finish());
}

TEST_F(CReadWriteLock_file, WaiterOfARemovedFileTakesTheFolder) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_path));
  FileLock lock(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  peer.Go();
  ASSERT_TRUE(peer.AwaitBlocked());
  std::filesystem::remove(m_path);
  locker.reset();
  ASSERT_TRUE(peer.AwaitStep());
  EXPECT_EQ(Lock::Exclusive, FolderLockOf(m_folder.Path()));
  EXPECT_FALSE(IsThere(m_path));
}

// fork().

TEST_F(CReadWriteLock_file, ForkedChildHoldsNothing) {
  FileLock lock(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  ProcessPeer child([&](PeerSide& side) {
    side.AwaitGo();
    IPC::CWriteLocker const own(lock);  // The same object, and still it waits.
    side.Reached();
  });
  child.Go();
  EXPECT_TRUE(child.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(child.AwaitStep());
  EXPECT_TRUE(child.Finish());
}

TEST_F(CReadWriteLock_file, ForkedChildClosesWhatItInherited) {
  int const before = CountDescriptors();
  FileLock lock(Path());
  IPC::CWriteLocker const locker(lock);
  EXPECT_TRUE(InProcess([&] { return CountDescriptors() == before; }));
}

TEST_F(CReadWriteLock_file, EndsWithItsHolderWhateverChildrenLive) {
  FileLock lock(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  ProcessPeer child([](PeerSide& side) { side.AwaitGo(); });
  locker.reset();
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, ForkedChildThatDropsItsCopyFreesNothing) {
  FileLock lock(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  EXPECT_TRUE(InProcess([&] {
    int const other = ::open("/dev/null", O_RDONLY | O_CLOEXEC);  // Takes a number that was closed.
    locker.reset();
    return ::fcntl(other, F_GETFD) != -1;
  }));
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
}

TEST_F(CReadWriteLock_file, ForkedChildMayHoldItItself) {
  FileLock lock(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  ProcessPeer child([&](PeerSide& side) {
    auto const copy = std::move(locker);
    side.AwaitGo();
    FileLock again(Path());
    IPC::CWriteLocker const outer(again);
    IPC::CWriteLocker const inner(lock);
    side.Reached();
    side.AwaitGo();
  });
  locker.reset();
  child.Go();
  ASSERT_TRUE(child.AwaitStep());
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
  child.Go();
  EXPECT_TRUE(child.Finish());
}

// The waiting thread's open descriptor is not in any table of holds yet; the child must not keep
// it, or the lock would live as long as the child.
TEST_F(CReadWriteLock_file, ForkBesideAWaitingThreadLeavesTheChildNothing) {
  int const before = CountDescriptors();
  FileLock lock(Path());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  ThreadPeer waiter([&](PeerSide& side) {
    { IPC::CWriteLocker const own(lock); }
    side.Reached();
  });
  ASSERT_TRUE(waiter.AwaitBlocked());
  ProcessPeer child([&](PeerSide& side) {
    side.AwaitGo();
    side.Reached();
    side.AwaitGo();
  });
  EXPECT_TRUE(
      InProcess([&] { return CountDescriptors() <= before + 2; }));  // The peer's two pipes.
  locker.reset();
  EXPECT_TRUE(waiter.AwaitStep());
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
}

// Many at once.

int NumberIn(std::string const& path) { return std::stoi(ReadFile(path)); }

TEST_F(CReadWriteLock_file, ProcessesAndThreadsLoseNoCount) {
  WriteFile(m_path, "0");
  constexpr int kProcesses = 4;
  constexpr int kThreads = 3;
  constexpr int kRounds = 50;
  auto const count = [&](PeerSide&) {
    FileLock lock(Path());
    for (int i = 0; i < kRounds; ++i) {
      IPC::CWriteLocker const locker(lock);
      WriteFile(m_path, std::to_string(NumberIn(m_path) + 1));
    }
  };
  std::vector<std::unique_ptr<ProcessPeer>> peers;
  for (int i = 0; i < kProcesses; ++i) {
    peers.push_back(std::make_unique<ProcessPeer>([&](PeerSide&) {
      std::vector<std::unique_ptr<ThreadPeer>> threads;
      for (int thread = 0; thread < kThreads; ++thread) {
        threads.push_back(std::make_unique<ThreadPeer>(count));
      }
      for (auto& thread : threads) {
        EXPECT_TRUE(thread->Finish());
      }
    }));
  }
  for (auto& peer : peers) {
    EXPECT_TRUE(peer->Finish());
  }
  EXPECT_EQ(kProcesses * kThreads * kRounds, NumberIn(m_path));
}

TEST_F(CReadWriteLock_file, ProcessesLoseNoCountOnAFileThatIsReplacedUnderTheLock) {
  WriteFile(m_path, "0");
  constexpr int kProcesses = 4;
  constexpr int kRounds = 50;
  std::vector<std::unique_ptr<ProcessPeer>> peers;
  for (int i = 0; i < kProcesses; ++i) {
    peers.push_back(std::make_unique<ProcessPeer>([&, i](PeerSide&) {
      FileLock lock(Path());
      std::string const next = m_folder / ("next-" + std::to_string(i));
      for (int round = 0; round < kRounds; ++round) {
        IPC::CWriteLocker const locker(lock);
        WriteFile(next, std::to_string(NumberIn(m_path) + 1));
        std::filesystem::rename(next, m_path);
      }
    }));
  }
  for (auto& peer : peers) {
    EXPECT_TRUE(peer->Finish());
  }
  EXPECT_EQ(kProcesses * kRounds, NumberIn(m_path));
}

}  // namespace
