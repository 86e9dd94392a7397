// CTOOFolder.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/CTOOFile.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

class CTOOFolderCreate : public testing::Test {
 protected:
  CTOOFolderCreate() {
    WriteFile(m_file, "content");
    std::filesystem::create_directory(m_subFolder);
    std::filesystem::create_symlink(m_subFolder, m_folderLink);
    std::filesystem::create_symlink(m_folder / "nothing", m_danglingLink);
    std::filesystem::create_symlink(m_loop, m_loop);
    EXPECT_EQ(0, ::mkfifo(m_fifo.c_str(), 0666));
  }

  TempFolder m_folder;
  std::string const m_missing = m_folder / "missing";
  std::string const m_file = m_folder / "file";
  std::string const m_subFolder = m_folder / "folder";
  std::string const m_folderLink = m_folder / "link-to-folder";
  std::string const m_danglingLink = m_folder / "link-to-nothing";
  std::string const m_loop = m_folder / "loop";
  std::string const m_fifo = m_folder / "fifo";
};

TEST_F(CTOOFolderCreate, MakesTheFolder) {
  XTOOFile const status(true);
  EXPECT_TRUE(CTOOFolder::Create(m_missing.c_str(), status));
  EXPECT_TRUE(std::filesystem::is_directory(m_missing));
  EXPECT_FALSE(status.IsError());
}

TEST_F(CTOOFolderCreate, MakesMissingParentsToo) {
  XTOOFile const status(true);
  for (char const* const name : {"a/b/c/d", "e/f/g/", "h//i", "./k/./l"}) {
    std::string const path = m_folder / name;
    EXPECT_TRUE(CTOOFolder::Create(path.c_str(), status));
    EXPECT_TRUE(std::filesystem::is_directory(path)) << name;
  }
  EXPECT_FALSE(status.IsError());
}

TEST_F(CTOOFolderCreate, SucceedsForAFolderThatIsThere) {
  XTOOFile const status(true);
  WriteFile(m_subFolder + "/file", "content");
  for (std::string const& path :
       {m_subFolder, m_subFolder + "/", m_folderLink, std::string("/"), std::string(".")}) {
    EXPECT_TRUE(CTOOFolder::Create(path.c_str(), status)) << path;
  }
  EXPECT_FALSE(status.IsError());
  EXPECT_EQ("content", ReadFile(m_subFolder + "/file"));
}

TEST_F(CTOOFolderCreate, FailsWhereItCannot) {
  std::vector<std::string> const before = m_folder.Names();
  for (std::string const& path :
       {std::string(), m_file, m_file + "/folder", m_file + "/", m_fifo, m_loop, m_loop + "/folder",
        m_danglingLink, m_folder / std::string(256, 'x'),
        m_folder.Path() + std::string(5000, '/') + "folder"}) {
    XTOOFile const filled(false);
    EXPECT_FALSE(CTOOFolder::Create(path.c_str(), filled)) << path;
    EXPECT_TRUE(filled.IsError()) << path;
    EXPECT_EQ(path, filled.ErrorMessage());
    XTOOFile const thrower(true);
    try {
      static_cast<void>(CTOOFolder::Create(path.c_str(), thrower));
      ADD_FAILURE() << "nothing was thrown: " << path;
    } catch (XTOOFile const& thrown) {
      EXPECT_EQ(filled.Status(), thrown.Status()) << path;
      EXPECT_EQ(path, thrown.ErrorMessage());
      EXPECT_NO_THROW(thrown.SetError(EIO));  // Its flag is false.
    }
  }
  EXPECT_EQ(before, m_folder.Names());
  EXPECT_EQ("content", ReadFile(m_file));
}

TEST_F(CTOOFolderCreate, TakesNullForTheEmptyName) {
  XTOOFile const status(false);
  EXPECT_FALSE(CTOOFolder::Create(nullptr, status));
  EXPECT_TRUE(status.IsError());
  EXPECT_STREQ("", status.ErrorMessage());
}

TEST_F(CTOOFolderCreate, TellsWhyItFailed) {
  XTOOFile const status(false);
  static_cast<void>(CTOOFolder::Create((m_folder / std::string(256, 'x')).c_str(), status));
  EXPECT_EQ(ENAMETOOLONG, status.Status());
  static_cast<void>(CTOOFolder::Create((m_file + "/folder").c_str(), status));
  EXPECT_EQ(ENOTDIR, status.Status());
  static_cast<void>(CTOOFolder::Create((m_loop + "/folder").c_str(), status));
  EXPECT_EQ(ELOOP, status.Status());
}

TEST_F(CTOOFolderCreate, FailsWithoutRights) {
  ::chmod(m_folder.Path().c_str(), 0555);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    XTOOFile const status(false);
    EXPECT_FALSE(CTOOFolder::Create((m_missing + "/below").c_str(), status));
    EXPECT_EQ(m_missing + "/below", status.ErrorMessage());
    EXPECT_EQ(EACCES, status.Status());
  }));
  ::chmod(m_folder.Path().c_str(), 0755);
  EXPECT_FALSE(IsThere(m_missing));
}

TEST_F(CTOOFolderCreate, GivesTheUsualRights) {
  for (mode_t const mask : {0U, 022U, 077U}) {
    EXPECT_TRUE(InProcess([&] {
      ::umask(mask);
      XTOOFile const status(true);
      std::string const above = m_folder / ("new-" + std::to_string(mask));
      static_cast<void>(CTOOFolder::Create((above + "/below").c_str(), status));
      EXPECT_EQ(0777 & ~mask, StatOf(above).st_mode & 0777);
      EXPECT_EQ(0777 & ~mask, StatOf(above + "/below").st_mode & 0777);
      return true;
    }));
  }
}

// Whoever comes second finds the folder there, and that is success.
TEST_F(CTOOFolderCreate, SucceedsForEachOfManyAtOnce) {
  for (int round = 0; round < 20; ++round) {
    std::string const path = m_folder / (std::to_string(round) + "/a/b/c/d/e");
    std::vector<std::unique_ptr<ProcessPeer>> peers;
    for (int i = 0; i < 4; ++i) {
      peers.push_back(std::make_unique<ProcessPeer>([&](PeerSide& side) {
        XTOOFile const status(false);
        side.AwaitGo();
        EXPECT_TRUE(CTOOFolder::Create(path.c_str(), status));
        EXPECT_FALSE(status.IsError());
      }));
    }
    for (auto& peer : peers) {
      peer->Go();
    }
    for (auto& peer : peers) {
      EXPECT_TRUE(peer->Finish());
    }
  }
}

}  // namespace
