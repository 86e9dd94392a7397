// Opening a CTOOFile: modes, and what cannot be opened.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/CTOOFile.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

// Null is a mode too.
char const* const kModes[] = {"rbc", "rb", "r+bc", "r+b", "wbc", "wb", nullptr};

std::string NameOf(char const* mode) { return mode == nullptr ? "null mode" : mode; }

std::string Read(CTOOFile const& file, unsigned int count) {
  std::string bytes(count, '?');
  bytes.resize(file.Read(bytes.data(), count));
  return bytes;
}

unsigned int Write(CTOOFile& file, std::string const& bytes) {
  return file.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

class CTOOFileOpening : public testing::Test {
 protected:
  std::unique_ptr<CTOOFile> Open(char const* mode, bool flag = false) const {
    return std::make_unique<CTOOFile>(m_path.c_str(), mode, flag);
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "file";
};

// Modes.

TEST_F(CTOOFileOpening, ReadModeReadsAnExistingFile) {
  for (char const* const mode : {"rbc", "rb"}) {
    WriteFile(m_path, "content");
    auto const file = Open(mode);
    EXPECT_EQ(0, file->Status());
    EXPECT_EQ("content", Read(*file, 100));
    EXPECT_EQ(0, file->Status());
  }
}

TEST_F(CTOOFileOpening, WriteModeWithAPlusReadsToo) {
  WriteFile(m_path, "content");
  auto const file = Open("w+bc");
  EXPECT_EQ("", ReadFile(m_path));
  EXPECT_EQ(3U, Write(*file, "new"));
  EXPECT_EQ(0U, file->Seek(0, 0));
  EXPECT_EQ("new", Read(*file, 100));
  EXPECT_EQ(0, file->Status());
}

TEST_F(CTOOFileOpening, ReadModeDoesNotWrite) {
  WriteFile(m_path, "content");
  auto const file = Open("rbc");
  EXPECT_EQ(0U, Write(*file, "x"));
  EXPECT_NE(0, file->Status());
  file->Clear();
  file->Truncate();
  EXPECT_NE(0, file->Status());
  file->Close();
  EXPECT_EQ("content", ReadFile(m_path));
}

TEST_F(CTOOFileOpening, UpdateModeReadsAndWritesWithoutEmptying) {
  for (char const* const mode : {"r+bc", "r+b"}) {
    WriteFile(m_path, "content");
    auto const file = Open(mode);
    EXPECT_EQ(7U, file->Length());
    EXPECT_EQ("con", Read(*file, 3));
    EXPECT_EQ(2U, Write(*file, "TE"));
    EXPECT_EQ("nt", Read(*file, 100));
    file->Close();
    EXPECT_EQ("conTEnt", ReadFile(m_path));
  }
}

TEST_F(CTOOFileOpening, ReadAndUpdateModesMakeNoFile) {
  for (char const* const mode : {"rbc", "rb", "r+bc", "r+b"}) {
    auto const file = Open(mode);
    EXPECT_EQ(ENOENT, file->Status()) << mode;
    EXPECT_TRUE(file->IsError());
    EXPECT_EQ(m_path, file->ErrorMessage());
    EXPECT_FALSE(IsThere(m_path)) << mode;
  }
}

TEST_F(CTOOFileOpening, WriteModeMakesAMissingFile) {
  for (char const* const mode : {"wbc", "wb"}) {
    auto const file = Open(mode);
    EXPECT_EQ(0, file->Status());
    EXPECT_EQ("", ReadFile(m_path));
    EXPECT_EQ(3U, Write(*file, "new"));
    file->Close();
    EXPECT_EQ("new", ReadFile(m_path));
    std::filesystem::remove(m_path);
  }
}

TEST_F(CTOOFileOpening, WriteModeEmptiesAnExistingFileAtOnce) {
  for (char const* const mode : {"wbc", "wb"}) {
    WriteFile(m_path, "content");
    auto const file = Open(mode);
    EXPECT_EQ("", ReadFile(m_path));
    EXPECT_EQ(0U, file->Length());
    EXPECT_EQ(0U, file->CurPos());
  }
}

TEST_F(CTOOFileOpening, NullModeMakesAMissingFileEmpty) {
  for (bool const flag : {true, false}) {
    { EXPECT_EQ(0, Open(nullptr, flag)->Status()); }
    EXPECT_EQ("", ReadFile(m_path));
    std::filesystem::remove(m_path);
  }
}

TEST_F(CTOOFileOpening, NullModeReadsAndWritesWithoutEmptying) {
  WriteFile(m_path, "content");
  auto const file = Open(nullptr, true);
  EXPECT_EQ("con", Read(*file, 3));
  EXPECT_EQ(2U, Write(*file, "TE"));
  file->Close();
  EXPECT_EQ("conTEnt", ReadFile(m_path));
}

TEST_F(CTOOFileOpening, ModeThatIsNoneFailsAndMakesNothing) {
  for (char const* const mode : {"", "c", "x", "+"}) {
    EXPECT_NE(0, Open(mode)->Status()) << mode;
  }
  EXPECT_TRUE(m_folder.Names().empty());
}

TEST_F(CTOOFileOpening, NewFileHasTheUsualRights) {
  for (mode_t const mask : {0U, 022U, 077U}) {
    for (char const* const mode : {static_cast<char const*>("wbc"), kModes[6]}) {
      EXPECT_TRUE(InProcess([&] {
        ::umask(mask);
        static_cast<void>(Open(mode));
        EXPECT_EQ(0666 & ~mask, StatOf(m_path).st_mode & 07777) << NameOf(mode);
        std::filesystem::remove(m_path);
        return true;
      }));
    }
  }
}

// Opens that fail.

struct BadPath {
  std::string path;
  int code;
};

std::vector<BadPath> BadPaths(TempFolder const& folder) {
  WriteFile(folder / "plain", "");
  std::filesystem::create_directory(folder / "folder");
  std::filesystem::create_symlink(folder / "loop", folder / "loop");
  return {{"", ENOENT},
          {folder / "no/file", ENOENT},
          {folder / "plain/file", ENOTDIR},
          {folder / "plain/", ENOTDIR},
          {folder / "loop", ELOOP},
          {folder / "folder", EISDIR},
          {folder / "folder/", EISDIR},
          {folder / std::string(300, 'x'), ENAMETOOLONG},
          {folder.Path() + "/" + std::string(5000, '/') + "plain", ENAMETOOLONG}};
}

TEST_F(CTOOFileOpening, FailedOpenIsInTheStatusWithoutTheFlag) {
  int const before = CountDescriptors();
  for (BadPath const& bad : BadPaths(m_folder)) {
    for (char const* const mode : kModes) {
      // The kernel says EISDIR to whoever would create a file by a name that ends in a slash.
      bool const creates = mode == nullptr || *mode == 'w';
      int const code = creates && bad.code == ENOTDIR && bad.path.back() == '/' ? EISDIR : bad.code;
      CTOOFile const file(bad.path.c_str(), mode, false);
      EXPECT_EQ(code, file.Status()) << bad.path << ' ' << NameOf(mode);
      EXPECT_EQ(bad.path, file.ErrorMessage());
      EXPECT_EQ(before, CountDescriptors());
    }
  }
}

TEST_F(CTOOFileOpening, FailedOpenIsThrownWithTheFlag) {
  int const before = CountDescriptors();
  for (BadPath const& bad : BadPaths(m_folder)) {
    try {
      CTOOFile const file(bad.path.c_str(), "rbc", true);
      ADD_FAILURE() << "nothing was thrown for " << bad.path;
    } catch (XTOOFile const& thrown) {
      EXPECT_EQ(bad.code, thrown.Status()) << bad.path;
      EXPECT_EQ(bad.path, thrown.ErrorMessage());
      EXPECT_NO_THROW(thrown.SetError(1));  // Its flag is false.
    }
    EXPECT_EQ(before, CountDescriptors());
  }
}

// Shows the flag of another status.
class Flagged : public XTOOStatus {
 public:
  explicit Flagged(XTOOStatus const& other) : XTOOStatus(other) {}
  bool IsFlagged() const { return Flag; }
};

TEST_F(CTOOFileOpening, FlagIsThatOfTheStatus) {
  EXPECT_TRUE(Flagged(*Open(nullptr, true)).IsFlagged());
  EXPECT_FALSE(Flagged(*Open(nullptr, false)).IsFlagged());
}

TEST_F(CTOOFileOpening, NullNameIsTheEmptyName) {
  for (char const* const mode : kModes) {
    CTOOFile const file(nullptr, mode, false);
    EXPECT_EQ(ENOENT, file.Status());
    EXPECT_STREQ("", file.ErrorMessage());
  }
}

TEST_F(CTOOFileOpening, FifoFailsAndWaitsForNobody) {
  ASSERT_EQ(0, ::mkfifo(m_path.c_str(), 0666));
  for (char const* const mode : kModes) {
    EXPECT_TRUE(InProcess([&] {
      int const before = CountDescriptors();
      EXPECT_NE(0, Open(mode)->Status()) << NameOf(mode);
      EXPECT_EQ(before, CountDescriptors());
      return true;
    }));
  }
}

TEST_F(CTOOFileOpening, SocketFails) {
  int const socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  struct sockaddr_un address {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(m_path.size(), sizeof address.sun_path);
  std::memcpy(address.sun_path, m_path.c_str(), m_path.size() + 1);
  ASSERT_EQ(0, ::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address));
  ::close(socket);
  for (char const* const mode : kModes) {
    EXPECT_NE(0, Open(mode)->Status()) << NameOf(mode);
  }
}

TEST_F(CTOOFileOpening, HandleThatIsNotOpenDoesNothing) {
  auto const file = Open("r+bc");
  EXPECT_EQ(ENOENT, file->Status());
  EXPECT_EQ("", Read(*file, 10));
  EXPECT_EQ("", Read(*file, 100000));
  EXPECT_EQ(0U, Write(*file, "bytes"));
  EXPECT_EQ(0U, file->Length());
  EXPECT_EQ(0U, file->CurPos());
  file->Truncate();
  file->Close();
  EXPECT_NE(0, file->Status());
  EXPECT_TRUE(m_folder.Names().empty());
}

// Root may open everything.
TEST_F(CTOOFileOpening, MissingRightsAreInTheStatus) {
  WriteFile(m_path, "content");
  ::chmod(m_folder.Path().c_str(), 0755);
  ::chmod(m_path.c_str(), 0444);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    EXPECT_EQ(0, Open("rbc")->Status());
    EXPECT_EQ(EACCES, Open("r+bc")->Status());
    EXPECT_EQ(EACCES, Open("wbc")->Status());
    EXPECT_EQ(EACCES, Open(nullptr)->Status());
  }));
  EXPECT_EQ("content", ReadFile(m_path));
}

}  // namespace
