// CTOOFile::CopyFile.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/CTOOFile.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/TempFolder.h"

namespace {

constexpr bool kOverwrite = true;
constexpr bool kKeep = false;

int CopyFile(std::string const& from, std::string const& to, bool overwrite) {
  XTOOFile const status(false);
  bool const copied = CTOOFile::CopyFile(from.c_str(), to.c_str(), overwrite, status, false);
  EXPECT_EQ(copied, status.Status() == 0);
  EXPECT_EQ(!copied, status.IsError());
  return status.Status();
}

class CopyFileTest : public testing::Test {
 protected:
  CopyFileTest() { WriteFile(m_from, "content"); }

  // Fails with the code, the target (null for none) is as before, and nothing else is left.
  void ExpectFailure(int code, std::string const& from, std::string const& to, bool overwrite) {
    std::vector<std::string> const names = m_folder.Names();
    int const descriptors = CountDescriptors();
    EXPECT_EQ(code, CopyFile(from, to, overwrite)) << from << " to " << to;
    EXPECT_EQ(names, m_folder.Names()) << from << " to " << to;
    EXPECT_EQ(descriptors, CountDescriptors());
  }
  void ExpectFailure(int code, std::string const& from, std::string const& to) {
    ExpectFailure(code, from, to, kKeep);
    ExpectFailure(code, from, to, kOverwrite);
  }

  TempFolder m_folder;
  std::string const m_from = m_folder / "from";
  std::string const m_to = m_folder / "to";
};

TEST_F(CopyFileTest, CopiesEveryByte) {
  int const descriptors = CountDescriptors();
  for (unsigned int const size : {0U, 1U, 7U, 65535U, 65536U, 65537U, 131072U, 1500000U}) {
    std::string const content = Pattern(size, size);
    WriteFile(m_from, content);
    for (bool const reserved : {true, false}) {
      XTOOFile const status(true);
      EXPECT_TRUE(CTOOFile::CopyFile(m_from.c_str(), m_to.c_str(), kKeep, status, reserved));
      EXPECT_FALSE(status.IsError());
      EXPECT_TRUE(content == ReadFile(m_to)) << size;
      EXPECT_TRUE(content == ReadFile(m_from)) << size;
      EXPECT_EQ((std::vector<std::string>{"from", "to"}), m_folder.Names());
      std::filesystem::remove(m_to);
    }
  }
  EXPECT_EQ(descriptors, CountDescriptors());
}

TEST_F(CopyFileTest, CopyIsAFileOfItsOwn) {
  EXPECT_EQ(0, CopyFile(m_from, m_to, kKeep));
  EXPECT_EQ(1U, StatOf(m_to).st_nlink);
  WriteFile(m_from, "changed");
  EXPECT_EQ("content", ReadFile(m_to));
}

TEST_F(CopyFileTest, ExistingTargetIsKeptOrOverwritten) {
  for (char const* const before : {"", "old", "a much longer old content"}) {
    WriteFile(m_to, before);
    ExpectFailure(EEXIST, m_from, m_to, kKeep);
    EXPECT_EQ(before, ReadFile(m_to));
    EXPECT_EQ(0, CopyFile(m_from, m_to, kOverwrite));
    EXPECT_EQ("content", ReadFile(m_to));
    EXPECT_EQ((std::vector<std::string>{"from", "to"}), m_folder.Names());
  }
}

TEST_F(CopyFileTest, OverwriteMakesAMissingTarget) {
  EXPECT_EQ(0, CopyFile(m_from, m_to, kOverwrite));
  EXPECT_EQ("content", ReadFile(m_to));
}

TEST_F(CopyFileTest, FollowsALinkToTheSource) {
  std::filesystem::create_symlink(m_from, m_folder / "link");
  EXPECT_EQ(0, CopyFile(m_folder / "link", m_to, kKeep));
  EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(m_to)));
  EXPECT_EQ("content", ReadFile(m_to));
}

TEST_F(CopyFileTest, CopyOntoItselfKeepsTheContent) {
  EXPECT_EQ(0, CopyFile(m_from, m_from, kOverwrite));
  EXPECT_EQ("content", ReadFile(m_from));
  ExpectFailure(EEXIST, m_from, m_from, kKeep);
  EXPECT_EQ("content", ReadFile(m_from));
}

