// ContainerInfoEdit: many changes, written once. Locks and failures have files of their own.

#include "catalogue/ContainerInfoEdit.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <list>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/XTOOStatus.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class CatalogueEdit : public CatalogueFixture {};

// The code of the status that `body` throws; 0 for none.
template <typename Body>
int CodeOf(Body const& body) {
  try {
    body();
  } catch (XTOOStatus const& status) {
    return status.Status();
  }
  return 0;
}

TEST_F(CatalogueEdit, AddsAndErasesAtOnceWhenItIsCommitted) {
  std::string const kept = Container("kept");
  std::string const gone = Container("gone");
  std::string const first = Container("first");
  std::string const second = Container("second");
  Write(CatalogueFile(1, {kept, gone}));
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  EXPECT_TRUE(edit.Add(first.c_str()));
  EXPECT_TRUE(edit.Erase(gone.c_str()));
  EXPECT_TRUE(edit.Add(second.c_str()));
  ExpectUntouched();
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {kept, first, second}), FileBytes());
  EXPECT_EQ((Paths{kept, first, second}), PathsIn(list));
  EXPECT_THAT(StatesIn(list), ElementsAre(0, 0, 0));
}

TEST_F(CatalogueEdit, WithoutCommitFileAndListStayAsTheyWere) {
  std::string const path = Container("key");
  std::string const other = Container("other");
  Write(CatalogueFile(1, {path, other}));
  ContainerInfoList list(File());
  RecordsOf(list).back().State = ContainerInfo::StateAdded;
  {
    ContainerInfoEdit edit(list);
    EXPECT_TRUE(edit.Erase(path.c_str()));
    EXPECT_TRUE(edit.Erase(other.c_str()));
    EXPECT_TRUE(edit.Add(path.c_str()));
    EXPECT_TRUE(edit.Erase(path.c_str()));
    EXPECT_TRUE(edit.Add(Container("new").c_str()));
  }
  ExpectUntouched();
  EXPECT_EQ((Paths{path, other}), PathsIn(list));
  EXPECT_THAT(StatesIn(list), ElementsAre(0, 1));
  EXPECT_THAT(m_folder.Names(), ElementsAre("catalogue", "key", "new", "other"));
}

TEST_F(CatalogueEdit, BringsTheListUpToWhatTheFileHolds) {
  std::string const both = Container("both");
  std::string const dropped = Container("dropped");
  std::string const added = Container("added");
  std::string const removed = Container("removed");
  std::string const appeared = Container("appeared");
  Write(CatalogueFile(1, {both, dropped}));
  ContainerInfoList list(File());
  RecordsOf(list).front().Param = 7;
  RecordsOf(list).push_back(Record(added, ContainerInfo::StateAdded, 5));
  RecordsOf(list).push_back(Record(removed, ContainerInfo::StateRemoved));
  Write(CatalogueFile(1, {both, appeared, removed}));
  {
    ContainerInfoEdit const edit(list);
    EXPECT_EQ((Paths{both, added, removed, appeared}), PathsIn(list));
    EXPECT_THAT(StatesIn(list), ElementsAre(0, 1, 3, 0));
    EXPECT_THAT(ParamsIn(list), ElementsAre(0, 5, 0, 0));
  }
  EXPECT_EQ((Paths{both, added, removed, appeared}), PathsIn(list));
  ExpectUntouched();
  ContainerInfoEdit(list).Commit();
  EXPECT_EQ((Paths{both, added, appeared}), PathsIn(list));
  EXPECT_EQ((Paths{both, added, appeared}), PathsInFile(m_file));
  EXPECT_THAT(StatesIn(list), ElementsAre(0, 0, 0));
}

TEST_F(CatalogueEdit, RecordsOfOnePathAreTakenOverOneByOne) {
  std::string const path = Container("key");
  Write(RecordFile(0, 1, "", {ContainerBytes(path, "", "", 1), ContainerBytes(path, "", "", 2)}));
  ContainerInfoList list(File());
  Write(RecordFile(0, 1, "",
                   {ContainerBytes(path, "", "", 3), ContainerBytes(path, "", "", 4),
                    ContainerBytes(path, "", "", 5)}));
  ContainerInfoEdit const edit(list);
  EXPECT_THAT(ParamsIn(list), ElementsAre(4, 5, 3));
}

