// IPC::CReadWriteLock_pth.

#include <memory>

#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "tests/support/Peer.h"

namespace {

using ThreadLock = IPC::CReadWriteLock_pth;

template <typename Own, typename Other>
void ExpectExcluded() {
  ThreadLock lock;
  auto locker = std::make_unique<Own>(lock);
  ThreadPeer peer([&](PeerSide& side) {
    Other const other(lock);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST(CReadWriteLock_pth, ExclusiveExcludesExclusive) {
  ExpectExcluded<IPC::CWriteLocker, IPC::CWriteLocker>();
}

TEST(CReadWriteLock_pth, ExclusiveExcludesShared) {
  ExpectExcluded<IPC::CWriteLocker, IPC::CReadLocker>();
}

TEST(CReadWriteLock_pth, SharedExcludesExclusive) {
  ExpectExcluded<IPC::CReadLocker, IPC::CWriteLocker>();
}

TEST(CReadWriteLock_pth, SharedAdmitsShared) {
  ThreadLock lock;
  IPC::CReadLocker const locker(lock);
  ThreadPeer peer([&](PeerSide&) { IPC::CReadLocker const other(lock); });
  EXPECT_TRUE(peer.Finish());
}

TEST(CReadWriteLock_pth, HoldEndsWithAnException) {
  ThreadLock lock;
  try {
    IPC::CWriteLocker const locker(lock);
    throw 1;
  } catch (int) {
  }
  ThreadPeer peer([&](PeerSide&) { IPC::CWriteLocker const other(lock); });
  EXPECT_TRUE(peer.Finish());
}

TEST(CReadWriteLock_pth, ObjectsAreIndependentAndDeletedThroughTheirBase) {
  std::unique_ptr<IPC::CReadWriteLock> const first = std::make_unique<ThreadLock>();
  std::unique_ptr<IPC::CReadWriteLock> const second = std::make_unique<ThreadLock>();
  IPC::CWriteLocker const locker(*first);
  IPC::CWriteLocker const other(*second);
}

}  // namespace
