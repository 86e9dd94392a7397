// ContainerInfoList: what a load tests and drops, and the file that it then rewrites.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"

namespace {

class ContainerInfoListClean : public CatalogueFixture {
 protected:
  // Whether a load of a file that was never cleaned keeps a record with that path, beside one that
  // goes and one that stays.
  bool Keeps(std::string const& path) {
    std::string const good = Container("good");
    Write(CatalogueFile(0, {good, path, Missing("gone"), good}));
    ContainerInfoList list(File());
    Paths const paths = PathsIn(list);
    EXPECT_EQ(paths, PathsInFile(m_file));
    EXPECT_EQ(good, paths.front());
    EXPECT_EQ(good, paths.back());
    EXPECT_LE(2U, paths.size());
    return paths == Paths{good, path, good};
  }

  std::string Folder(std::string const& name) const {
    std::filesystem::create_directories(m_folder / name);
    return m_folder / name;
  }
};

TEST_F(ContainerInfoListClean, NothingIsTestedOnceTheMarkIsSet) {
  Paths const paths{Container("cur_pers"), Container("key.lck"), Missing("gone"), ""};
  for (unsigned int const mark : {1U, 2U, 0x100U, 0x80000000U, 0xFFFFFFFFU}) {
    Write(CatalogueFile(mark, paths));
    ContainerInfoList list(File());
    EXPECT_EQ(paths, PathsIn(list)) << mark;
    ExpectUntouched();
  }
}

TEST_F(ContainerInfoListClean, EmptyPathIsDropped) { EXPECT_FALSE(Keeps("")); }

TEST_F(ContainerInfoListClean, MissingContainerIsDropped) {
  EXPECT_FALSE(Keeps(Missing("nothing")));
  EXPECT_FALSE(Keeps(Missing("no/folder")));
}

TEST_F(ContainerInfoListClean, ContainerIsKeptWhetherFileOrFolder) {
  EXPECT_TRUE(Keeps(Container("key")));
  EXPECT_TRUE(Keeps(Folder("folder")));
}

// As stored, with a slash behind a file, it names nothing.
TEST_F(ContainerInfoListClean, PathIsTestedAsItIsJoinedAgain) {
  std::string const path = Container("key") + "/";
  ASSERT_FALSE(IsThere(path));
  EXPECT_TRUE(Keeps(path));
}

TEST_F(ContainerInfoListClean, NameOfTheCurrentContainerIsDroppedInAnyCase) {
  for (char const* const name : {"cur_pers", "CUR_PERS", "Cur_Pers", "cUR_pERS"}) {
    EXPECT_FALSE(Keeps(Container(name))) << name;
  }
}

TEST_F(ContainerInfoListClean, LongerOrShorterNameIsNotThatOfTheCurrentContainer) {
  for (char const* const name : {"cur_pers2", "acur_pers", "cur_per", "cur_pers.", "cur-pers"}) {
    EXPECT_TRUE(Keeps(Container(name))) << name;
  }
}

TEST_F(ContainerInfoListClean, LockFileIsDroppedWhereverItsNameSaysSoInAnyCase) {
  for (char const* const name : {"key.LCK.old", "key.lck", ".lck", ".lcks", "a.LcK", "a.lckb"}) {
    EXPECT_FALSE(Keeps(Container(name))) << name;
  }
}

TEST_F(ContainerInfoListClean, NameThatOnlyResemblesALockFileIsKept) {
  for (char const* const name : {"lck", "key_lck", "key.lc", "key.lc.k", ".l.ck"}) {
    EXPECT_TRUE(Keeps(Container(name))) << name;
  }
}

// A save's repair looks at the whole path and at one more word; a load does not.
TEST_F(ContainerInfoListClean, FoldersAreNotLookedAt) {
  for (char const* const folder : {"cur_pers", "x.lck", "usrguard"}) {
    Folder(folder);
    EXPECT_TRUE(Keeps(Container(std::string(folder) + "/key"))) << folder;
  }
}

TEST_F(ContainerInfoListClean, UserGuardIsNotDropped) {
  EXPECT_TRUE(Keeps(Container("usrguard")));
  EXPECT_TRUE(Keeps(Container("USRGUARD")));
}

TEST_F(ContainerInfoListClean, FileIsRewrittenWithTheKeptBlobsAsTheyWere) {
  // With bytes that an encoder would not write again.
  std::string const first = ContainerBytes(Container("z"), "i", "j", 5, {{"s", 1, 2}}) + "tail";
  std::string const second = ContainerBytes(Container("a") + "//") + Pattern(9, 1);
  std::string const third = ContainerBytes(Container("m"));
  std::string const gone = ContainerBytes(Missing("gone"), "some", "idents", 4);
  Write(RecordFile(0, 0, "", {gone, first, gone, second, third, gone}));
  ContainerInfoList list(File());
  EXPECT_EQ(RecordFile(0, 1, "", {first, second, third}), FileBytes());
  EXPECT_EQ((Paths{m_folder / "z", m_folder / "a//", m_folder / "m"}), PathsIn(list));
  EXPECT_EQ((std::vector<unsigned int>{0, 0, 0}), StatesIn(list));
}

TEST_F(ContainerInfoListClean, RewrittenFileHasNoFirstWordAndNoHeader) {
  std::string const good = Container("good");
  Write(RecordFile(0x12345678, 0, Pattern(20, 1),
                   {ContainerBytes(good), ContainerBytes(Missing("gone"))}));
  ContainerInfoList const list(File());
  EXPECT_EQ(CatalogueFile(1, {good}), FileBytes());
}

TEST_F(ContainerInfoListClean, RewrittenFileIsANewOne) {
  Write(CatalogueFile(0, {Container("good"), Missing("gone")}));
  // Another name keeps the old one.
  std::filesystem::create_hard_link(m_file, m_folder / "old");
  std::string const before = FileBytes();
  ContainerInfoList const list(File());
  EXPECT_EQ(before, ReadFile(m_folder / "old"));
  EXPECT_EQ(CatalogueFile(1, {m_folder / "good"}), FileBytes());
}

TEST_F(ContainerInfoListClean, FileWithoutStaleRecordsIsLeftAndTestedAgain) {
  std::string const first = Container("first");
  std::string const second = Container("second");
  Write(RecordFile(7, 0, "header", {ContainerBytes(first), ContainerBytes(second)}));
  ContainerInfoList list(File());
  EXPECT_EQ((Paths{first, second}), PathsIn(list));
  ExpectUntouched();
  std::filesystem::remove(first);
  list.Load(nullptr);
  EXPECT_EQ(Paths{second}, PathsIn(list));
  EXPECT_EQ(CatalogueFile(1, {second}), FileBytes());
}

TEST_F(ContainerInfoListClean, CleanedFileIsNotTestedAgain) {
  std::string const good = Container("good");
  Write(CatalogueFile(0, {good, Missing("gone")}));
  ContainerInfoList list(File());
  std::filesystem::remove(good);
  list.Load(nullptr);
  EXPECT_EQ(Paths{good}, PathsIn(list));
}

TEST_F(ContainerInfoListClean, FileWithoutRecordsIsLeft) {
  Write(CatalogueFile(0, {}));
  ContainerInfoList list(File());
  EXPECT_TRUE(RecordsOf(list).empty());
  ExpectUntouched();
}

TEST_F(ContainerInfoListClean, FileWhoseRecordsAllGoHoldsItsTwelveBytes) {
  Write(RecordFile(7, 0, "header", {ContainerBytes(Missing("a")), ContainerBytes("")}));
  ContainerInfoList list(File());
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_EQ("00 00 00 00 01 00 00 00 00 00 00 00", ToHex(FileBytes()));
}

TEST_F(ContainerInfoListClean, LeavesNoDescriptorAndNoLock) {
  Write(CatalogueFile(0, {Container("good"), Missing("gone")}));
  int const before = CountDescriptors();
  ContainerInfoList list(File());
  EXPECT_EQ(before, CountDescriptors());
  EXPECT_EQ(Lock::None, FileLockOf(m_file));
  EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path()));
  EXPECT_TRUE(IsLockFree(list));
  EXPECT_EQ((std::vector<std::string>{"catalogue", "good"}), m_folder.Names());
}

// As an ordinary user, who may not remove the file.
TEST_F(ContainerInfoListClean, FailedRemovalLeavesTheListEmptyAndTheFileAsItWas) {
  Write(CatalogueFile(0, {Container("good"), Missing("gone")}));
  ASSERT_EQ(0, ::chmod(File(), 0666));
  ASSERT_EQ(0, ::chmod(m_folder.Path().c_str(), 0555));
  EXPECT_TRUE(AsOrdinaryUser([&] {
    int const before = CountDescriptors();
    ContainerInfoList list(File());
    EXPECT_TRUE(RecordsOf(list).empty());
    EXPECT_EQ(before, CountDescriptors());
    EXPECT_TRUE(IsLockFree(list));
  }));
  ::chmod(m_folder.Path().c_str(), 0755);
  ExpectUntouched();
}

}  // namespace