TEST_F(CatalogueEdit, RecordsWithBlobsAndSubRecordsAreWrittenWhole) {
  std::string const path = Container("key");
  ContainerInfo record = Record(path, ContainerInfo::StateRemoved, 77);
  record.Ident1 = Blob("first blob");
  record.Ident2 = Blob("second");
  record.SubConts.emplace_back();
  record.SubConts.back().Ident = Blob("sub");
  record.SubConts.back().Param1 = 3;
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  EXPECT_TRUE(edit.Add(record));
  EXPECT_FALSE(edit.Add(record));
  EXPECT_EQ(ContainerInfo::StateRemoved, record.State);
  edit.Commit();
  EXPECT_EQ(
      RecordFile(0, 1, "",
                 {ContainerBytes(path, "first blob", "second", 77, {{"sub", 3, 0xFFFFFFFF}})}),
      FileBytes());
}

TEST_F(CatalogueEdit, KnowsWhatIsThereAlready) {
  std::string const path = Container("Key");
  Write(CatalogueFile(1, {path}));
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  EXPECT_FALSE(edit.Add(path.c_str()));
  EXPECT_FALSE(edit.Add((m_folder / "kEY").c_str()));
  EXPECT_FALSE(edit.Add((m_folder.Path() + "//.//Key/").c_str()));
  EXPECT_FALSE(edit.Add(""));
  EXPECT_FALSE(edit.Add(nullptr));
  EXPECT_FALSE(edit.Add(ContainerInfo()));
  EXPECT_FALSE(edit.Erase((m_folder.Path() + "//Key").c_str()));
  EXPECT_FALSE(edit.Erase(""));
  EXPECT_FALSE(edit.Erase(nullptr));
  EXPECT_EQ(Paths{path}, PathsIn(list));
  EXPECT_TRUE(edit.Erase((m_folder / "kEY").c_str()));
  EXPECT_FALSE(edit.Erase(path.c_str()));
}

TEST_F(CatalogueEdit, WhatWasErasedCanBeAddedAgain) {
  std::string const path = Container("key");
  Write(RecordFile(0, 1, "", {ContainerBytes(path, "old")}));
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(edit.Erase(path.c_str()));
    EXPECT_TRUE(edit.Add(path.c_str()));
    EXPECT_FALSE(edit.Add(path.c_str()));
  }
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
  EXPECT_EQ(Paths{path}, PathsIn(list));
}

TEST_F(CatalogueEdit, EraseTakesTheFirstOfSeveralAndAllNameless) {
  std::string const path = Container("key");
  std::string const same = Container("KEY");
  Write(CatalogueFile(1, {"", path, same, ""}));
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  EXPECT_TRUE(edit.Erase(same.c_str()));
  EXPECT_TRUE(edit.Erase(""));
  EXPECT_FALSE(edit.Erase(nullptr));
  EXPECT_THAT(StatesIn(list), ElementsAre(3, 3, 0, 3));
  edit.Commit();
  EXPECT_EQ(Paths{same}, PathsInFile(m_file));
}

TEST_F(CatalogueEdit, NamelessRecordsCanBeErasedBeforeAnythingIsLookedUp) {
  std::string const path = Container("key");
  Write(CatalogueFile(1, {path, "", ""}));
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  EXPECT_TRUE(edit.Erase(nullptr));
  EXPECT_FALSE(edit.Add(path.c_str()));
  EXPECT_THAT(StatesIn(list), ElementsAre(0, 3, 3));
}

TEST_F(CatalogueEdit, WhatTheListHadMarkedAsRemovedCanBeAddedAgain) {
  std::string const path = Container("key");
  Write(RecordFile(0, 1, "", {ContainerBytes(path, "old")}));
  ContainerInfoList list(File());
  RecordsOf(list).front().State = ContainerInfo::StateRemoved;
  ContainerInfoEdit edit(list);
  EXPECT_FALSE(edit.Erase(path.c_str()));
  EXPECT_TRUE(edit.Add(path.c_str()));
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
}

// Records more than the file has, but of a path that it has: the last one is the file's.
TEST_F(CatalogueEdit, TheLastOfSeveralRecordsOfAPathIsTheFiles) {
  std::string const path = Container("key");
  Write(RecordFile(0, 1, "", {ContainerBytes(path, "", "", 5)}));
  ContainerInfoList list(File());
  RecordsOf(list).push_back(Record(path, ContainerInfo::StateAdded, 9));
  {
    ContainerInfoEdit const edit(list);
    EXPECT_THAT(ParamsIn(list), ElementsAre(9));
  }
  list.Load(nullptr);
  RecordsOf(list).push_back(Record(Container("new"), ContainerInfo::StateAdded, 7));
  RecordsOf(list).push_back(Record(path, ContainerInfo::StateAdded, 9));
  ContainerInfoEdit edit(list);
  EXPECT_THAT(ParamsIn(list), ElementsAre(7, 9));
  edit.Commit();
  EXPECT_EQ(
      RecordFile(0, 1, "",
                 {ContainerBytes(m_folder / "new", "", "", 7), ContainerBytes(path, "", "", 9)}),
      FileBytes());
}

