// IPC::CReadWriteLock_file where the path does not lead to a file that can be locked: the file is
// not there yet, the folder is missing, rights are, or something else stands in its place.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"
#include "tests/support/Files.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Peer.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TempFolder.h"

namespace {

using FileLock = IPC::CReadWriteLock_file;

class MissingFileLock : public testing::Test {
 protected:
  Lock OfFolder() const { return FolderLockOf(m_folder.Path()); }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
};

// Takes the lock of `path` when told to, says so, and holds it until told again.
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

TEST_F(MissingFileLock, LocksTheFolderInItsMode) {
  FileLock lock(m_path.c_str());
  {
    IPC::CReadLocker const locker(lock);
    EXPECT_EQ(Lock::Shared, OfFolder());
  }
  {
    IPC::CWriteLocker const locker(lock);
    EXPECT_EQ(Lock::Exclusive, OfFolder());
  }
  EXPECT_EQ(Lock::None, OfFolder());
}

TEST_F(MissingFileLock, CreatesNothing) {
  FileLock lock(m_path.c_str());
  { IPC::CWriteLocker const locker(lock); }
  { IPC::CReadLocker const locker(lock); }
  EXPECT_TRUE(m_folder.Names().empty());
}

TEST_F(MissingFileLock, ExcludesBetweenProcesses) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_path));
  FileLock lock(m_path.c_str());
  auto locker = std::make_unique<IPC::CReadLocker>(lock);
  peer.Go();
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST_F(MissingFileLock, AdmitsSharedHolds) {
  ProcessPeer peer(HoldInSteps<IPC::CReadLocker>(m_path));
  FileLock lock(m_path.c_str());
  IPC::CReadLocker const locker(lock);
  peer.Go();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST_F(MissingFileLock, FileThatAppearsIsTakenByWhoWaits) {
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(m_path));
  FileLock lock(m_path.c_str());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  peer.Go();
  ASSERT_TRUE(peer.AwaitBlocked());
  WriteFile(m_path, "made meanwhile");
  locker.reset();
  ASSERT_TRUE(peer.AwaitStep());
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
  EXPECT_EQ(Lock::None, OfFolder());
}

// Whoever meets the new file must still wait for the hold under which it appeared.
TEST_F(MissingFileLock, FileThatAppearsBelongsToTheHoldOnTheFolder) {
  ProcessPeer writer(HoldInSteps<IPC::CWriteLocker>(m_path));
  ProcessPeer reader(HoldInSteps<IPC::CReadLocker>(m_path));
  FileLock lock(m_path.c_str());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  WriteFile(m_path, "made under the lock");
  writer.Go();
  EXPECT_TRUE(writer.AwaitBlocked());
  reader.Go();
  EXPECT_TRUE(reader.AwaitBlocked());
  EXPECT_EQ(Lock::None, FileLockOf(m_path));  // They let it go to wait.
  locker.reset();
  // Either may come first; both let it go at their second word.
  writer.Go();
  reader.Go();
  EXPECT_TRUE(writer.AwaitStep());
  EXPECT_TRUE(reader.AwaitStep());
}

TEST_F(MissingFileLock, SharedHoldOnTheFolderExcludesExclusiveOnTheFileThatAppears) {
  ProcessPeer writer(HoldInSteps<IPC::CWriteLocker>(m_path));
  ProcessPeer reader(HoldInSteps<IPC::CReadLocker>(m_path));
  FileLock lock(m_path.c_str());
  auto locker = std::make_unique<IPC::CReadLocker>(lock);
  WriteFile(m_path, "made without a lock");
  writer.Go();
  EXPECT_TRUE(writer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(writer.AwaitStep());
  writer.Go();
  EXPECT_TRUE(writer.Finish());
  locker = std::make_unique<IPC::CReadLocker>(lock);
  reader.Go();
  EXPECT_TRUE(reader.AwaitStep());
}

TEST_F(MissingFileLock, HoldMovesToTheFileWhenANestedOneBegins) {
  FileLock lock(m_path.c_str());
  IPC::CWriteLocker const outer(lock);
  WriteFile(m_path, "made under the lock");
  EXPECT_EQ(Lock::Exclusive, OfFolder());
  IPC::CReadLocker const inner(lock);
  EXPECT_EQ(Lock::None, OfFolder());
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
}

TEST_F(MissingFileLock, HoldMovesToTheFileWhenANestedOneEnds) {
  FileLock lock(m_path.c_str());
  IPC::CReadLocker const outer(lock);
  {
    IPC::CReadLocker const inner(lock);
    WriteFile(m_path, "made under the lock");
    EXPECT_EQ(Lock::Shared, OfFolder());
  }
  EXPECT_EQ(Lock::None, OfFolder());
  EXPECT_EQ(Lock::Shared, FileLockOf(m_path));
}

TEST_F(MissingFileLock, HoldThatMovedLetsWaitersOfTheFolderGoOn) {
  std::string const other = m_folder / "other";
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(other));
  FileLock lock(m_path.c_str());
  IPC::CWriteLocker const outer(lock);
  peer.Go();
  ASSERT_TRUE(peer.AwaitBlocked());
  WriteFile(m_path, "made under the lock");
  { IPC::CWriteLocker const inner(lock); }
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
}

