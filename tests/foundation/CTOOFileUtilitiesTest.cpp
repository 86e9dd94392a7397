// CTOOFile's static members but CopyFile, which has a file of its own.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/CTOOFile.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

using Ticks = unsigned long;

Ticks TicksOf(CTOODateTime const& time) {
  CTOOFileTime const fileTime(time);
  return (static_cast<Ticks>(fileTime.dwHighDateTime) << 32) | fileTime.dwLowDateTime;
}

class CTOOFileUtilities : public testing::Test {
 protected:
  CTOOFileUtilities() {
    WriteFile(m_file, "content");
    std::filesystem::create_directory(m_subFolder);
    std::filesystem::create_symlink(m_file, m_fileLink);
    std::filesystem::create_symlink(m_subFolder, m_folderLink);
    std::filesystem::create_symlink(m_missing, m_danglingLink);
    std::filesystem::create_symlink(m_loop, m_loop);
    EXPECT_EQ(0, ::mkfifo(m_fifo.c_str(), 0666));
  }

  TempFolder m_folder;
  std::string const m_missing = m_folder / "missing";
  std::string const m_file = m_folder / "file";
  std::string const m_subFolder = m_folder / "folder";
  std::string const m_fileLink = m_folder / "link-to-file";
  std::string const m_folderLink = m_folder / "link-to-folder";
  std::string const m_danglingLink = m_folder / "link-to-nothing";
  std::string const m_loop = m_folder / "loop";
  std::string const m_fifo = m_folder / "fifo";

  // What is there, what is not, and what asking about the latter meets.
  struct Missing {
    std::string path;
    int code;
  };
  std::vector<std::string> const m_allThere = {m_file,      m_subFolder,  m_subFolder + "/",
                                               m_fileLink,  m_folderLink, m_fifo,
                                               "/dev/null", "/",          "."};
  std::vector<Missing> const m_allMissing = {
      {"", ENOENT},
      {m_missing, ENOENT},
      {m_missing + "/file", ENOENT},
      {m_danglingLink, ENOENT},
      {m_file + "/file", ENOTDIR},
      {m_file + "/", ENOTDIR},
      {m_loop, ELOOP},
      {m_loop + "/file", ELOOP},
      {m_folder / std::string(256, 'x'), ENAMETOOLONG},
      {m_folder.Path() + std::string(5000, '/') + "file", ENAMETOOLONG}};
};

// Calls the utility with a status of each kind: filled by the one, thrown by the other.
void ExpectFailure(int code, std::string const& text,
                   std::function<void(XTOOFile const&)> const& utility) {
  int const before = CountDescriptors();
  XTOOFile const filled(false);
  EXPECT_NO_THROW(utility(filled));
  EXPECT_TRUE(filled.IsError()) << text;
  EXPECT_EQ(code, filled.Status()) << text;
  EXPECT_EQ(text, filled.ErrorMessage());
  XTOOFile const thrower(true);
  try {
    utility(thrower);
    ADD_FAILURE() << "nothing was thrown: " << text;
  } catch (XTOOStatus const& thrown) {
    EXPECT_EQ(code, thrown.Status()) << text;
    EXPECT_EQ(text, thrown.ErrorMessage());
    EXPECT_NO_THROW(thrown.SetError(EIO));  // Its flag is false.
  }
  EXPECT_EQ(before, CountDescriptors());
}

// Existence.

TEST_F(CTOOFileUtilities, WhateverIsThereExists) {
  int const before = CountDescriptors();
  for (std::string const& path : m_allThere) {
    EXPECT_TRUE(CTOOFile::IsExists(path.c_str())) << path;
    EXPECT_TRUE(CTOOFile::IsExists(CTOOString(path.c_str()))) << path;
    EXPECT_TRUE(CTOOFile::IsExistsEx(CTOOString(path.c_str()))) << path;
  }
  EXPECT_EQ(before, CountDescriptors());
}

TEST_F(CTOOFileUtilities, WhatIsNotThereDoesNotExist) {
  for (Missing const& missing : m_allMissing) {
    EXPECT_FALSE(CTOOFile::IsExists(missing.path.c_str())) << missing.path;
    EXPECT_FALSE(CTOOFile::IsExists(CTOOString(missing.path.c_str()))) << missing.path;
    EXPECT_FALSE(CTOOFile::IsExistsEx(CTOOString(missing.path.c_str()))) << missing.path;
    EXPECT_FALSE(CTOOFile::IsFolder(missing.path.c_str())) << missing.path;
  }
}

