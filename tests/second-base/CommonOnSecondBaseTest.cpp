// The machine-wide catalogue over the second base.

#include <cstdlib>
#include <list>
#include <string>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoEdit.h"
#include "common/CommonContInfoFileCreater.h"
#include "common/CommonContInfoList.h"
#include "foundation/XTOOStatus.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

using Paths = std::list<std::string>;

class CommonOnSecondBase : public testing::Test {
 protected:
  CommonOnSecondBase() {
    ::setenv("SECOND_BASE_FOLDER", m_folder.Path().c_str(), 1);
    WriteFile(m_key, "");
    WriteFile(m_other, "");
  }

  TempFolder const m_folder;
  std::string const m_key = m_folder / "key";
  std::string const m_other = m_folder / "other";
  std::string const m_file = m_folder / "quendril/cont_info.dat";
};

TEST_F(CommonOnSecondBase, IsMadeOnFirstUse) {
  EXPECT_FALSE(IsThere(m_file));
  CommonContInfoList common;
  EXPECT_EQ("", ReadFile(m_file));
  EXPECT_EQ(nullptr, common.GetFirst());
  common.Add(m_key.c_str());
  EXPECT_EQ(CatalogueFile(1, {m_key}), ReadFile(m_file));
  CommonContInfoList again;
  EXPECT_STREQ(m_key.c_str(), again.GetFirst());
  again.Erase(m_key.c_str());
  EXPECT_EQ(CatalogueFile(1, {}), ReadFile(m_file));
}

TEST_F(CommonOnSecondBase, ChangesOfAnotherProcessAreSeen) {
  CommonContInfoList common;
  common.Load();
  EXPECT_FALSE(common.bIsChange());
  EXPECT_TRUE(InProcess([&] {
    CommonContInfoList own;
    own.Add(m_key.c_str());
    return std::string(own.GetFirst()) == m_key;
  }));
  EXPECT_TRUE(common.bIsChange());
  common.Load();
  EXPECT_FALSE(common.bIsChange());
  EXPECT_STREQ(m_key.c_str(), common.GetFirst());
}

TEST_F(CommonOnSecondBase, IsEditedLikeAnyOther) {
  CommonContInfoList common;
  ContainerInfoEdit edit(common);
  EXPECT_TRUE(edit.Add(m_key.c_str()));
  EXPECT_TRUE(edit.Add(m_other.c_str()));
  edit.Commit();
  EXPECT_EQ((Paths{m_key, m_other}), PathsIn(common));
}

TEST_F(CommonOnSecondBase, FolderIsFoundWithAndWithoutItsSlash) {
  CommonContInfoFileCreater const creater;
  CTOOString const path((m_folder.Path() + "/").c_str());
  EXPECT_TRUE(creater.IsDirExist(path));
  EXPECT_EQ(m_folder.Path().size() + 1, path.Length());
  EXPECT_FALSE(creater.IsDirExist(m_key.c_str()));
  EXPECT_STREQ("/usr/lib/velmar/", creater.GetPathToContInfoFileOfRegisteredProv());
}

TEST_F(CommonOnSecondBase, WithoutACommonFolderThereIsNone) {
  ::unsetenv("SECOND_BASE_FOLDER");
  try {
    CommonContInfoList const common;
    FAIL();
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(194, status.Status());
  }
}

}  // namespace