TEST_F(MissingFileLock, HoldThatCannotMoveStaysOnTheFolder) {
  FileLock lock(m_path.c_str());
  IPC::CWriteLocker const outer(lock);
  std::filesystem::create_directory(m_path);
  { IPC::CWriteLocker const inner(lock); }
  EXPECT_EQ(Lock::Exclusive, OfFolder());
}

TEST_F(MissingFileLock, ThreadSharesTheFolderBetweenMissingFiles) {
  std::string const otherPath = m_folder / "other";
  FileLock lock(m_path.c_str());
  FileLock other(otherPath.c_str());
  auto first = std::make_unique<IPC::CWriteLocker>(lock);
  auto second = std::make_unique<IPC::CWriteLocker>(other);
  auto third = std::make_unique<IPC::CReadLocker>(other);
  first.reset();
  EXPECT_EQ(Lock::Exclusive, OfFolder());
  second.reset();
  third.reset();
  EXPECT_EQ(Lock::None, OfFolder());
}

TEST_F(MissingFileLock, SharedFolderIsNotUpgradedForAnotherMissingFile) {
  std::string const otherPath = m_folder / "other";
  FileLock lock(m_path.c_str());
  FileLock other(otherPath.c_str());
  IPC::CReadLocker const locker(lock);
  try {
    IPC::CWriteLocker const second(other);
    FAIL() << "an upgrade";
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(EDEADLK, status.Status());
  }
  EXPECT_EQ(Lock::Shared, OfFolder());
}

TEST_F(MissingFileLock, ThreadThatHoldsTheFolderMayLockAFileInIt) {
  std::string const otherPath = m_folder / "other";
  WriteFile(otherPath, "content");
  FileLock lock(m_path.c_str());
  FileLock other(otherPath.c_str());
  IPC::CWriteLocker const locker(lock);
  IPC::CWriteLocker const second(other);
  EXPECT_EQ(Lock::Exclusive, FileLockOf(otherPath));
}

TEST_F(MissingFileLock, DanglingLinkIsAMissingFile) {
  std::filesystem::create_symlink(m_folder / "nowhere", m_path);
  FileLock lock(m_path.c_str());
  IPC::CWriteLocker const locker(lock);
  EXPECT_EQ(Lock::Exclusive, OfFolder());
}

TEST_F(MissingFileLock, ForkedChildHoldsNoFolder) {
  FileLock lock(m_path.c_str());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  int const held = CountDescriptors();
  ProcessPeer child([&](PeerSide& side) {
    EXPECT_LE(CountDescriptors(), held + 1);  // Two pipes more, the folder less.
    WriteFile(m_path, "made by the child");
    // Nested in what the parent holds; in the child it is a hold like any other.
    side.AwaitGo();
    IPC::CWriteLocker const own(lock);
    side.Reached();
  });
  child.Go();
  EXPECT_TRUE(child.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(child.AwaitStep());
  EXPECT_TRUE(child.Finish());
}

TEST_F(MissingFileLock, ForkedChildThatEndsItsCopiesMovesNothing) {
  FileLock lock(m_path.c_str());
  auto outer = std::make_unique<IPC::CWriteLocker>(lock);
  auto inner = std::make_unique<IPC::CWriteLocker>(lock);
  WriteFile(m_path, "made under the lock");
  EXPECT_TRUE(InProcess([&] {
    inner.reset();
    EXPECT_EQ(Lock::None, FileLockOf(m_path));
    outer.reset();
    return FileLockOf(m_path) == Lock::None;
  }));
  EXPECT_EQ(Lock::Exclusive, OfFolder());
}

TEST_F(MissingFileLock, EndsWithItsHolderWhateverChildrenLive) {
  FileLock lock(m_path.c_str());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  // Between vfork and exec a child has a copy of the descriptor, which keeps what is locked by it.
  int copy = -1;
  for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry.path(), ignored) == m_folder.Path()) {
      copy = ::dup(std::stoi(entry.path().filename()));
    }
  }
  ASSERT_NE(-1, copy);
  locker.reset();
  EXPECT_EQ(Lock::None, OfFolder());
  ::close(copy);
}

