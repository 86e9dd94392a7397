// CommonContInfoFileCreater: the creation of the common file by one process.

#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/CommonContInfoFileCreater.h"
#include "foundation/CTOOFile.h"
#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/FolderOfTest.h"
#include "tests/common/ProviderAndKey.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/PrivateRoot.h"

namespace {

using Creater = CommonContInfoFileCreater;
using Names = std::vector<std::string>;

class CommonFileCreation : public testing::Test {
 protected:
  void ExpectOnlyTheCommonFile() const {
    EXPECT_EQ(Names{"quendril"}, m_folder.Names());
    Names names;
    for (auto const& entry : std::filesystem::directory_iterator(m_folder.VendorFolder())) {
      names.push_back(entry.path().filename());
    }
    EXPECT_EQ(Names{"cont_info.dat"}, names);
  }
  // Whether another thread gets the lock of the creation.
  static bool IsLockFree() {
    ThreadPeer peer([](PeerSide& side) {
      CommonSeams seams;
      Creater creater;
      auto* const lock = static_cast<IPC::CReadWriteLock*>(seams.Calls.front().object);
      IPC::CWriteLocker const locker(*lock);
      side.Reached();
    });
    return peer.AwaitStep();
  }

  FolderOfTest m_folder;
};

int CodeOf(std::function<void()> const& call) {
  try {
    call();
  } catch (XTOOFile const& status) {
    return status.Status();
  }
  return 0;
}

// What it becomes.

TEST_F(CommonFileCreation, WithoutAProviderItIsEmpty) {
  for (bool const ifShould : {true, false}) {
    std::filesystem::remove_all(m_folder.VendorFolder());
    Creater creater;
    ifShould ? creater.CreateIfShould() : creater.CreateCommonContInfoFile();
    EXPECT_EQ("", ReadFile(m_folder.CommonFile()));
    ExpectOnlyTheCommonFile();
  }
}

TEST_F(CommonFileCreation, ProvidersFileIsLookedFor) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    Creater const creater;
    EXPECT_FALSE(creater.DoesRegisteredProvContInfoFileExist());
    MakeProviderFile("");
    EXPECT_TRUE(creater.DoesRegisteredProvContInfoFileExist());
    std::filesystem::remove(kProviderFile);
    EXPECT_FALSE(creater.DoesRegisteredProvContInfoFileExist());
    std::filesystem::create_directory(kProviderFile);
    EXPECT_TRUE(creater.DoesRegisteredProvContInfoFileExist());
  }));
}

TEST_F(CommonFileCreation, ProvidersFileIsCopied) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  for (unsigned int const size : {0U, 1U, 12U, 300000U}) {
    EXPECT_TRUE(PrivateRoot::Run([&] {
      std::filesystem::remove_all(m_folder.VendorFolder());
      std::string const content = Pattern(size, 1);
      MakeProviderFile(content);
      timespec const written = AgeFile(kProviderFile);
      Creater creater;
      creater.CreateIfShould();
      EXPECT_EQ(content, ReadFile(m_folder.CommonFile()));
      ExpectOnlyTheCommonFile();
      EXPECT_EQ(content, ReadFile(kProviderFile));
      EXPECT_TRUE(StatOf(kProviderFile).st_mtim == written);
    }));
  }
}

TEST_F(CommonFileCreation, CopyGetsItsArguments) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeProviderFile("content");
    CommonSeams seams;
    seams.CopyFile = [&](char const* from, char const* to, bool flag, XTOOFile const& status,
                         bool reserved) {
      EXPECT_STREQ(kProviderFile, from);
      EXPECT_EQ(m_folder.CommonFile(), to);
      EXPECT_TRUE(flag);
      EXPECT_FALSE(reserved);
      EXPECT_NO_THROW(status.Fail(4711, "not raised"));
      status.Clear();
      return true;
    };
    Creater const creater;
    creater.CreateCommonContInfoFile();
    EXPECT_EQ((Names{"SemaphoreLock", "CreateFolder", "CopyFile"}), seams.Names());
  }));
}

