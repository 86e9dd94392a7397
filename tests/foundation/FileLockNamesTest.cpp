// One thread that reaches a file, or its folder, under several names: it must not wait for itself.

#include <sys/stat.h>

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

}  // namespace