TEST_F(MissingFileLock, WaiterOfAReplacedFolderTakesTheNewOne) {
  std::string const folder = m_folder / "folder";
  std::string const path = folder + "/records";
  std::filesystem::create_directory(folder);
  ProcessPeer peer(HoldInSteps<IPC::CWriteLocker>(path));
  FileLock lock(path.c_str());
  auto locker = std::make_unique<IPC::CWriteLocker>(lock);
  peer.Go();
  ASSERT_TRUE(peer.AwaitBlocked());
  std::filesystem::rename(folder, m_folder / "old");
  std::filesystem::create_directory(folder);
  locker.reset();
  ASSERT_TRUE(peer.AwaitStep());
  EXPECT_EQ(Lock::Exclusive, FolderLockOf(folder));
  EXPECT_EQ(Lock::None, FolderLockOf(m_folder / "old"));
}

// Each makes the file if it is missing and appends one byte under the lock; each byte must be
// there.
TEST_F(MissingFileLock, ProcessesThatMeetOverAMissingFileLoseNothing) {
  constexpr int kProcesses = 4;
  constexpr int kRounds = 100;
  for (int round = 0; round < kRounds; ++round) {
    std::string const path = m_folder / std::to_string(round);
    std::vector<std::unique_ptr<ProcessPeer>> peers;
    for (int i = 0; i < kProcesses; ++i) {
      peers.push_back(std::make_unique<ProcessPeer>([&](PeerSide& side) {
        FileLock lock(path.c_str());
        side.AwaitGo();
        IPC::CWriteLocker const locker(lock);
        std::string const before = IsThere(path) ? ReadFile(path) : std::string();
        WriteFile(path, before + "x");
      }));
    }
    for (auto& peer : peers) {
      peer->Go();
    }
    for (auto& peer : peers) {
      EXPECT_TRUE(peer->Finish());
    }
    ASSERT_EQ(std::string(kProcesses, 'x'), ReadFile(path)) << "round " << round;
  }
}

// The same with nested holds, which move from the folder to the file, and threads.
TEST_F(MissingFileLock, ThreadsThatMeetOverAMissingFileLoseNothing) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 100;
  for (int round = 0; round < kRounds; ++round) {
    std::string const path = m_folder / std::to_string(round);
    std::vector<std::unique_ptr<ThreadPeer>> peers;
    for (int i = 0; i < kThreads; ++i) {
      peers.push_back(std::make_unique<ThreadPeer>([&](PeerSide& side) {
        FileLock lock(path.c_str());
        side.AwaitGo();
        IPC::CWriteLocker const outer(lock);
        for (int bytes = 0; bytes < 2; ++bytes) {
          IPC::CWriteLocker const inner(lock);
          std::string const before = IsThere(path) ? ReadFile(path) : std::string();
          WriteFile(path, before + "x");
        }
      }));
    }
    for (auto& peer : peers) {
      peer->Go();
    }
    for (auto& peer : peers) {
      EXPECT_TRUE(peer->Finish());
    }
    ASSERT_EQ(std::string(2 * kThreads, 'x'), ReadFile(path)) << "round " << round;
  }
}

// Holds that exclude nobody: the operation itself will report what is wrong with the path.

void ExpectExcludesNobody(std::string const& path) {
  int const before = CountDescriptors();
  FileLock lock(path.c_str());
  {
    IPC::CWriteLocker const exclusive(lock);
    EXPECT_EQ(before, CountDescriptors());
  }
  IPC::CReadLocker const shared(lock);
  EXPECT_EQ(before, CountDescriptors());
}

TEST_F(MissingFileLock, MissingFolderExcludesNobody) {
  ExpectExcludesNobody(m_folder / "no/folder/records");
}

TEST_F(MissingFileLock, FileInThePlaceOfTheFolderExcludesNobody) {
  WriteFile(m_path, "content");
  ExpectExcludesNobody(m_path + "/records");
}

TEST_F(MissingFileLock, FolderInThePlaceOfTheFileExcludesNobody) {
  std::filesystem::create_directory(m_path);
  ExpectExcludesNobody(m_path);
  ExpectExcludesNobody(m_path + "/");
}

TEST_F(MissingFileLock, FifoExcludesNobodyAndWaitsForNobody) {
  ASSERT_EQ(0, ::mkfifo(m_path.c_str(), 0600));
  ExpectExcludesNobody(m_path);
}

