// CommonContInfoFileCreater: the file that the key of its lock is derived from.

#include <sys/ipc.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <linux/capability.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/CommonContInfoFileCreater.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/FolderOfTest.h"
#include "tests/common/ProviderAndKey.h"
#include "tests/support/Files.h"
#include "tests/support/PrivateRoot.h"

namespace {

using Creater = CommonContInfoFileCreater;

class SemaphoreKey : public testing::Test {
 protected:
  // What the lock is made of.
  static std::vector<std::string> LinesOfConstruction() {
    CommonSeams seams;
    Creater const creater;
    return seams.Lines();
  }
  static std::vector<std::string> LockOver(int key) {
    return {"SemaphoreLock " + std::to_string(key)};
  }

  FolderOfTest m_folder;
};

// Gives up the right to open what the rights of a file forbid.
void ObeyFileRights() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct none[2] = {};
  if (::syscall(SYS_capset, &header, none) != 0) {
    throw std::runtime_error("cannot give up capabilities");
  }
}

TEST_F(SemaphoreKey, MissingKeyFileIsMade) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    int const descriptors = CountDescriptors();
    std::vector<std::string> const lines = LinesOfConstruction();
    EXPECT_EQ(LockOver(KeyOfKeyFile()), lines);
    EXPECT_EQ(descriptors, CountDescriptors());
    EXPECT_EQ("", ReadFile(kKeyFile));
    EXPECT_EQ(0, std::distance(std::filesystem::directory_iterator(kKeyFolder), {}) - 1);
  }));
}

TEST_F(SemaphoreKey, NewKeyFileHasItsModeLessTheUmask) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    for (mode_t const mask : {0U, 022U, 027U, 077U, 0137U, 0177U}) {
      ::umask(mask);
      { Creater const creater; }
      EXPECT_EQ(0640 & ~mask, StatOf(kKeyFile).st_mode & 07777) << mask;
      std::filesystem::remove(kKeyFile);
    }
  }));
}

TEST_F(SemaphoreKey, KeyFileThatIsThereIsNotTouched) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    WriteFile(kKeyFile, "content");
    ::chmod(kKeyFile, 0604);
    timespec const written = AgeFile(kKeyFile);
    auto const node = StatOf(kKeyFile).st_ino;
    std::vector<std::string> const lines = LinesOfConstruction();
    EXPECT_EQ(LockOver(KeyOfKeyFile()), lines);
    EXPECT_EQ("content", ReadFile(kKeyFile));
    EXPECT_TRUE(StatOf(kKeyFile).st_mtim == written);
    EXPECT_EQ(0604U, StatOf(kKeyFile).st_mode & 07777);
    EXPECT_EQ(node, StatOf(kKeyFile).st_ino);
  }));
}

// It cannot be made anew, but its key does not depend on reading it.
TEST_F(SemaphoreKey, UnreadableKeyFileIsNotTouchedAndGivesItsKey) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    WriteFile(kKeyFile, "content");
    timespec const written = AgeFile(kKeyFile);
    ::chmod(kKeyFile, 0);
    ObeyFileRights();
    ASSERT_NE(0, ::access(kKeyFile, R_OK));
    int const descriptors = CountDescriptors();
    std::vector<std::string> const lines = LinesOfConstruction();
    EXPECT_EQ(LockOver(KeyOfKeyFile()), lines);
    EXPECT_EQ(descriptors, CountDescriptors());
    EXPECT_TRUE(StatOf(kKeyFile).st_mtim == written);
    EXPECT_EQ(0U, StatOf(kKeyFile).st_mode & 07777);
    EXPECT_EQ(7, StatOf(kKeyFile).st_size);
  }));
}

// Somebody might have laid it there to have a file made elsewhere.
TEST_F(SemaphoreKey, LinkToNowhereIsNotFollowed) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    std::filesystem::create_symlink("/var/lib/elsewhere", kKeyFile);
    EXPECT_EQ(LockOver(-1), LinesOfConstruction());
    EXPECT_FALSE(IsThere("/var/lib/elsewhere"));
  }));
}

TEST_F(SemaphoreKey, KeyIsThatOfProjectX) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    { Creater const creater; }
    std::vector<std::string> const lines = LinesOfConstruction();
    EXPECT_EQ(LockOver(::ftok(kKeyFile, 120)), lines);
  }));
}

TEST_F(SemaphoreKey, MissingKeyFolderGivesTheKeyMinusOne) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    EXPECT_EQ(LockOver(-1), LinesOfConstruction());
    EXPECT_FALSE(IsThere(kKeyFolder));
    Creater creater;
    creater.CreateIfShould();
    EXPECT_TRUE(IsThere(m_folder.CommonFile()));
  }));
}

TEST_F(SemaphoreKey, KeyFolderThatMayNotBeWrittenGivesTheKeyMinusOne) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    ::chmod(kKeyFolder, 0555);
    ObeyFileRights();
    EXPECT_EQ(LockOver(-1), LinesOfConstruction());
    EXPECT_FALSE(IsThere(kKeyFile));
  }));
}

}  // namespace