TEST_F(CopyFileTest, TakesNamesRelativeToTheCurrentFolder) {
  EXPECT_TRUE(InProcess([&] {
    std::filesystem::current_path(m_folder.Path());
    EXPECT_EQ(0, CopyFile("from", "to", kKeep));
    return true;
  }));
  EXPECT_EQ("content", ReadFile(m_to));
  EXPECT_EQ((std::vector<std::string>{"from", "to"}), m_folder.Names());
}

TEST_F(CopyFileTest, NewFileHasTheUsualRights) {
  for (mode_t const mask : {0U, 022U, 077U}) {
    EXPECT_TRUE(InProcess([&] {
      ::umask(mask);
      EXPECT_EQ(0, CopyFile(m_from, m_to, kOverwrite));
      EXPECT_EQ(0666 & ~mask, StatOf(m_to).st_mode & 07777);
      return true;
    }));
  }
}

// Failures.

TEST_F(CopyFileTest, MissingSourceFailsAndMakesNoTarget) {
  ExpectFailure(ENOENT, m_folder / "missing", m_to);
  ExpectFailure(ENOENT, "", m_to);
  ExpectFailure(ENOENT, m_folder / "no/file", m_to);
  ExpectFailure(ENOTDIR, m_from + "/file", m_to);
  WriteFile(m_to, "old");
  ExpectFailure(ENOENT, m_folder / "missing", m_to);
  EXPECT_EQ("old", ReadFile(m_to));
}

bool WithFileSizeLimit(rlim_t size, std::function<void()> const& body) {
  return InProcess([&] {
    struct rlimit const limit{size, size};
    EXPECT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    body();
    return true;
  });
}

TEST_F(CopyFileTest, SourceThatIsNoFileFails) {
  std::filesystem::create_directory(m_folder / "folder");
  std::filesystem::create_symlink(m_folder / "loop", m_folder / "loop");
  ExpectFailure(EISDIR, m_folder / "folder", m_to);
  ExpectFailure(ELOOP, m_folder / "loop", m_to);
  ExpectFailure(ENAMETOOLONG, m_folder / std::string(256, 'x'), m_to);
}

TEST_F(CopyFileTest, FifoFailsAndWaitsForNobody) {
  ASSERT_EQ(0, ::mkfifo((m_folder / "fifo").c_str(), 0666));
  EXPECT_TRUE(InProcess([&] {
    ExpectFailure(ESPIPE, m_folder / "fifo", m_to);
    ExpectFailure(EEXIST, m_from, m_folder / "fifo", kKeep);
    return true;
  }));
}

// Two of them have no end; the limit of a copy that does not see it would end the process.
TEST_F(CopyFileTest, DeviceFailsAndIsNotReadWithoutEnd) {
  for (char const* const device : {"/dev/zero", "/dev/full", "/dev/null"}) {
    EXPECT_TRUE(WithFileSizeLimit(65536, [&] { ExpectFailure(EINVAL, device, m_to); })) << device;
  }
}

TEST_F(CopyFileTest, TargetThatCannotBeMadeFails) {
  std::filesystem::create_directory(m_folder / "folder");
  ExpectFailure(ENOENT, m_from, m_folder / "no/file");
  ExpectFailure(ENOTDIR, m_from, m_from + "/file");
  ExpectFailure(EEXIST, m_from, m_folder / "folder", kKeep);
  ExpectFailure(EISDIR, m_from, m_folder / "folder", kOverwrite);
  ExpectFailure(ENAMETOOLONG, m_from, m_folder / std::string(256, 'x'));
  EXPECT_TRUE(std::filesystem::is_empty(m_folder / "folder"));
}

TEST_F(CopyFileTest, EmptyTargetNameFailsAndLeavesNothingInTheCurrentFolder) {
  EXPECT_TRUE(InProcess([&] {
    std::filesystem::current_path(m_folder.Path());
    ExpectFailure(ENOENT, m_from, "");
    return true;
  }));
}

TEST_F(CopyFileTest, NullNamesAreEmptyNames) {
  EXPECT_TRUE(InProcess([&] {
    std::filesystem::current_path(m_folder.Path());
    XTOOFile const status(false);
    EXPECT_FALSE(CTOOFile::CopyFile(nullptr, m_to.c_str(), kKeep, status, false));
    EXPECT_EQ(ENOENT, status.Status());
    EXPECT_FALSE(CTOOFile::CopyFile(m_from.c_str(), nullptr, kOverwrite, status, false));
    EXPECT_EQ(ENOENT, status.Status());
    EXPECT_STREQ("", status.ErrorMessage());
    return m_folder.Names() == std::vector<std::string>{"from"};
  }));
}