TEST_F(CatalogueEdit, RepairsAsEverySaveDoes) {
  std::string const path = Container("key");
  std::string const reserved = Container("cur_pers");
  Write(CatalogueFile(1, {path, "", path, reserved, Missing("missing")}));
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  EXPECT_TRUE(edit.Add(Missing("new").c_str()));
  EXPECT_TRUE(edit.Add(Container("new.lck").c_str()));
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
  EXPECT_EQ(Paths{path}, PathsIn(list));
}

TEST_F(CatalogueEdit, KeepsTheHeaderAndSetsTheCleanedMark) {
  std::string const path = Container("key");
  Write(RecordFile(9, 0, "a header", {ContainerBytes(path)}));
  ContainerInfoList list;
  list.GetSyncList()->Records.clear();
  list.Load(File());
  ContainerInfoEdit(list).Commit();
  EXPECT_EQ(RecordFile(9, 1, "a header", {ContainerBytes(path)}), FileBytes());
}

TEST_F(CatalogueEdit, MakesAMissingFileFirstAndWritesItWhenCommitted) {
  std::string const path = Container("key");
  ContainerInfoList list(File());
  {
    ContainerInfoEdit edit(list);
    EXPECT_EQ("", FileBytes());
    EXPECT_TRUE(edit.Add(path.c_str()));
  }
  EXPECT_EQ("", FileBytes());
  EXPECT_TRUE(RecordsOf(list).empty());
  ContainerInfoEdit edit(list);
  edit.Add(path.c_str());
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
}

TEST_F(CatalogueEdit, WithoutRecordsTheFileIsAHeader) {
  std::string const path = Container("key");
  Write(CatalogueFile(1, {path}));
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  edit.Erase(path.c_str());
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {}), FileBytes());
  EXPECT_TRUE(RecordsOf(list).empty());
}

TEST_F(CatalogueEdit, IsOverWhenItIsCommitted) {
  std::string const path = Container("key");
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  edit.Commit();
  EXPECT_EQ(EINVAL, CodeOf([&] { edit.Add(path.c_str()); }));
  EXPECT_EQ(EINVAL, CodeOf([&] { edit.Add(Record(path)); }));
  EXPECT_EQ(EINVAL, CodeOf([&] { edit.Erase(path.c_str()); }));
  EXPECT_EQ(EINVAL, CodeOf([&] { edit.Commit(); }));
  list.Add(path.c_str());
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
}

TEST_F(CatalogueEdit, AListWithoutAFileNameCannotBeEdited) {
  ContainerInfoList list;
  EXPECT_EQ(28, CodeOf([&] { ContainerInfoEdit const edit(list); }));
  EXPECT_EQ(nullptr, list.FindRecord("/any", true));
}

TEST_F(CatalogueEdit, TheFileKeepsItsRightsItsOwnerAndItsGroup) {
  Write(CatalogueFile(1, {}));
  ASSERT_EQ(0, ::chmod(File(), 0640));
  if (IsRoot()) {
    ASSERT_EQ(0, ::chown(File(), 1, 2));
  }
  struct stat const before = StatOf(m_file);
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  edit.Add(Container("key").c_str());
  edit.Commit();
  struct stat const after = StatOf(m_file);
  EXPECT_EQ(before.st_mode, after.st_mode);
  EXPECT_EQ(before.st_uid, after.st_uid);
  EXPECT_EQ(before.st_gid, after.st_gid);
}

// As a user who is in these groups beside his own; the file is root's and of group 2.
class CatalogueEditOfAUser : public CatalogueEdit {
 protected:
  struct stat CommitAs(std::vector<gid_t> const& groups, mode_t rights) {
    Write(CatalogueFile(1, {}));
    EXPECT_EQ(0, ::chown(File(), 0, 2));
    EXPECT_EQ(0, ::chmod(File(), rights));
    EXPECT_EQ(0, ::chmod(m_folder.Path().c_str(), 0777));
    EXPECT_TRUE(InProcess([&] {
      constexpr unsigned int kNobody = 65534;
      EXPECT_EQ(0, ::setgroups(groups.size(), groups.data()));
      EXPECT_EQ(0, ::setresgid(kNobody, kNobody, kNobody));
      EXPECT_EQ(0, ::setresuid(kNobody, kNobody, kNobody));
      ContainerInfoList list(File());
      ContainerInfoEdit(list).Commit();
      return true;
    }));
    return StatOf(m_file);
  }
};