// The status counts, not the result: a copy that says nothing of an error is the last step.
TEST_F(CommonFileCreation, CopyIsJudgedByItsStatus) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeProviderFile("content");
    CommonSeams seams;
    Creater const creater;
    seams.CopyFile = [](char const*, char const*, bool, XTOOFile const&, bool) { return false; };
    creater.CreateCommonContInfoFile();
    EXPECT_FALSE(IsThere(m_folder.CommonFile()));
    seams.CopyFile = [](char const*, char const* to, bool, XTOOFile const& status, bool) {
      status.Fail(EIO, to);
      return true;
    };
    creater.CreateCommonContInfoFile();
    EXPECT_EQ("", ReadFile(m_folder.CommonFile()));
  }));
}

TEST_F(CommonFileCreation, FailedCopyLeavesAnEmptyFile) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeProviderFile("");
    std::filesystem::remove(kProviderFile);
    std::filesystem::create_directory(kProviderFile);  // It is there, but no file.
    Creater creater;
    EXPECT_NO_THROW(creater.CreateIfShould());
    EXPECT_EQ("", ReadFile(m_folder.CommonFile()));
    ExpectOnlyTheCommonFile();
    EXPECT_TRUE(IsLockFree());
  }));
}

TEST_F(CommonFileCreation, CopyOnAFullDiskLeavesAnEmptyFile) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    ASSERT_EQ(0, ::mount("tmpfs", m_folder.Path().c_str(), "tmpfs", 0, "size=8192"));
    MakeProviderFile(Pattern(100000, 1));
    Creater creater;
    EXPECT_NO_THROW(creater.CreateIfShould());
    EXPECT_EQ("", ReadFile(m_folder.CommonFile()));
    ExpectOnlyTheCommonFile();
  }));
}

TEST_F(CommonFileCreation, MissingFolderIsMadeFirst) {
  CommonSeams seams;
  Creater creater;
  creater.CreateIfShould();
  EXPECT_EQ((Names{"SemaphoreLock", "WriteLock", "CreateFolder", "Open", "WriteUnlock"}),
            seams.Names());
  EXPECT_EQ(" " + m_folder.CommonFile(), seams.Calls[3].text);  // No mode.
  std::filesystem::remove(m_folder.CommonFile());
  seams.Calls.clear();
  creater.CreateIfShould();
  EXPECT_EQ((Names{"WriteLock", "Open", "WriteUnlock"}), seams.Names());
  ExpectOnlyTheCommonFile();
}

TEST_F(CommonFileCreation, LeavesNoDescriptor) {
  int const descriptors = CountDescriptors();
  Creater creater;
  creater.CreateIfShould();
  EXPECT_EQ(descriptors, CountDescriptors());
}

// A file that is there.

TEST_F(CommonFileCreation, ExistingFileIsNotTouched) {
  m_folder.MakeCommonFile("content");
  timespec const written = AgeFile(m_folder.CommonFile());
  auto const node = StatOf(m_folder.CommonFile()).st_ino;
  CommonSeams seams;
  Creater creater;
  creater.CreateIfShould();
  EXPECT_EQ("content", ReadFile(m_folder.CommonFile()));
  EXPECT_TRUE(StatOf(m_folder.CommonFile()).st_mtim == written);
  EXPECT_EQ(node, StatOf(m_folder.CommonFile()).st_ino);
  EXPECT_EQ((Names{"SemaphoreLock", "WriteLock", "WriteUnlock"}), seams.Names());
  EXPECT_EQ(seams.Calls[0].object, seams.Calls[1].object);
}

TEST_F(CommonFileCreation, ExistingEmptyFileIsNotSeeded) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  m_folder.MakeCommonFile("");
  timespec const written = AgeFile(m_folder.CommonFile());
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeProviderFile("content");
    Creater creater;
    creater.CreateIfShould();
    EXPECT_EQ("", ReadFile(m_folder.CommonFile()));
    EXPECT_TRUE(StatOf(m_folder.CommonFile()).st_mtim == written);
  }));
}

TEST_F(CommonFileCreation, FolderInItsPlaceIsLeftAlone) {
  std::filesystem::create_directories(m_folder.CommonFile());
  Creater creater;
  EXPECT_NO_THROW(creater.CreateIfShould());
  EXPECT_TRUE(std::filesystem::is_empty(m_folder.CommonFile()));
}

// Failures.

