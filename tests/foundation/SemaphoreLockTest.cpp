// IPC::CReadWriteLock_smph.

#include <signal.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <memory>

#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "tests/support/Peer.h"

namespace {

using SemaphoreLock = IPC::CReadWriteLock_smph;

// A key of this test process's own; the set goes away at the end.
class CReadWriteLock_smph : public testing::Test {
 protected:
  ~CReadWriteLock_smph() override { RemoveSet(); }

  int Set() const { return ::semget(m_key, 0, 0); }
  void RemoveSet() const { ::semctl(Set(), 0, IPC_RMID); }
  int ValueOf(int semaphore) const { return ::semctl(Set(), semaphore, GETVAL); }

  int const m_key = 0x51000000 + static_cast<int>(::getpid());
};

template <typename Locker>
std::function<void(PeerSide&)> HoldInSteps(int key) {
  return [key](PeerSide& side) {
    SemaphoreLock lock(key);
    side.AwaitGo();
    Locker const locker(lock);
    side.Reached();
    side.AwaitGo();
  };
}

template <typename Own, typename Other>
void ExpectExcluded(Peer& peer, int key) {
  SemaphoreLock lock(key);
  auto locker = std::make_unique<Own>(lock);
  peer.Go();
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
  peer.Go();
  EXPECT_TRUE(peer.Finish());
}

TEST_F(CReadWriteLock_smph, ExclusiveExcludesExclusiveOfAnotherProcess) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_key));
  ExpectExcluded<IPC::CWriteLocker, IPC::CWriteLocker>(peer, m_key);
}

TEST_F(CReadWriteLock_smph, ExclusiveExcludesSharedOfAnotherProcess) {
  ProcessPeer peer(HoldInSteps<IPC::CReadLocker>(m_key));
  ExpectExcluded<IPC::CWriteLocker, IPC::CReadLocker>(peer, m_key);
}

TEST_F(CReadWriteLock_smph, SharedExcludesExclusiveOfAnotherProcess) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_key));
  ExpectExcluded<IPC::CReadLocker, IPC::CWriteLocker>(peer, m_key);
}

TEST_F(CReadWriteLock_smph, SharedAdmitsSharedOfAnotherProcess) {
  ProcessPeer peer(HoldInSteps<IPC::CReadLocker>(m_key));
  SemaphoreLock lock(m_key);
  IPC::CReadLocker const locker(lock);
  peer.Go();
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_EQ(2, ValueOf(1));
}

TEST_F(CReadWriteLock_smph, ExcludesBetweenThreads) {
  {
    ThreadPeer peer(HoldInSteps<IPC::CWriteLocker>(m_key));
    ExpectExcluded<IPC::CWriteLocker, IPC::CWriteLocker>(peer, m_key);
  }
  ThreadPeer peer(HoldInSteps<IPC::CWriteLocker>(m_key));
  ExpectExcluded<IPC::CReadLocker, IPC::CWriteLocker>(peer, m_key);
}

TEST_F(CReadWriteLock_smph, AllValuesAre0WhenFree) {
  SemaphoreLock lock(m_key);
  {
    IPC::CWriteLocker const locker(lock);
    EXPECT_EQ(1, ValueOf(0));
    EXPECT_EQ(0, ValueOf(1));
  }
  {
    IPC::CReadLocker const locker(lock);
    EXPECT_EQ(0, ValueOf(0));
    EXPECT_EQ(1, ValueOf(1));
  }
  EXPECT_EQ(0, ValueOf(0));
  EXPECT_EQ(0, ValueOf(1));
}

TEST_F(CReadWriteLock_smph, OtherUsersMayUseTheSet) {
  SemaphoreLock lock(m_key);
  { IPC::CWriteLocker const locker(lock); }
  struct semid_ds what {};
  ASSERT_NE(-1, ::semctl(Set(), 0, IPC_STAT, &what));
  EXPECT_EQ(0666, what.sem_perm.mode & 0777);
}

TEST_F(CReadWriteLock_smph, KilledProcessHoldsNothing) {
  for (bool const exclusive : {true, false}) {
    ProcessPeer peer(exclusive ? HoldInSteps<IPC::CWriteLocker>(m_key)
                               : HoldInSteps<IPC::CReadLocker>(m_key));
    peer.Go();
    ASSERT_TRUE(peer.AwaitStep());
    peer.Kill();
    EXPECT_EQ(0, ValueOf(0));
    EXPECT_EQ(0, ValueOf(1));
  }
}

