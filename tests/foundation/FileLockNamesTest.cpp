// One thread that reaches a file, or its folder, under several names, or several files: it must not
// wait for itself, nor take one for another.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "tests/support/Files.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Peer.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/TempFolder.h"

namespace {

using FileLock = IPC::CReadWriteLock_file;

// Each body runs on a thread of its own: one that waits for itself fails the test at once.
[[nodiscard]] bool EndsByItself(std::function<void()> const& body) {
  ProcessPeer peer([&](PeerSide& side) {
    body();
    side.Reached();
  });
  return peer.AwaitStep() && peer.Finish();
}

class FileLockNames : public testing::Test {
 protected:
  FileLockNames() {
    std::filesystem::create_directory(m_folder / "real");
    std::filesystem::create_symlink("real", m_folder / "link");
    std::filesystem::current_path(m_folder.Path());
  }
  ~FileLockNames() override { std::filesystem::current_path("/"); }

  // Names of one folder that is missing yet.
  std::vector<std::string> FolderNames() const {
    return {m_folder / "real/new", "real/new", m_folder / "link/new", "link/../real/new",
            m_folder / "real/new/../new"};
  }

  TempFolder m_folder;
};

TEST_F(FileLockNames, ObjectsFromBeforeAndAfterTheFolderShareItsMissingFiles) {
  for (std::string const& name : FolderNames()) {
    EXPECT_TRUE(EndsByItself([&] {
      FileLock early((name + "/first").c_str());
      FileLock earlySecond((name + "/second").c_str());
      std::filesystem::create_directory(m_folder / "real/new");
      FileLock late((m_folder / "real/new/second").c_str());
      IPC::CWriteLocker const first(early);
      EXPECT_EQ(Lock::Exclusive, FolderLockOf(m_folder / "real/new"));
      IPC::CWriteLocker const second(late);
      IPC::CWriteLocker const again(earlySecond);
    })) << name;
    std::filesystem::remove(m_folder / "real/new");
  }
}

TEST_F(FileLockNames, ObjectsFromBeforeAndAfterTheFolderShareAFile) {
  for (std::string const& name : FolderNames()) {
    EXPECT_TRUE(EndsByItself([&] {
      FileLock early((name + "/records").c_str());
      std::filesystem::create_directory(m_folder / "real/new");
      std::string const path = m_folder / "real/new/records";
      FileLock late(path.c_str());
      IPC::CWriteLocker const first(early);
      WriteFile(path, "made under the lock");
      IPC::CWriteLocker const second(late);
      EXPECT_EQ(Lock::Exclusive, FileLockOf(path));
    })) << name;
    std::filesystem::remove_all(m_folder / "real/new");
  }
}

// The file that appears is one that the thread holds already.
TEST_F(FileLockNames, HoldStaysOnTheFolderWhenTheThreadHoldsTheFileThatAppears) {
  std::string const missing = m_folder / "real/missing";
  std::string const there = m_folder / "real/there";
  EXPECT_TRUE(EndsByItself([&] {
    WriteFile(there, "content");
    FileLock missingLock(missing.c_str());
    FileLock thereLock(there.c_str());
    IPC::CWriteLocker const outer(missingLock);
    auto other = std::make_unique<IPC::CWriteLocker>(thereLock);
    std::filesystem::create_hard_link(there, missing);
    { IPC::CWriteLocker const inner(missingLock); }
    EXPECT_EQ(Lock::Exclusive, FolderLockOf(m_folder / "real"));
    EXPECT_EQ(Lock::Exclusive, FileLockOf(there));
    other.reset();
    { IPC::CWriteLocker const inner(missingLock); }
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder / "real"));
    EXPECT_EQ(Lock::Exclusive, FileLockOf(there));
  }));
}

TEST_F(FileLockNames, FilesOfOneThreadAreLockedEachForItself) {
  std::string const first = m_folder / "real/first";
  std::string const second = m_folder / "real/second";
  EXPECT_TRUE(EndsByItself([&] {
    WriteFile(first, "content");
    WriteFile(second, "content");
    FileLock firstLock(first.c_str());
    FileLock secondLock(second.c_str());
    IPC::CReadLocker const outer(firstLock);
    {
      IPC::CWriteLocker const inner(secondLock);
      EXPECT_EQ(Lock::Shared, FileLockOf(first));
      EXPECT_EQ(Lock::Exclusive, FileLockOf(second));
    }
    EXPECT_EQ(Lock::None, FileLockOf(second));
  }));
}