TEST_F(CopyFileTest, FailureIsThrownWithTheFlag) {
  XTOOFile const status(true);
  try {
    CTOOFile::CopyFile((m_folder / "missing").c_str(), m_to.c_str(), kKeep, status, false);
    FAIL() << "nothing was thrown";
  } catch (XTOOStatus const& thrown) {
    EXPECT_EQ(ENOENT, thrown.Status());
    EXPECT_NO_THROW(thrown.SetError(EIO));
  }
  WriteFile(m_to, "old");
  try {
    CTOOFile::CopyFile(m_from.c_str(), m_to.c_str(), kKeep, status, false);
    FAIL() << "nothing was thrown";
  } catch (XTOOStatus const& thrown) {
    EXPECT_EQ(EEXIST, thrown.Status());
    EXPECT_EQ(m_to, thrown.ErrorMessage());
  }
  EXPECT_EQ((std::vector<std::string>{"from", "to"}), m_folder.Names());
}

TEST_F(CopyFileTest, FolderThatMayNotBeWrittenFails) {
  ::chmod(m_folder.Path().c_str(), 0555);
  ::chmod(m_from.c_str(), 0644);
  EXPECT_TRUE(AsOrdinaryUser([&] { ExpectFailure(EACCES, m_from, m_to); }));
  ::chmod(m_folder.Path().c_str(), 0755);
}

// Whole or not at all.

TEST_F(CopyFileTest, FailureInTheMiddleLeavesNoTarget) {
  WriteFile(m_from, Pattern(300000, 1));
  for (rlim_t const size : {0UL, 1UL, 65536UL, 200000UL, 299999UL}) {
    EXPECT_TRUE(WithFileSizeLimit(size, [&] {
      std::signal(SIGXFSZ, SIG_IGN);
      ExpectFailure(EFBIG, m_from, m_to);
    })) << size;
  }
}

TEST_F(CopyFileTest, FailureInTheMiddleLeavesTheOldTarget) {
  WriteFile(m_from, Pattern(300000, 1));
  WriteFile(m_to, "old");
  EXPECT_TRUE(WithFileSizeLimit(200000, [&] {
    std::signal(SIGXFSZ, SIG_IGN);
    ExpectFailure(EFBIG, m_from, m_to);
  }));
  EXPECT_EQ("old", ReadFile(m_to));
}

TEST_F(CopyFileTest, FullDiskLeavesNothingBehind) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  TempFolder const small;
  WriteFile(m_from, Pattern(1000000, 1));
  EXPECT_TRUE(PrivateRoot::Run([&] {
    ASSERT_EQ(0, ::mount("tmpfs", small.Path().c_str(), "tmpfs", 0, "size=256k"));
    EXPECT_EQ(ENOSPC, CopyFile(m_from, small / "to", kKeep));
    EXPECT_TRUE(small.Names().empty());
    WriteFile(small / "to", "old");
    EXPECT_EQ(ENOSPC, CopyFile(m_from, small / "to", kOverwrite));
    EXPECT_EQ(std::vector<std::string>{"to"}, small.Names());
    EXPECT_EQ("old", ReadFile(small / "to"));
  }));
}

