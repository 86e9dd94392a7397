// ContainerInfoList: construction and loading.

#include <cerrno>
#include <filesystem>
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
#include "tests/support/LockProbe.h"

namespace {

class ContainerInfoListLoad : public CatalogueFixture {};

using Strings = std::list<std::string>;
using Numbers = std::vector<unsigned int>;

TEST_F(ContainerInfoListLoad, ListIsTheManagerOfItsCursors) {
  ContainerInfoList list;
  EXPECT_EQ(static_cast<void*>(&list), static_cast<void*>(list.GetListItrMgr()));
}

TEST_F(ContainerInfoListLoad, MembersLieInOrder) {
  ContainerInfoList list(File());
  auto const* const start = reinterpret_cast<char const*>(&list);
  EXPECT_STREQ(File(), NameOf(list));
  EXPECT_EQ(start + sizeof(ContainerInfoItrMgr) + sizeof(CTOOString),
            reinterpret_cast<char const*>(list.GetSyncList()));
  EXPECT_EQ(static_cast<void*>(list.GetSyncList()), static_cast<void*>(&RecordsOf(list)));
  EXPECT_EQ(reinterpret_cast<char*>(&RecordsOf(list)) + sizeof(std::list<ContainerInfo>),
            reinterpret_cast<char*>(&list.GetSyncList()->Lock));
  EXPECT_EQ(sizeof(ContainerInfoItrMgr) + sizeof(CTOOString) + sizeof(SyncList),
            sizeof(ContainerInfoList));
}

TEST_F(ContainerInfoListLoad, DefaultListHasNoNameAndNoRecords) {
  ContainerInfoList list;
  EXPECT_STREQ("", NameOf(list));
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_TRUE(IsLockFree(list));
}

TEST_F(ContainerInfoListLoad, ConstructorOverAMissingFileKeepsTheNameAndMakesNothing) {
  ContainerInfoList list(File());
  EXPECT_STREQ(File(), NameOf(list));
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_TRUE(m_folder.Names().empty());
  list.Save(true);
  EXPECT_TRUE(IsThere(m_file));
}

TEST_F(ContainerInfoListLoad, ConstructorOverAnEmptyFileKeepsTheNameAndLeavesTheFile) {
  Write("");
  ContainerInfoList list(File());
  EXPECT_STREQ(File(), NameOf(list));
  EXPECT_TRUE(RecordsOf(list).empty());
  ExpectUntouched();
}

TEST_F(ContainerInfoListLoad, ConstructorOverACatalogueLoadsIt) {
  Write(CatalogueFile(1, {"/a", "/b"}));
  ContainerInfoList list(File());
  EXPECT_STREQ(File(), NameOf(list));
  EXPECT_EQ((Strings{"/a", "/b"}), PathsIn(list));
  EXPECT_TRUE(IsLockFree(list));
}

TEST_F(ContainerInfoListLoad, ConstructorWithNullOrEmptyNameHasNone) {
  for (char const* const name : {static_cast<char const*>(nullptr), ""}) {
    ContainerInfoList list(name);
    EXPECT_STREQ("", NameOf(list));
    EXPECT_TRUE(RecordsOf(list).empty());
  }
}

TEST_F(ContainerInfoListLoad, ConstructorOverAFolderThrows) {
  try {
    ContainerInfoList const list(m_folder.Path().c_str());
    FAIL();
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(EISDIR, status.Status());
  }
}

TEST_F(ContainerInfoListLoad, FolderInThePlaceOfTheFileLeavesTheListEmpty) {
  Write(CatalogueFile(1, {"/a"}));
  ContainerInfoList list(File());
  list.Load(m_folder.Path().c_str());
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_STREQ(m_folder.Path().c_str(), NameOf(list));
  EXPECT_TRUE(IsLockFree(list));
}

TEST_F(ContainerInfoListLoad, NullMeansTheStoredName) {
  ContainerInfoList list(File());
  Write(CatalogueFile(1, {"/a"}));
  list.Load(nullptr);
  EXPECT_STREQ(File(), NameOf(list));
  EXPECT_EQ(Strings{"/a"}, PathsIn(list));
}

TEST_F(ContainerInfoListLoad, NullWithoutAStoredNameLeavesTheListEmpty) {
  ContainerInfoList list;
  RecordsOf(list).push_back(Record("/a"));
  list.Load(nullptr);
  EXPECT_STREQ("", NameOf(list));
  EXPECT_TRUE(RecordsOf(list).empty());
}

TEST_F(ContainerInfoListLoad, NameReplacesTheStoredOne) {
  std::string const other = m_folder / "other";
  Write(CatalogueFile(1, {"/a"}));
  WriteFile(other, CatalogueFile(1, {"/b"}));
  ContainerInfoList list(File());
  list.Load(other.c_str());
  EXPECT_STREQ(other.c_str(), NameOf(list));
  EXPECT_EQ(Strings{"/b"}, PathsIn(list));
  WriteFile(other, CatalogueFile(1, {"/c"}));
  list.Load(nullptr);
  EXPECT_EQ(Strings{"/c"}, PathsIn(list));
  ExpectUntouched();
}

TEST_F(ContainerInfoListLoad, NameReplacesTheStoredOneEvenWhenTheFileIsMissingOrDamaged) {
  Write(CatalogueFile(1, {"/a"}));
  for (std::string const content : {"", "damaged"}) {
    ContainerInfoList list(File());
    std::string const other = m_folder / "other";
    if (!content.empty()) {
      WriteFile(other, content);
    }
    list.Load(other.c_str());
    EXPECT_STREQ(other.c_str(), NameOf(list));
    EXPECT_TRUE(RecordsOf(list).empty());
  }
}

TEST_F(ContainerInfoListLoad, EmptyNameLeavesNoNameAndNoRecords) {
  Write(CatalogueFile(1, {"/a"}));
  ContainerInfoList list(File());
  list.Load("");
  EXPECT_STREQ("", NameOf(list));
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_TRUE(IsLockFree(list));
  ExpectUntouched();
}

TEST_F(ContainerInfoListLoad, MissingFileEmptiesTheList) {
  Write(CatalogueFile(1, {"/a"}));
  ContainerInfoList list(File());
  std::filesystem::remove(m_file);
  list.Load(nullptr);
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_TRUE(m_folder.Names().empty());
  EXPECT_TRUE(IsLockFree(list));
}

TEST_F(ContainerInfoListLoad, EmptyFileEmptiesTheListAndStaysEmpty) {
  Write(CatalogueFile(1, {"/a"}));
  ContainerInfoList list(File());
  Write("");
  list.Load(nullptr);
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_TRUE(IsLockFree(list));
  ExpectUntouched();
}

TEST_F(ContainerInfoListLoad, RecordsComeInFileOrderAndAreSynced) {
  Write(CatalogueFile(1, {"/c", "/a", "/d", "/b"}));
  ContainerInfoList list(File());
  EXPECT_EQ((Strings{"/c", "/a", "/d", "/b"}), PathsIn(list));
  EXPECT_EQ(Numbers(4, 0), StatesIn(list));
}

TEST_F(ContainerInfoListLoad, RecordsComeWithAllTheirFields) {
  Strings const blobs{ContainerBytes("/a", "first", "second", 0x11223344, {{"sub", 1, 2}}),
                      ContainerBytes("/b"), ContainerBytes("", "x", "", 7)};
  Write(RecordFile(0, 1, "", blobs));
  ContainerInfoList list(File());
  Strings encoded;
  for (ContainerInfo& record : RecordsOf(list)) {
    encoded.push_back(DataOf(record.WriteData()));
  }
  EXPECT_EQ(blobs, encoded);
}

TEST_F(ContainerInfoListLoad, HeaderOfTheFileIsSteppedOver) {
  Write(RecordFile(0x12345678, 1, Pattern(33, 1), {ContainerBytes("/a")}));
  ContainerInfoList list(File());
  EXPECT_EQ(Strings{"/a"}, PathsIn(list));
}

TEST_F(ContainerInfoListLoad, EachRecordHasOnlyItsOwnSubRecords) {
  Write(RecordFile(0, 1, "",
                   {ContainerBytes("/a", "", "", 0, {{"a1", 1, 1}, {"a2", 2, 2}}),
                    ContainerBytes("/b"), ContainerBytes("/c", "", "", 0, {{"c1", 3, 3}})}));
  ContainerInfoList list(File());
  Numbers counts;
  for (ContainerInfo const& record : RecordsOf(list)) {
    counts.push_back(static_cast<unsigned int>(record.SubConts.size()));
  }
  EXPECT_EQ((Numbers{2, 0, 1}), counts);
  EXPECT_EQ("c1", DataOf(RecordsOf(list).back().SubConts.front().Ident));
}

TEST_F(ContainerInfoListLoad, SecondLoadReplacesTheRecords) {
  Write(CatalogueFile(1, {"/a", "/b"}));
  ContainerInfoList list(File());
  RecordsOf(list).front().State = ContainerInfo::StateAdded;
  RecordsOf(list).push_back(Record("/own", ContainerInfo::StateAdded));
  list.Load(nullptr);
  EXPECT_EQ((Strings{"/a", "/b"}), PathsIn(list));
  EXPECT_EQ(Numbers(2, 0), StatesIn(list));
  Write(CatalogueFile(1, {"/c"}));
  list.Load(nullptr);
  EXPECT_EQ(Strings{"/c"}, PathsIn(list));
}

TEST_F(ContainerInfoListLoad, DuplicatesAreAllLoaded) {
  for (unsigned int const mark : {0U, 1U}) {
    std::string const path = Container("key");
    Write(CatalogueFile(mark, {path, path, path}));
    ContainerInfoList list(File());
    EXPECT_EQ((Strings{path, path, path}), PathsIn(list));
    ExpectUntouched();
  }
}

TEST_F(ContainerInfoListLoad, LeavesNoDescriptorAndNoFileLock) {
  Write(CatalogueFile(1, {"/a"}));
  int const before = CountDescriptors();
  ContainerInfoList list(File());
  list.Load(nullptr);
  EXPECT_EQ(before, CountDescriptors());
  EXPECT_EQ(Lock::None, FileLockOf(m_file));
}

// The load waits at the file, which another thread holds, and so do the readers of the list.
TEST_F(ContainerInfoListLoad, ReadersOfTheListWaitForTheLoad) {
  Write(CatalogueFile(1, {"/a"}));
  ContainerInfoList list(File());
  IPC::CReadWriteLock_file fileLock(File());
  auto held = std::make_unique<IPC::CWriteLocker>(fileLock);
  ThreadPeer loader([&](PeerSide& /*side*/) { list.Load(nullptr); });
  EXPECT_TRUE(loader.AwaitBlocked());
  ThreadPeer reader([&](PeerSide& side) {
    IPC::CReadLocker const locker(list.GetSyncList()->Lock);
    side.Reached();
  });
  EXPECT_TRUE(reader.AwaitBlocked());
  held.reset();
  EXPECT_TRUE(loader.Finish());
  EXPECT_TRUE(reader.AwaitStep());
  EXPECT_TRUE(reader.Finish());
}

TEST_F(ContainerInfoListLoad, WaitsForTheReadersOfTheList) {
  Write(CatalogueFile(1, {"/a"}));
  ContainerInfoList list(File());
  auto held = std::make_unique<IPC::CReadLocker>(list.GetSyncList()->Lock);
  ThreadPeer loader([&](PeerSide& side) {
    list.Load(nullptr);
    side.Reached();
  });
  EXPECT_TRUE(loader.AwaitBlocked());
  EXPECT_EQ(Strings{"/a"}, PathsIn(list));
  held.reset();
  EXPECT_TRUE(loader.AwaitStep());
}

TEST_F(ContainerInfoListLoad, CursorsStayAsTheyAre) {
  Write(CatalogueFile(1, {"/a", "/b"}));
  ContainerInfoList list(File());
  constexpr unsigned int kAtTheEnd = 7;
  constexpr unsigned int kOnARecord = 8;
  ContainerInfoItrMgr& cursors = *list.GetListItrMgr();
  cursors.GetItrForThread(kAtTheEnd) = RecordsOf(list).end();
  cursors.GetItrForThread(kOnARecord) = RecordsOf(list).begin();
  ContainerInfoItrMgr::Cursor const before = cursors.GetItrForThread(kOnARecord);
  ContainerInfoItrMgr::Cursor* const entry = &cursors.GetItrForThread(kOnARecord);
  list.Load(nullptr);
  EXPECT_EQ(entry, &cursors.GetItrForThread(kOnARecord));
  EXPECT_TRUE(before == cursors.GetItrForThread(kOnARecord));
  EXPECT_TRUE(RecordsOf(list).end() == cursors.GetItrForThread(kAtTheEnd));
}

TEST_F(ContainerInfoListLoad, WalkStartsAnewAfterwards) {
  Write(CatalogueFile(1, {"/a", "/b"}));
  ContainerInfoList list(File());
  list.GetFirst();
  list.GetNext();
  Write(CatalogueFile(1, {"/c", "/d"}));
  list.Load(nullptr);
  EXPECT_STREQ("/c", list.GetFirst());
  EXPECT_STREQ("/d", list.GetNext());
  EXPECT_EQ(nullptr, list.GetNext());
}

TEST_F(ContainerInfoListLoad, DestructionSavesNothing) {
  Write(CatalogueFile(0, {Container("key")}));
  {
    ContainerInfoList list(File());
    RecordsOf(list).front().State = ContainerInfo::StateRemoved;
    RecordsOf(list).push_back(Record(Container("own"), ContainerInfo::StateAdded));
  }
  ExpectUntouched();
}

TEST_F(ContainerInfoListLoad, DestructionOfAListThatWasNeverSavedMakesNoFile) {
  {
    ContainerInfoList list(File());
    RecordsOf(list).push_back(Record("/own", ContainerInfo::StateAdded));
  }
  EXPECT_TRUE(m_folder.Names().empty());
}

}  // namespace