TEST_F(MissingFileLock, SocketExcludesNobody) {
  std::filesystem::current_path(m_folder.Path());  // A socket's name has little room.
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string("records").copy(address.sun_path, sizeof address.sun_path - 1);
  int const socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(0, ::bind(socket, reinterpret_cast<sockaddr const*>(&address), sizeof address));
  ExpectExcludesNobody(m_path);
  ::close(socket);
  std::filesystem::current_path("/");
}

TEST_F(MissingFileLock, RunningProgramExcludesNobodyExclusively) {
  std::filesystem::copy_file("/bin/sleep", m_path);
  std::string const path = m_path;
  ProcessPeer peer([&](PeerSide& side) {
    side.Reached();
    ::execl(path.c_str(), "sleep", "60", nullptr);
  });
  ASSERT_TRUE(peer.AwaitStep());
  while (std::filesystem::read_symlink("/proc/" + std::to_string(peer.Process()) + "/exe") !=
         path) {
    std::this_thread::yield();
  }
  int const before = CountDescriptors();
  FileLock lock(m_path.c_str());
  IPC::CWriteLocker const locker(lock);
  EXPECT_EQ(before, CountDescriptors());
}

TEST_F(MissingFileLock, LinkLoopExcludesNobody) {
  std::filesystem::create_symlink(m_path, m_path);
  ExpectExcludesNobody(m_path);
}

TEST_F(MissingFileLock, NameThatIsTooLongExcludesNobody) {
  ExpectExcludesNobody(m_folder / std::string(300, 'x'));
}

TEST_F(MissingFileLock, FolderThatAppearsLaterIsLocked) {
  std::string const folder = m_folder / "later";
  FileLock lock((folder + "/records").c_str());
  std::filesystem::create_directory(folder);
  IPC::CWriteLocker const locker(lock);
  EXPECT_EQ(Lock::Exclusive, FolderLockOf(folder));
}

// Root may open everything.
TEST_F(MissingFileLock, ReadOnlyFileExcludesNobodyExclusivelyButIsLockedShared) {
  WriteFile(m_path, "content");
  ::chmod(m_path.c_str(), 0444);
  ::chmod(m_folder.Path().c_str(), 0755);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    FileLock lock(m_path.c_str());
    {
      IPC::CWriteLocker const locker(lock);
      EXPECT_EQ(Lock::None, FileLockOf(m_path));
    }
    IPC::CReadLocker const locker(lock);
    EXPECT_EQ(Lock::Shared, FileLockOf(m_path));
  }));
}

TEST_F(MissingFileLock, UnreadableFolderExcludesNobodyFromAMissingFile) {
  ::chmod(m_folder.Path().c_str(), 0311);
  EXPECT_TRUE(AsOrdinaryUser([&] { ExpectExcludesNobody(m_path); }));
  ::chmod(m_folder.Path().c_str(), 0755);
}

TEST_F(MissingFileLock, FileInAnUnreadableFolderIsLocked) {
  WriteFile(m_path, "content");
  ::chmod(m_path.c_str(), 0666);
  ::chmod(m_folder.Path().c_str(), 0311);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    FileLock lock(m_path.c_str());
    IPC::CWriteLocker const locker(lock);
    EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
  }));
  ::chmod(m_folder.Path().c_str(), 0755);
}

// What is no fault of the path is thrown.

TEST_F(MissingFileLock, LackOfDescriptorsIsThrownAndLeavesNothingHeld) {
#if QUENDRIL_ADDRESS_SANITIZER
  GTEST_SKIP() << "the sanitizer itself needs descriptors to look at an object";
#endif
  WriteFile(m_path, "content");
  EXPECT_TRUE(InProcess([&] {
    FileLock lock(m_path.c_str());
    FileLock missing((m_path + "-missing").c_str());
    { IPC::CWriteLocker const locker(lock); }
    struct rlimit limit {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    rlim_t const before = limit.rlim_cur;
    int const highest = ::dup(0);
    ::close(highest);
    // None left for the file; one left for the file but none for the folder.
    for (int left = 0; left < 2; ++left) {
      limit.rlim_cur = static_cast<rlim_t>(highest + left);
      ::setrlimit(RLIMIT_NOFILE, &limit);
      int code = 0;
      try {
        IPC::CWriteLocker const locker(lock);
      } catch (XTOOStatus const& status) {
        code = status.Status();
      }
      limit.rlim_cur = before;
      ::setrlimit(RLIMIT_NOFILE, &limit);
      EXPECT_EQ(EMFILE, code) << left;
      EXPECT_EQ(Lock::None, FileLockOf(m_path));
    }
    IPC::CWriteLocker const locker(lock);
    return FileLockOf(m_path) == Lock::Exclusive;
  }));
}

}  // namespace