TEST_F(CommonFileCreation, FolderThatCannotBeMadeEndsIt) {
  WriteFile(m_folder.VendorFolder(), "a file");
  XTOOFile const filled(false);
  CTOOFolder::Create(m_folder.VendorFolder().c_str(), filled);
  CommonSeams seams;
  Creater creater;
  EXPECT_EQ(filled.Status(), CodeOf([&] { creater.CreateIfShould(); }));
  EXPECT_EQ(filled.Status(), CodeOf([&] { creater.CreateCommonContInfoFile(); }));
  EXPECT_EQ((Names{"SemaphoreLock", "WriteLock", "CreateFolder", "WriteUnlock", "CreateFolder"}),
            seams.Names());
  EXPECT_EQ("a file", ReadFile(m_folder.VendorFolder()));
  EXPECT_TRUE(IsLockFree());
}

TEST_F(CommonFileCreation, FolderOnAFullDiskEndsIt) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    ASSERT_EQ(0, ::mount("tmpfs", m_folder.Path().c_str(), "tmpfs", 0, "nr_inodes=1"));
    Creater creater;
    EXPECT_EQ(ENOSPC, CodeOf([&] { creater.CreateIfShould(); }));
    EXPECT_EQ(Names{}, m_folder.Names());
    EXPECT_TRUE(IsLockFree());
  }));
}

TEST_F(CommonFileCreation, FileOnAFullDiskEndsIt) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    ASSERT_EQ(0, ::mount("tmpfs", m_folder.Path().c_str(), "tmpfs", 0, "nr_inodes=2"));
    Creater creater;
    EXPECT_EQ(ENOSPC, CodeOf([&] { creater.CreateIfShould(); }));
    EXPECT_FALSE(IsThere(m_folder.CommonFile()));
    EXPECT_TRUE(IsLockFree());
  }));
}

TEST_F(CommonFileCreation, FileThatCannotBeMadePassesTheFailureOut) {
  m_folder.MakeCommonFile("");
  std::filesystem::remove(m_folder.CommonFile());
  std::filesystem::create_symlink("no/such/folder/file", m_folder.CommonFile());
  Creater creater;
  EXPECT_EQ(ENOENT, CodeOf([&] { creater.CreateIfShould(); }));
  EXPECT_EQ(ENOENT, CodeOf([&] { creater.CreateCommonContInfoFile(); }));
  EXPECT_TRUE(IsLockFree());
}

TEST_F(CommonFileCreation, FolderThatMayNotBeUsedPassesTheRefusalOut) {
  m_folder.MakeCommonFile("content");
  ::chmod(m_folder.Path().c_str(), 0755);
  for (mode_t const mode : {0U, 0600U}) {  // Not even the look whether there is a file.
    ::chmod(m_folder.VendorFolder().c_str(), mode);
    EXPECT_TRUE(AsOrdinaryUser([] {
      Creater creater;
      EXPECT_EQ(EACCES, CodeOf([&] { creater.CreateIfShould(); }));
      EXPECT_TRUE(IsLockFree());
    }));
  }
  ::chmod(m_folder.VendorFolder().c_str(), 0755);
  EXPECT_EQ("content", ReadFile(m_folder.CommonFile()));
}

TEST_F(CommonFileCreation, FolderThatMayNotBeWrittenPassesTheRefusalOut) {
  std::filesystem::create_directory(m_folder.VendorFolder());
  ::chmod(m_folder.Path().c_str(), 0755);
  ::chmod(m_folder.VendorFolder().c_str(), 0555);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    Creater creater;
    EXPECT_EQ(EACCES, CodeOf([&] { creater.CreateIfShould(); }));
    EXPECT_FALSE(IsThere(m_folder.CommonFile()));
    EXPECT_TRUE(IsLockFree());
  }));
}

// Throws from every call that is made under the lock.
TEST_F(CommonFileCreation, AnyExceptionReleasesTheLock) {
  CommonSeams seams;
  Creater creater;
  for (std::string const& name : Names{"CreateFolder", "Open"}) {
    std::filesystem::remove_all(m_folder.VendorFolder());
    bool isLocked = false;
    seams.Calls.clear();
    seams.Before = [&](Seams::Call const& call) {
      isLocked = isLocked || call.name == "WriteLock";
      if (isLocked && call.name == name) {
        throw std::runtime_error(name);
      }
    };
    EXPECT_THROW(creater.CreateIfShould(), std::runtime_error) << name;
    EXPECT_EQ("WriteUnlock", seams.Names().back());
    seams.Before = nullptr;
    EXPECT_TRUE(IsLockFree());
  }
}

}  // namespace