TEST_F(CTOOFileUtilities, ExistenceIsAskedAnew) {
  EXPECT_FALSE(CTOOFile::IsExists(m_missing.c_str()));
  WriteFile(m_missing, "");
  EXPECT_TRUE(CTOOFile::IsExists(m_missing.c_str()));
  EXPECT_TRUE(CTOOFile::IsExists(m_danglingLink.c_str()));
  std::filesystem::remove(m_missing);
  EXPECT_FALSE(CTOOFile::IsExistsEx(m_missing.c_str()));
}

TEST_F(CTOOFileUtilities, FileThatMayNotBeReadExists) {
  ::chmod(m_file.c_str(), 0);
  ::chmod(m_folder.Path().c_str(), 0755);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    EXPECT_TRUE(CTOOFile::IsExists(m_file.c_str()));
    EXPECT_TRUE(CTOOFile::IsExistsEx(m_file.c_str()));
  }));
}

// The rights that count are those that an open would have.
TEST_F(CTOOFileUtilities, WhatMayNotBeReachedDoesNotExist) {
  std::string const hidden = m_subFolder + "/file";
  WriteFile(hidden, "");
  ::chmod(m_subFolder.c_str(), 0600);
  ::chmod(m_folder.Path().c_str(), 0755);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    EXPECT_FALSE(CTOOFile::IsExists(hidden.c_str()));
    XTOOFile const status(false);
    EXPECT_EQ(0U, CTOOFile::Length(hidden.c_str(), status));
    EXPECT_EQ(EACCES, status.Status());
  }));
  ::chmod(m_subFolder.c_str(), 0700);
}

TEST_F(CTOOFileUtilities, FolderIsTold) {
  for (std::string const& path : m_allThere) {
    bool const isFolder = path == m_subFolder || path == m_subFolder + "/" ||
                          path == m_folderLink || path == "/" || path == ".";
    EXPECT_EQ(isFolder, CTOOFile::IsFolder(path.c_str())) << path;
  }
}

TEST_F(CTOOFileUtilities, NullNameIsTheEmptyName) {
  char const* const none = nullptr;
  EXPECT_FALSE(CTOOFile::IsExists(none));
  EXPECT_FALSE(CTOOFile::IsFolder(none));
  ExpectFailure(ENOENT, "", [&](XTOOFile const& status) { CTOOFile::Length(none, status); });
  ExpectFailure(ENOENT, "", [&](XTOOFile const& status) { CTOOFile::LastWriteTime(none, status); });
  ExpectFailure(ENOENT, "", [&](XTOOFile const& status) { CTOOFile::Remove(none, status); });
}

// Length.

TEST_F(CTOOFileUtilities, LengthIsTheSize) {
  for (std::size_t const size : {0UL, 1UL, 65537UL, 1048577UL}) {
    WriteFile(m_file, std::string(size, 'x'));
    XTOOFile const status(true);
    EXPECT_EQ(size, CTOOFile::Length(m_file.c_str(), status));
    EXPECT_EQ(size, CTOOFile::Length(m_fileLink.c_str(), status));
    EXPECT_FALSE(status.IsError());
  }
}

TEST_F(CTOOFileUtilities, LengthBeyondFourGigabytesIsWhole) {
  std::filesystem::resize_file(m_file, 5UL << 30);
  XTOOFile const status(false);
  EXPECT_EQ(5UL << 30, CTOOFile::Length(m_file.c_str(), status));
}

TEST_F(CTOOFileUtilities, LengthOfWhatIsMissingFails) {
  for (Missing const& missing : m_allMissing) {
    ExpectFailure(missing.code, missing.path, [&](XTOOFile const& status) {
      EXPECT_EQ(0U, CTOOFile::Length(missing.path.c_str(), status));
    });
  }
}

TEST_F(CTOOFileUtilities, LengthOfAFolderFails) {
  for (std::string const& path : {m_subFolder, m_folderLink, std::string("/")}) {
    ExpectFailure(EISDIR, path, [&](XTOOFile const& status) {
      EXPECT_EQ(0U, CTOOFile::Length(path.c_str(), status));
    });
  }
}

TEST_F(CTOOFileUtilities, LengthOfAFifoWaitsForNobody) {
  EXPECT_TRUE(InProcess([&] {
    XTOOFile const status(false);
    return CTOOFile::Length(m_fifo.c_str(), status) == 0;
  }));
}

// Write time.

void SetWriteTime(std::string const& path, timespec const& moment) {
  timespec const times[2] = {{0, UTIME_OMIT}, moment};
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, path.c_str(), times, 0));
}

