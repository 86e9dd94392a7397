// Who holds a file's lock, by the kernel's tables.

#include "tools/KernelLocks.h"

#include <sys/file.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"
#include "tools/Failure.h"

namespace {

using inspect::FindLocks;
using inspect::KernelLocks;

template <typename Locker>
ProcessPeer Holder(std::string const& path) {
  return ProcessPeer([path](PeerSide& side) {
    IPC::CReadWriteLock_file lock(path.c_str());
    Locker const locker(lock);
    side.Reached();
    side.AwaitGo();
  });
}

class KernelLocksTest : public testing::Test {
 protected:
  TempFolder const m_folder;
  std::string const m_path = m_folder / "file";
};

TEST_F(KernelLocksTest, FreeFileHasNone) {
  WriteFile(m_path, "content");
  KernelLocks const found = FindLocks(m_path);
  EXPECT_TRUE(found.locks.empty());
  EXPECT_EQ(0U, found.unseen);
}

TEST_F(KernelLocksTest, ExclusiveHolderIsFound) {
  WriteFile(m_path, "content");
  ProcessPeer peer = Holder<IPC::CWriteLocker>(m_path);
  ASSERT_TRUE(peer.AwaitStep());
  KernelLocks const found = FindLocks(m_path);
  ASSERT_EQ(1U, found.locks.size());
  EXPECT_EQ(peer.Process(), found.locks[0].process);
  EXPECT_EQ("OFDLCK", found.locks[0].kind);
  EXPECT_TRUE(found.locks[0].isExclusive);
  EXPECT_FALSE(found.locks[0].isFolder);
  EXPECT_FALSE(found.locks[0].isWaiting);
  EXPECT_NE(std::string::npos, found.locks[0].command.find("tools-tests"));
  peer.Go();
  EXPECT_TRUE(peer.Finish());
}

TEST_F(KernelLocksTest, SharedHolderIsFound) {
  WriteFile(m_path, "content");
  ProcessPeer peer = Holder<IPC::CReadLocker>(m_path);
  ASSERT_TRUE(peer.AwaitStep());
  KernelLocks const found = FindLocks(m_path);
  ASSERT_EQ(1U, found.locks.size());
  EXPECT_FALSE(found.locks[0].isExclusive);
  peer.Go();
  EXPECT_TRUE(peer.Finish());
}

TEST_F(KernelLocksTest, HolderOfAMissingFileIsFoundAtItsFolder) {
  ProcessPeer peer = Holder<IPC::CWriteLocker>(m_path);
  ASSERT_TRUE(peer.AwaitStep());
  KernelLocks const found = FindLocks(m_path);
  ASSERT_EQ(1U, found.locks.size());
  EXPECT_TRUE(found.locks[0].isFolder);
  EXPECT_EQ("FLOCK", found.locks[0].kind);
  peer.Go();
  EXPECT_TRUE(peer.Finish());
}

TEST_F(KernelLocksTest, WhoWaitsIsFound) {
  WriteFile(m_path, "content");
  ProcessPeer waiting([this](PeerSide& side) {
    side.Reached();
    side.AwaitGo();
    IPC::CReadWriteLock_file lock(m_path.c_str());
    IPC::CReadLocker const locker(lock);
  });
  ASSERT_TRUE(waiting.AwaitStep());
  IPC::CReadWriteLock_file lock(m_path.c_str());
  {
    IPC::CWriteLocker const locker(lock);
    waiting.Go();
    ASSERT_TRUE(waiting.AwaitBlocked());
    bool isFound = false;
    for (inspect::KernelLock const& found : FindLocks(m_path).locks) {
      EXPECT_EQ(found.isWaiting, found.process != ::getpid());
      isFound = isFound || (found.isWaiting && found.process == waiting.Process());
    }
    EXPECT_TRUE(isFound);
  }
  EXPECT_TRUE(waiting.Finish());
}

TEST_F(KernelLocksTest, FolderThatIsMissingIsAFailure) {
  EXPECT_THROW(FindLocks(m_folder / "missing/file"), inspect::Failure);
  EXPECT_THROW(FindLocks(m_folder.Path()), inspect::Failure);
}

}  // namespace