// File systems number their files each for itself.
TEST_F(FileLockNames, FilesOfTheSameNumberInTwoFileSystemsAreTwo) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([] {
    std::string const first = "/usr/lib/records";
    std::string const second = "/var/lib/records";
    WriteFile(first, "content");
    WriteFile(second, "content");
    ASSERT_EQ(StatOf(first).st_ino, StatOf(second).st_ino);
    ASSERT_NE(StatOf(first).st_dev, StatOf(second).st_dev);
    FileLock firstLock(first.c_str());
    FileLock secondLock(second.c_str());
    IPC::CReadLocker const outer(firstLock);
    IPC::CWriteLocker const inner(secondLock);
    EXPECT_EQ(Lock::Shared, FileLockOf(first));
    EXPECT_EQ(Lock::Exclusive, FileLockOf(second));
  }));
}

TEST_F(FileLockNames, MissingFileBesideAHeldOneLocksTheFolder) {
  std::string const there = m_folder / "real/there";
  EXPECT_TRUE(EndsByItself([&] {
    WriteFile(there, "content");
    FileLock thereLock(there.c_str());
    FileLock missingLock((m_folder / "real/missing").c_str());
    IPC::CReadLocker const outer(thereLock);
    IPC::CWriteLocker const inner(missingLock);
    EXPECT_EQ(Lock::Shared, FileLockOf(there));
    EXPECT_EQ(Lock::Exclusive, FolderLockOf(m_folder / "real"));
  }));
}

TEST_F(FileLockNames, MissingFilesOfTwoFoldersLockBoth) {
  EXPECT_TRUE(EndsByItself([&] {
    FileLock first((m_folder / "missing").c_str());
    FileLock second((m_folder / "real/missing").c_str());
    IPC::CReadLocker const outer(first);
    IPC::CWriteLocker const inner(second);
    EXPECT_EQ(Lock::Shared, FolderLockOf(m_folder.Path()));
    EXPECT_EQ(Lock::Exclusive, FolderLockOf(m_folder / "real"));
  }));
}

TEST_F(FileLockNames, FolderThatIsHeldServesSharedHoldsOfOtherMissingFiles) {
  EXPECT_TRUE(EndsByItself([&] {
    FileLock first((m_folder / "real/first").c_str());
    FileLock second((m_folder / "real/second").c_str());
    auto outer = std::make_unique<IPC::CWriteLocker>(first);
    IPC::CReadLocker const inner(second);
    outer.reset();
    EXPECT_EQ(Lock::Exclusive, FolderLockOf(m_folder / "real"));
  }));
}

// Two threads end holders of one hold at the same moment: one of them moves it to the file, and the
// other finds it there.
TEST_F(FileLockNames, HoldMovesOnceWhenTwoThreadsMoveIt) {
  std::string const path = m_folder / "real/records";
  FileLock lock(path.c_str());
  IPC::CWriteLocker const outer(lock);
  auto first = std::make_unique<IPC::CWriteLocker>(lock);
  auto second = std::make_unique<IPC::CWriteLocker>(lock);
  WriteFile(path, "content");
  // In the way of the moving, by somebody who knows nothing of the folder.
  int const stranger = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  struct flock whole {};
  whole.l_type = F_WRLCK;
  ASSERT_EQ(0, ::fcntl(stranger, F_OFD_SETLK, &whole));
  ThreadPeer mover([&](PeerSide& /*side*/) { first.reset(); });
  EXPECT_TRUE(mover.AwaitBlocked());
  ThreadPeer later([&](PeerSide& /*side*/) { second.reset(); });
  EXPECT_TRUE(later.AwaitBlocked());
  EXPECT_EQ(Lock::Exclusive, FolderLockOf(m_folder / "real"));
  ::close(stranger);
  EXPECT_TRUE(mover.Finish());
  EXPECT_TRUE(later.Finish());
  EXPECT_EQ(Lock::Exclusive, FileLockOf(path));
  EXPECT_EQ(Lock::None, FolderLockOf(m_folder / "real"));
}

}  // namespace