TEST_F(CatalogueEditOfAUser, TheGroupStaysWhereTheUserIsInIt) {
  if (!IsRoot()) {
    GTEST_SKIP() << "only root can become somebody else";
  }
  struct stat const after = CommitAs({2}, 0660);
  EXPECT_EQ(2U, after.st_gid);
  EXPECT_EQ(65534U, after.st_uid);
  EXPECT_EQ(0660U, after.st_mode & 07777U);
}

TEST_F(CatalogueEditOfAUser, RightsOfAGroupThatCannotStayGo) {
  if (!IsRoot()) {
    GTEST_SKIP() << "only root can become somebody else";
  }
  struct stat const after = CommitAs({}, 0666);
  EXPECT_EQ(65534U, after.st_gid);
  EXPECT_EQ(0606U, after.st_mode & 07777U);
}

TEST_F(CatalogueEdit, RightsBeyondThoseOfUsersStayToo) {
  Write(CatalogueFile(1, {}));
  ASSERT_EQ(0, ::chmod(File(), 01640));
  mode_t const before = StatOf(m_file).st_mode;
  ContainerInfoList list(File());
  ContainerInfoEdit(list).Commit();
  EXPECT_EQ(before, StatOf(m_file).st_mode);
}

TEST_F(CatalogueEdit, AMissingFileIsMadeWithTheRightsOfAnyNewFile) {
  mode_t const mask = ::umask(022);
  ContainerInfoList list(File());
  { ContainerInfoEdit const edit(list); }
  ::umask(mask);
  EXPECT_EQ(0644U, StatOf(m_file).st_mode & 07777U);
}

TEST_F(CatalogueEdit, ALinkStaysALink) {
  std::string const path = Container("key");
  Write(CatalogueFile(1, {}));
  std::string const link = m_folder / "link";
  ASSERT_EQ(0, ::symlink("catalogue", link.c_str()));
  ContainerInfoList list(link.c_str());
  ContainerInfoEdit edit(list);
  edit.Add(path.c_str());
  edit.Commit();
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
}

TEST_F(CatalogueEdit, LeavesNothingBesideTheFileAndReplacesWhatAKilledOneLeft) {
  std::string const path = Container("key");
  WriteFile(m_file + ".quendril-edit", std::string(1000, 'x'));
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  edit.Add(path.c_str());
  edit.Commit();
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
  EXPECT_THAT(m_folder.Names(), ElementsAre("catalogue", "key"));
}

TEST_F(CatalogueEdit, TheLastWriteTimeTellsOfIt) {
  Write(CatalogueFile(1, {}));
  ContainerInfoList list(File());
  timespec const before = StatOf(m_file).st_mtim;
  ContainerInfoEdit(list).Commit();
  EXPECT_GT(StatOf(m_file).st_mtim.tv_sec, before.tv_sec);
}

TEST_F(CatalogueEdit, ManyChangesMakeTheSameFileAsSingleOnes) {
  std::vector<std::string> paths;
  for (int number = 0; number < 60; ++number) {
    paths.push_back(Container("key-" + std::to_string(number)));
  }
  struct Step {
    bool erases;
    char const* path;
  };
  std::vector<Step> steps;
  unsigned int random = 1;
  for (int number = 0; number < 300; ++number) {
    random = random * 1664525 + 1013904223;
    steps.push_back(Step{(random >> 8) % 3 == 0, paths[(random >> 16) % paths.size()].c_str()});
  }
  ContainerInfoList single((m_file + "-single").c_str());
  for (Step const& step : steps) {
    step.erases ? single.Erase(step.path) : single.Add(step.path);
  }
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  for (Step const& step : steps) {
    step.erases ? edit.Erase(step.path) : edit.Add(step.path);
  }
  edit.Commit();
  EXPECT_GT(RecordsOf(list).size(), 20U);
  EXPECT_EQ(PathsIn(single), PathsIn(list));
  EXPECT_EQ(ReadFile(m_file + "-single"), FileBytes());
}

}  // namespace
