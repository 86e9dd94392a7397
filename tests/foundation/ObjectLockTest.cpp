// IPC::CReadWriteLock_file without a name: a lock of the object's own.

#include <cerrno>
#include <memory>

#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"
#include "tests/support/Peer.h"

namespace {

using FileLock = IPC::CReadWriteLock_file;

TEST(NamelessFileLock, NullNameAndEmptyNameAreLockedAndFreed) {
  for (char const* const name : {static_cast<char const*>(nullptr), ""}) {
    FileLock lock(name);
    { IPC::CWriteLocker const locker(lock); }
    { IPC::CReadLocker const locker(lock); }
    IPC::CWriteLocker const again(lock);
  }
}

TEST(NamelessFileLock, ExclusiveExcludesBetweenThreads) {
  FileLock lock("");
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  ThreadPeer writer([&](PeerSide& side) {
    IPC::CWriteLocker const own(lock);
    side.Reached();
  });
  EXPECT_TRUE(writer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(writer.AwaitStep());
  EXPECT_TRUE(writer.Finish());

  locker = std::make_unique<IPC::CWriteLocker>(lock);
  ThreadPeer reader([&](PeerSide& side) {
    IPC::CReadLocker const own(lock);
    side.Reached();
  });
  EXPECT_TRUE(reader.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(reader.AwaitStep());
}

TEST(NamelessFileLock, SharedExcludesExclusiveUntilTheLastEnds) {
  FileLock lock("");
  auto locker = std::make_unique<IPC::CReadLocker>(lock);
  ThreadPeer reader([&](PeerSide& side) {
    IPC::CReadLocker const own(lock);
    side.Reached();
    side.AwaitGo();
  });
  ASSERT_TRUE(reader.AwaitStep());
  ThreadPeer writer([&](PeerSide& side) {
    IPC::CWriteLocker const own(lock);
    side.Reached();
  });
  EXPECT_TRUE(writer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(writer.AwaitBlocked());
  reader.Go();
  EXPECT_TRUE(writer.AwaitStep());
}

TEST(NamelessFileLock, ThreadMayTakeItAgain) {
  FileLock lock("");
  auto outer = std::make_unique<IPC::CWriteLocker>(lock);
  { IPC::CReadLocker const inner(lock); }
  { IPC::CWriteLocker const inner(lock); }
  ThreadPeer peer([&](PeerSide& side) {
    IPC::CReadLocker const own(lock);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitBlocked());
  outer.reset();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST(NamelessFileLock, SharedIsNotUpgraded) {
  FileLock lock("");
  IPC::CReadLocker const outer(lock);
  try {
    IPC::CWriteLocker const inner(lock);
    FAIL() << "an upgrade";
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(EDEADLK, status.Status());
  }
}

TEST(NamelessFileLock, TwoObjectsDoNotExcludeEachOther) {
  FileLock first("");
  FileLock second("");
  IPC::CWriteLocker const locker(first);
  ThreadPeer peer([&](PeerSide&) { IPC::CWriteLocker const own(second); });
  EXPECT_TRUE(peer.Finish());
}

TEST(NamelessFileLock, HolderMayOutliveTheObjectAndEndOnAnotherThread) {
  auto lock = std::make_unique<FileLock>("");
  auto locker = std::make_unique<IPC::CWriteLocker>(*lock);
  lock.reset();
  ThreadPeer peer([&](PeerSide&) { locker.reset(); });
  EXPECT_TRUE(peer.Finish());
}

// The child has neither the thread that holds it nor the hold of the one that forked.
TEST(NamelessFileLock, ForkedChildFindsItFree) {
  FileLock lock("");
  {
    ThreadPeer holder([&](PeerSide& side) {
      IPC::CWriteLocker const own(lock);
      side.Reached();
      side.AwaitGo();
    });
    ASSERT_TRUE(holder.AwaitStep());
    EXPECT_TRUE(InProcess([&] {
      IPC::CWriteLocker const own(lock);
      return true;
    }));
    holder.Go();
    EXPECT_TRUE(holder.Finish());
  }
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  EXPECT_TRUE(InProcess([&] {
    auto own = std::make_unique<IPC::CReadLocker>(lock);
    locker.reset();  // A copy of the parent's: it ends nothing.
    ThreadPeer writer([&](PeerSide& side) {
      IPC::CWriteLocker const other(lock);
      side.Reached();
    });
    EXPECT_TRUE(writer.AwaitBlocked());
    own.reset();
    return writer.AwaitStep();
  }));
  ThreadPeer writer([&](PeerSide& side) {
    IPC::CWriteLocker const own(lock);
    side.Reached();
  });
  EXPECT_TRUE(writer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(writer.AwaitStep());
}

TEST(NamelessFileLock, ForkedChildMayDestroyIt) {
  auto lock = std::make_unique<FileLock>("");
  auto locker = std::make_unique<IPC::CWriteLocker>(*lock);
  ThreadPeer waiter([&](PeerSide&) { IPC::CReadLocker const own(*lock); });
  EXPECT_TRUE(waiter.AwaitBlocked());
  EXPECT_TRUE(InProcess([&] {
    locker.reset();
    lock.reset();
    return true;
  }));
  locker.reset();
  EXPECT_TRUE(waiter.Finish());
}

}  // namespace
