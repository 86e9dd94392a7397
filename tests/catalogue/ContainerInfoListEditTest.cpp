// ContainerInfoList: adding and erasing.

#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "foundation/XTOOStatus.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"

namespace {

class ContainerInfoListEdit : public CatalogueFixture {
 protected:
  // The edit waits at the file, which this thread holds, and so do the readers of the list. It
  // waits a second time where it wants to write: there this thread still reads the file.
  void ExpectHoldsTheListThroughout(ContainerInfoList& list, std::function<void()> const& edit) {
    IPC::CReadWriteLock_file fileLock(File());
    auto held = std::make_unique<IPC::CWriteLocker>(fileLock);
    ExpectReadersWaitWhile(list, edit, [&] { held.reset(); });
    auto shared = std::make_unique<IPC::CReadLocker>(fileLock);
    ExpectReadersWaitWhile(list, edit, [&] { shared.reset(); });
  }

 private:
  static void ExpectReadersWaitWhile(ContainerInfoList& list, std::function<void()> const& edit,
                                     std::function<void()> const& letGo) {
    ThreadPeer editor([&](PeerSide& /*side*/) { edit(); });
    EXPECT_TRUE(editor.AwaitBlocked());
    ThreadPeer reader([&](PeerSide& side) {
      IPC::CReadLocker const locker(list.GetSyncList()->Lock);
      side.Reached();
    });
    EXPECT_TRUE(reader.AwaitBlocked());
    letGo();
    EXPECT_TRUE(editor.Finish());
    EXPECT_TRUE(reader.AwaitStep());
    EXPECT_TRUE(reader.Finish());
  }
};

using Numbers = std::vector<unsigned int>;

void ExpectThrowsForWantOfAName(std::function<void()> const& edit) {
  try {
    edit();
    FAIL();
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(28, status.Status());
    EXPECT_STREQ("ContainerInfoList", status.ErrorMessage());
  }
}

TEST_F(ContainerInfoListEdit, AddOfNothingChangesNothing) {
  Write(CatalogueFile(0, {Container("key")}));
  ContainerInfoList list(File());
  list.Add(nullptr);
  list.Add("");
  EXPECT_EQ(Paths{m_folder / "key"}, PathsIn(list));
  ExpectUntouched();
  ContainerInfoList nameless;
  nameless.Add(nullptr);
  nameless.Add("");
  EXPECT_TRUE(RecordsOf(nameless).empty());
}

TEST_F(ContainerInfoListEdit, AddOfKnownPathLeavesFileUntouched) {
  std::string const path = Container("key");
  Write(CatalogueFile(0, {path}));
  ContainerInfoList list(File());
  RecordsOf(list).front().State = 77;
  list.Add(path.c_str());
  list.Add((m_folder / "KEY").c_str());
  list.Add((m_folder / "/./key/").c_str());
  EXPECT_EQ(Paths{path}, PathsIn(list));
  EXPECT_EQ(Numbers{77}, StatesIn(list));
  ExpectUntouched();
}

TEST_F(ContainerInfoListEdit, AddOfARecordsOwnTextChangesNothing) {
  Write(CatalogueFile(1, {Container("key")}));
  ContainerInfoList list(File());
  list.Add(list.GetFirst());
  EXPECT_EQ(Paths{m_folder / "key"}, PathsIn(list));
  ExpectUntouched();
}

TEST_F(ContainerInfoListEdit, AddPutsANewContainerIntoMemoryAndFile) {
  std::string const path = Container("key");
  ContainerInfoList list(File());
  list.Add(path.c_str());
  EXPECT_EQ(Paths{path}, PathsIn(list));
  EXPECT_EQ(Numbers{ContainerInfo::StateSynced}, StatesIn(list));
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
  EXPECT_TRUE(IsLockFree(list));
}

TEST_F(ContainerInfoListEdit, AddedRecordHasDefaultsBesideItsPath) {
  std::string const path = Container("key");
  ContainerInfoList list(File());
  list.Add(path.c_str());
  EXPECT_EQ(ContainerBytes(path), DataOf(RecordsOf(list).front().WriteData()));
}

// Another process has added it too and filled it.
TEST_F(ContainerInfoListEdit, AddedRecordThatTheFileHoldsMeanwhileIsWrittenAndStaysAdded) {
  std::string const path = Container("key");
  ContainerInfoList list(File());
  Write(RecordFile(0, 1, "", {ContainerBytes(path, "other")}));
  list.Add(path.c_str());
  EXPECT_EQ(Numbers{ContainerInfo::StateAdded}, StatesIn(list));
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
}

TEST_F(ContainerInfoListEdit, AddStoresThePathAsItIs) {
  Container("key");
  for (char const* const name : {"/key", "./key"}) {
    std::string const path = m_folder / name;
    std::filesystem::remove(m_file);
    ContainerInfoList list(File());
    list.Add(path.c_str());
    EXPECT_EQ(Paths{path}, PathsIn(list));
    EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
  }
}

// The lookup normalises its argument only, so it does not know such a record, and neither does the
// repair.
TEST_F(ContainerInfoListEdit, AddOfAPathInAnotherFormIsARecordOfItsOwn) {
  std::string const path = Container("key");
  std::string const other = m_folder / "/key";
  ContainerInfoList list(File());
  list.Add(other.c_str());
  list.Add(path.c_str());
  EXPECT_EQ((Paths{other, path}), PathsIn(list));
  EXPECT_EQ(CatalogueFile(1, {other, path}), FileBytes());
}

TEST_F(ContainerInfoListEdit, AddOfAMissingContainerDoesNotStayButSaves) {
  std::string const path = Container("key");
  Write(CatalogueFile(0, {path}));
  ContainerInfoList list(File());
  list.Add(Missing("gone").c_str());
  EXPECT_EQ(Paths{path}, PathsIn(list));
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
}

TEST_F(ContainerInfoListEdit, AddOfAMissingContainerToNothingMakesTheFile) {
  ContainerInfoList list(File());
  list.Add(Missing("gone").c_str());
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_EQ(CatalogueFile(1, {}), FileBytes());
}

TEST_F(ContainerInfoListEdit, AddAppendsAtTheEnd) {
  Paths const paths{Container("m"), Container("z"), Container("a")};
  ContainerInfoList list(File());
  for (std::string const& path : paths) {
    list.Add(path.c_str());
  }
  EXPECT_EQ(paths, PathsIn(list));
  EXPECT_EQ(CatalogueFile(1, paths), FileBytes());
}

TEST_F(ContainerInfoListEdit, AddWithoutAFileNameThrowsAndKeepsTheRecord) {
  std::string const path = Container("key");
  ContainerInfoList list;
  ExpectThrowsForWantOfAName([&] { list.Add(path.c_str()); });
  EXPECT_EQ(Paths{path}, PathsIn(list));
  EXPECT_EQ(Numbers{ContainerInfo::StateAdded}, StatesIn(list));
  EXPECT_TRUE(IsLockFree(list));
}

TEST_F(ContainerInfoListEdit, RecordsAddedWithoutAFileNameAreSavedToALaterOne) {
  std::string const path = Container("key");
  ContainerInfoList list;
  EXPECT_THROW(list.Add(path.c_str()), XTOOStatus);
  ContainerInfoList const named(File());
  list = named;
  list.Save(true);
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
}

TEST_F(ContainerInfoListEdit, AddHoldsTheListOverItsAppendAndSave) {
  Write(CatalogueFile(1, {Container("old")}));
  Container("new0");
  Container("new1");
  ContainerInfoList list(File());
  int next = 0;
  ExpectHoldsTheListThroughout(
      list, [&] { list.Add((m_folder / ("new" + std::to_string(next++))).c_str()); });
  EXPECT_EQ(3U, RecordsOf(list).size());
}

TEST_F(ContainerInfoListEdit, AddWaitsForTheReadersOfTheList) {
  std::string const path = Container("key");
  ContainerInfoList list(File());
  auto held = std::make_unique<IPC::CReadLocker>(list.GetSyncList()->Lock);
  ThreadPeer adder([&](PeerSide& side) {
    list.Add(path.c_str());
    side.Reached();
  });
  EXPECT_TRUE(adder.AwaitBlocked());
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_FALSE(IsThere(m_file));
  held.reset();
  EXPECT_TRUE(adder.AwaitStep());
}

TEST_F(ContainerInfoListEdit, EraseOfNothingRemovesTheEmptyPathsAndSaves) {
  std::string const path = Container("key");
  for (char const* const nothing : {static_cast<char const*>(nullptr), ""}) {
    Write(CatalogueFile(0, {path}));
    ContainerInfoList list(File());
    RecordsOf(list).push_front(Record("", ContainerInfo::StateAdded));
    RecordsOf(list).push_back(Record(""));
    list.Erase(nothing);
    EXPECT_EQ(Paths{path}, PathsIn(list));
    EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
    EXPECT_TRUE(IsLockFree(list));
  }
}

TEST_F(ContainerInfoListEdit, EraseOfNothingWithoutEmptyPathsLeavesTheFile) {
  Write(CatalogueFile(0, {Container("key")}));
  ContainerInfoList list(File());
  list.Erase(nullptr);
  list.Erase("");
  EXPECT_EQ(Paths{m_folder / "key"}, PathsIn(list));
  ExpectUntouched();
  EXPECT_TRUE(IsLockFree(list));
}

// Kept on purpose.
TEST_F(ContainerInfoListEdit, EmptyPathOfTheFileComesBackAfterItsErasure) {
  std::string const path = Container("key");
  Write(RecordFile(0, 1, "", {ContainerBytes("", "i", "", 7), ContainerBytes(path)}));
  ContainerInfoList list(File());
  list.Erase("");
  EXPECT_EQ((Paths{path, ""}), PathsIn(list));
  EXPECT_EQ((Numbers{0, 7}), ParamsIn(list));
  EXPECT_EQ(RecordFile(0, 1, "", {ContainerBytes(path), ContainerBytes("", "i", "", 7)}),
            FileBytes());
}

TEST_F(ContainerInfoListEdit, EraseOfNothingWithoutAFileNameThrowsAndHasRemoved) {
  ContainerInfoList list;
  list.Erase("");
  for (char const* const path : {"", "/a", "", ""}) {
    RecordsOf(list).push_back(Record(path));
  }
  ExpectThrowsForWantOfAName([&] { list.Erase(""); });
  EXPECT_EQ(Paths{"/a"}, PathsIn(list));
  EXPECT_TRUE(IsLockFree(list));
}

TEST_F(ContainerInfoListEdit, EraseRemovesFromMemoryAndFile) {
  std::string const first = Container("first");
  std::string const second = Container("second");
  std::string const third = Container("third");
  Write(CatalogueFile(0, {first, second, third}));
  ContainerInfoList list(File());
  list.Erase(second.c_str());
  EXPECT_EQ((Paths{first, third}), PathsIn(list));
  EXPECT_EQ(CatalogueFile(1, {first, third}), FileBytes());
  EXPECT_TRUE(IsThere(second));
  EXPECT_TRUE(IsLockFree(list));
}

TEST_F(ContainerInfoListEdit, EraseByARecordsOwnTextRemovesIt) {
  Write(CatalogueFile(1, {Container("key"), Container("other")}));
  ContainerInfoList list(File());
  list.Erase(list.GetFirst());
  EXPECT_EQ(Paths{m_folder / "other"}, PathsIn(list));
}

TEST_F(ContainerInfoListEdit, EraseIgnoresCase) {
  std::string const path = Container("Key");
  Write(CatalogueFile(1, {path}));
  ContainerInfoList list(File());
  list.Erase((m_folder / "kEY").c_str());
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_EQ(CatalogueFile(1, {}), FileBytes());
}

TEST_F(ContainerInfoListEdit, EraseRemovesTheFirstMatchOnly) {
  std::string const lower = Container("key");
  std::string const upper = Container("KEY");
  Write(CatalogueFile(1, {lower, upper}));
  ContainerInfoList list(File());
  list.Erase(upper.c_str());
  EXPECT_EQ(Paths{upper}, PathsIn(list));
  EXPECT_EQ(CatalogueFile(1, {upper}), FileBytes());
  list.Erase(lower.c_str());
  EXPECT_TRUE(RecordsOf(list).empty());
}

TEST_F(ContainerInfoListEdit, EraseOfAnUnknownPathLeavesFileUntouched) {
  Write(CatalogueFile(0, {Container("key")}));
  ContainerInfoList list(File());
  for (std::string const& path : {Container("other"), Missing("gone"), m_folder / "ke"}) {
    list.Erase(path.c_str());
  }
  EXPECT_EQ(Paths{m_folder / "key"}, PathsIn(list));
  EXPECT_EQ(Numbers{0}, StatesIn(list));
  ExpectUntouched();
  EXPECT_TRUE(IsLockFree(list));
}

TEST_F(ContainerInfoListEdit, EraseOfAnUnknownPathNeedsNoFileName) {
  ContainerInfoList list;
  RecordsOf(list).push_back(Record("/a"));
  list.Erase("/b");
  EXPECT_EQ(Paths{"/a"}, PathsIn(list));
}

TEST_F(ContainerInfoListEdit, EraseWithoutAFileNameThrowsAndLeavesTheMark) {
  ContainerInfoList list;
  for (char const* const path : {"/a", "/b", "/B"}) {
    RecordsOf(list).push_back(Record(path));
  }
  ExpectThrowsForWantOfAName([&] { list.Erase("/b"); });
  EXPECT_EQ((Paths{"/a", "/b", "/B"}), PathsIn(list));
  EXPECT_EQ((Numbers{0, ContainerInfo::StateRemoved, 0}), StatesIn(list));
  EXPECT_TRUE(IsLockFree(list));
}

TEST_F(ContainerInfoListEdit, EraseOfAnAddedRecordDropsIt) {
  std::string const path = Container("key");
  ContainerInfoList list(File());
  RecordsOf(list).push_back(Record(path, ContainerInfo::StateAdded));
  list.Erase(path.c_str());
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_EQ(CatalogueFile(1, {}), FileBytes());
}

TEST_F(ContainerInfoListEdit, EraseComparesTheArgumentAsItIs) {
  std::string const path = Container("key");
  std::string const other = m_folder / "/key";
  Write(CatalogueFile(1, {path}));
  ContainerInfoList list(File());
  list.Erase(other.c_str());
  list.Erase((path + "/").c_str());
  ExpectUntouched();
  Write(CatalogueFile(1, {other, path}));
  list.Load(nullptr);
  list.Erase(other.c_str());
  EXPECT_EQ(Paths{path}, PathsIn(list));
}

TEST_F(ContainerInfoListEdit, EraseHoldsTheListThroughout) {
  Write(CatalogueFile(1, {Container("old0"), Container("old1")}));
  ContainerInfoList list(File());
  int next = 0;
  ExpectHoldsTheListThroughout(
      list, [&] { list.Erase((m_folder / ("old" + std::to_string(next++))).c_str()); });
  EXPECT_TRUE(RecordsOf(list).empty());
}

TEST_F(ContainerInfoListEdit, EraseWaitsForTheReadersOfTheListEvenInVain) {
  Write(CatalogueFile(1, {Container("key")}));
  ContainerInfoList list(File());
  for (std::string const& path : {m_folder / "key", Missing("gone"), std::string()}) {
    auto held = std::make_unique<IPC::CReadLocker>(list.GetSyncList()->Lock);
    ThreadPeer eraser([&](PeerSide& side) {
      list.Erase(path.c_str());
      side.Reached();
    });
    EXPECT_TRUE(eraser.AwaitBlocked()) << path;
    held.reset();
    EXPECT_TRUE(eraser.AwaitStep());
  }
}

TEST_F(ContainerInfoListEdit, EditsLeaveNoDescriptor) {
  std::string const path = Container("key");
  ContainerInfoList list(File());
  int const before = CountDescriptors();
  list.Add(path.c_str());
  EXPECT_EQ(before, CountDescriptors());
  list.Erase(path.c_str());
  EXPECT_EQ(before, CountDescriptors());
}

}  // namespace