TEST_F(CTOOFileUtilities, LastWriteTimeIsTheStampIn100Nanoseconds) {
  constexpr Ticks kTicksTo1970 = 116444736000000000;
  XTOOFile const status(true);
  SetWriteTime(m_file, {1000000000, 123456700});
  EXPECT_EQ(kTicksTo1970 + 10000000001234567,
            TicksOf(CTOOFile::LastWriteTime(m_file.c_str(), status)));
  SetWriteTime(m_file, {1000000000, 123456799});  // Rounded down.
  EXPECT_EQ(kTicksTo1970 + 10000000001234567,
            TicksOf(CTOOFile::LastWriteTime(m_file.c_str(), status)));
  SetWriteTime(m_file, {0, 0});
  EXPECT_EQ(kTicksTo1970, TicksOf(CTOOFile::LastWriteTime(m_file.c_str(), status)));
  EXPECT_EQ(kTicksTo1970, TicksOf(CTOOFile::LastWriteTime(m_fileLink.c_str(), status)));
  SetWriteTime(m_file, {-2, 500000000});  // 1.5 seconds before 1970.
  EXPECT_EQ(kTicksTo1970 - 15000000, TicksOf(CTOOFile::LastWriteTime(m_file.c_str(), status)));
  SetWriteTime(m_file, {-86400, 0});
  EXPECT_EQ(kTicksTo1970 - 864000000000, TicksOf(CTOOFile::LastWriteTime(m_file.c_str(), status)));
}

TEST_F(CTOOFileUtilities, LastWriteTimeOfAFolderIsToldToo) {
  XTOOFile const status(true);
  SetWriteTime(m_subFolder, {1, 0});
  EXPECT_EQ(TicksOf(CTOODateTime(1L)),
            TicksOf(CTOOFile::LastWriteTime(m_subFolder.c_str(), status)));
}

TEST_F(CTOOFileUtilities, LastWriteTimeOfWhatIsMissingFails) {
  for (Missing const& missing : m_allMissing) {
    ExpectFailure(missing.code, missing.path, [&](XTOOFile const& status) {
      CTOODateTime const time = CTOOFile::LastWriteTime(missing.path.c_str(), status);
      EXPECT_EQ(0U, TicksOf(time));
      EXPECT_FALSE(CTOOFileTime(time) > CTOOFileTime(CTOODateTime(0)));
    });
  }
}

// Removing.

TEST_F(CTOOFileUtilities, RemoveDeletesTheFile) {
  XTOOFile const status(true);
  EXPECT_TRUE(CTOOFile::Remove(m_file.c_str(), status));
  EXPECT_FALSE(IsThere(m_file));
  EXPECT_FALSE(status.IsError());
  EXPECT_TRUE(CTOOFile::Remove(m_fifo.c_str(), status));
  EXPECT_FALSE(IsThere(m_fifo));
}

TEST_F(CTOOFileUtilities, RemoveDeletesALinkAndNotWhatItNames) {
  XTOOFile const status(true);
  for (std::string const& link : {m_fileLink, m_folderLink, m_danglingLink, m_loop}) {
    EXPECT_TRUE(CTOOFile::Remove(link.c_str(), status));
    EXPECT_FALSE(IsThere(link));
  }
  EXPECT_EQ("content", ReadFile(m_file));
  EXPECT_TRUE(IsThere(m_subFolder));
}

TEST_F(CTOOFileUtilities, RemoveOfWhatIsMissingFails) {
  for (Missing const& missing : m_allMissing) {
    if (missing.path == m_danglingLink || missing.path == m_loop) {
      continue;
    }
    ExpectFailure(missing.code, missing.path, [&](XTOOFile const& status) {
      EXPECT_FALSE(CTOOFile::Remove(missing.path.c_str(), status));
    });
  }
}

TEST_F(CTOOFileUtilities, RemoveOfAFolderFails) {
  ExpectFailure(EISDIR, m_subFolder, [&](XTOOFile const& status) {
    EXPECT_FALSE(CTOOFile::Remove(m_subFolder.c_str(), status));
  });
  EXPECT_TRUE(IsThere(m_subFolder));
}

// The message may be given as the name: a caller asks again about what failed.
TEST_F(CTOOFileUtilities, NameMayBeTheTextOfTheStatus) {
  XTOOFile const status(false);
  status.Fail(EIO, m_missing.c_str());
  EXPECT_EQ(0U, CTOOFile::Length(status.ErrorMessage(), status));
  EXPECT_EQ(ENOENT, status.Status());
  EXPECT_EQ(m_missing, status.ErrorMessage());
}

}  // namespace