TEST_F(CopyFileTest, OverwrittenTargetIsReplacedAndNotWrittenInto) {
  WriteFile(m_to, "old");
  int const old = ::open(m_to.c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(0, CopyFile(m_from, m_to, kOverwrite));
  char bytes[10] = {};
  EXPECT_EQ(3, ::pread(old, bytes, sizeof bytes, 0));
  EXPECT_STREQ("old", bytes);
  ::close(old);
}

TEST_F(CopyFileTest, NobodySeesHalfOfIt) {
  std::string const content = Pattern(1000000, 1);
  WriteFile(m_from, content);
  std::atomic<bool> done{false};
  ThreadPeer observer([&](PeerSide& side) {
    side.Reached();
    while (!done) {
      struct stat what {};
      if (::stat(m_to.c_str(), &what) == 0 && what.st_size != static_cast<off_t>(content.size())) {
        throw std::runtime_error("a copy of " + std::to_string(what.st_size) + " bytes");
      }
    }
  });
  ASSERT_TRUE(observer.AwaitStep());
  for (int round = 0; round < 40; ++round) {
    bool const overwrite = round % 2 == 1;
    if (!overwrite && IsThere(m_to)) {
      std::filesystem::remove(m_to);
    }
    EXPECT_EQ(0, CopyFile(m_from, m_to, overwrite));
  }
  done = true;
  EXPECT_TRUE(observer.Finish());
}

// A process that was killed leaves its copy behind; a later one may have its number.
TEST_F(CopyFileTest, LeftOverCopiesAreNotInTheWay) {
  EXPECT_TRUE(InProcess([&] {
    for (int number = 0; number < 50; ++number) {
      WriteFile(m_folder / (".copy-" + std::to_string(::getpid()) + "-" + std::to_string(number)),
                "left over");
    }
    XTOOFile const status(false);
    EXPECT_TRUE(CTOOFile::CopyFile(m_from.c_str(), m_to.c_str(), true, status, false));
    return !status.IsError();
  }));
  EXPECT_EQ(ReadFile(m_from), ReadFile(m_to));
  EXPECT_EQ(52U, m_folder.Names().size());
}

// As a written file is: not by the kernel's own stamps, which lag behind.
TEST_F(CopyFileTest, IsStampedWithTheMomentOfTheCopy) {
  WriteFile(m_from, "content");
  for (int round = 0; round < 20; ++round) {
    timespec before{};
    ::clock_gettime(CLOCK_REALTIME, &before);
    XTOOFile const status(true);
    CTOOFile::CopyFile(m_from.c_str(), m_to.c_str(), true, status, false);
    timespec const stamp = StatOf(m_to).st_mtim;
    EXPECT_GE(std::make_pair(stamp.tv_sec, stamp.tv_nsec),
              std::make_pair(before.tv_sec, before.tv_nsec));
  }
}

TEST_F(CopyFileTest, CopiesAtTheSameTimeDoNotMeet) {
  WriteFile(m_from, Pattern(300000, 1));
  std::vector<std::unique_ptr<ThreadPeer>> peers;
  for (int i = 0; i < 4; ++i) {
    peers.push_back(std::make_unique<ThreadPeer>([&, i](PeerSide&) {
      for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(0, CopyFile(m_from, m_folder / ("to-" + std::to_string(i)), kOverwrite));
      }
    }));
  }
  for (auto& peer : peers) {
    EXPECT_TRUE(peer->Finish());
  }
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(Pattern(300000, 1) == ReadFile(m_folder / ("to-" + std::to_string(i))));
  }
}

// Of several that make one target without overwriting, one does.
TEST_F(CopyFileTest, TargetIsMadeOnceByManyAtOnce) {
  std::vector<std::unique_ptr<ProcessPeer>> peers;
  for (int i = 0; i < 4; ++i) {
    peers.push_back(std::make_unique<ProcessPeer>([&](PeerSide& side) {
      side.AwaitGo();
      if (CopyFile(m_from, m_to, kKeep) == 0) {
        side.Reached();
      }
    }));
  }
  for (auto& peer : peers) {
    peer->Go();
  }
  int made = 0;
  for (auto& peer : peers) {
    made += peer->AwaitStep() ? 1 : 0;
    EXPECT_TRUE(peer->Finish());
  }
  EXPECT_EQ(1, made);
  EXPECT_EQ((std::vector<std::string>{"from", "to"}), m_folder.Names());
}

// The signal comes in the middle of the copy, with both of its descriptors open.
volatile sig_atomic_t g_open = 0;
volatile sig_atomic_t g_inherited = 0;

void CountOpen(int /*signal*/) {
  int const error = errno;
  g_open = 0;
  g_inherited = 0;
  for (int fd = 3; fd < 256; ++fd) {
    int const flags = ::fcntl(fd, F_GETFD);
    if (flags != -1) {
      g_open = g_open + 1;
      g_inherited = g_inherited + ((flags & FD_CLOEXEC) == 0 ? 1 : 0);
    }
  }
  errno = error;
}

TEST_F(CopyFileTest, DescriptorsAreForNoChild) {
  WriteFile(m_from, Pattern(100000, 1));
  EXPECT_TRUE(WithFileSizeLimit(50000, [&] {
    CountOpen(0);
    int const openBefore = g_open;
    int const inheritedBefore = g_inherited;
    std::signal(SIGXFSZ, CountOpen);
    EXPECT_EQ(EFBIG, CopyFile(m_from, m_to, kKeep));
    EXPECT_EQ(openBefore + 2, g_open);
    EXPECT_EQ(inheritedBefore, g_inherited);
  }));
}

}  // namespace