// What the kernel takes back at the end of a process is what that holds then, not what it held.
TEST_F(CReadWriteLock_smph, EndOfAProcessFreesNothingOfOthers) {
  for (bool const exclusive : {true, false}) {
    SemaphoreLock lock(m_key);
    ProcessPeer peer([&](PeerSide& side) {
      SemaphoreLock own(m_key);
      if (exclusive) {
        IPC::CWriteLocker const locker(own);
      } else {
        IPC::CReadLocker const locker(own);
      }
      side.Reached();
      side.AwaitGo();
    });
    ASSERT_TRUE(peer.AwaitStep());
    IPC::CWriteLocker const writer(lock);
    peer.Go();
    EXPECT_TRUE(peer.Finish());
    EXPECT_EQ(1, ValueOf(0));
    EXPECT_EQ(0, ValueOf(1));
  }
}

TEST_F(CReadWriteLock_smph, WaitGoesOnAfterASignal) {
  ProcessPeer peer([&](PeerSide& side) {
    struct sigaction action {};
    action.sa_handler = [](int) {};  // The call comes back with EINTR, whatever the handler does.
    ::sigaction(SIGUSR1, &action, nullptr);
    SemaphoreLock lock(m_key);
    side.AwaitGo();
    IPC::CWriteLocker const locker(lock);
    side.Reached();
  });
  SemaphoreLock lock(m_key);
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  peer.Go();
  EXPECT_TRUE(peer.AwaitBlocked());
  ::kill(peer.Process(), SIGUSR1);
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_TRUE(peer.Finish());
}

TEST_F(CReadWriteLock_smph, SetThatWasRemovedIsMadeAgain) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_key));
  SemaphoreLock lock(m_key);
  { IPC::CWriteLocker const locker(lock); }
  RemoveSet();
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);  // The object knew the old set.
  EXPECT_EQ(1, ValueOf(0));
  peer.Go();
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST_F(CReadWriteLock_smph, WaiterGoesOnWhenTheSetIsRemoved) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_key));
  SemaphoreLock lock(m_key);
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  peer.Go();
  ASSERT_TRUE(peer.AwaitBlocked());
  RemoveSet();
  EXPECT_TRUE(peer.AwaitStep());
  locker.reset();  // The hold went with its set; the peer's is untouched.
  EXPECT_EQ(1, ValueOf(0));
}

TEST_F(CReadWriteLock_smph, ForkedChildThatDropsItsCopyFreesNothing) {
  SemaphoreLock lock(m_key);
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  EXPECT_TRUE(InProcess([&] {
    locker.reset();
    return true;
  }));
  EXPECT_EQ(1, ValueOf(0));
}

TEST_F(CReadWriteLock_smph, KeyMinusOneIsAKeyLikeAnyOther) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(-1));
  ExpectExcluded<IPC::CWriteLocker, IPC::CWriteLocker>(peer, -1);
}

// Where there is no set to be had.

TEST_F(CReadWriteLock_smph, SetOfAnotherShapeFallsBackToTheProcess) {
  ASSERT_NE(-1, ::semget(m_key, 1, IPC_CREAT | 0600));
  ThreadPeer peer(HoldInSteps<IPC::CWriteLocker>(m_key));
  ExpectExcluded<IPC::CReadLocker, IPC::CWriteLocker>(peer, m_key);
  EXPECT_EQ(0, ValueOf(0));
}

TEST_F(CReadWriteLock_smph, KeyThatNamesNoSetFallsBackToTheProcess) {
  ThreadPeer peer(HoldInSteps<IPC::CWriteLocker>(IPC_PRIVATE));
  ExpectExcluded<IPC::CWriteLocker, IPC::CWriteLocker>(peer, IPC_PRIVATE);
}

TEST_F(CReadWriteLock_smph, KeysThatFallBackDoNotExcludeEachOther) {
  ASSERT_NE(-1, ::semget(m_key, 1, IPC_CREAT | 0600));
  SemaphoreLock lock(IPC_PRIVATE);
  IPC::CWriteLocker const locker(lock);
  ThreadPeer peer(HoldInSteps<IPC::CWriteLocker>(m_key));
  peer.Go();
  EXPECT_TRUE(peer.AwaitStep());
  peer.Go();
  EXPECT_TRUE(peer.Finish());
}

TEST_F(CReadWriteLock_smph, ForkedChildFindsTheFallBackFree) {
  SemaphoreLock lock(IPC_PRIVATE);
  IPC::CWriteLocker const locker(lock);
  EXPECT_TRUE(InProcess([&] {
    IPC::CWriteLocker const own(lock);
    return true;
  }));
}

TEST_F(CReadWriteLock_smph, IsDeletedThroughItsBase) {
  std::unique_ptr<IPC::CReadWriteLock> const lock = std::make_unique<SemaphoreLock>(m_key);
  IPC::CWriteLocker const locker(*lock);
  EXPECT_EQ(1, ValueOf(0));
}

}  // namespace
