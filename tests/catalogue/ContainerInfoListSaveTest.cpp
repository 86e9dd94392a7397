// ContainerInfoList: saving, apart from the merge itself.

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <list>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "foundation/XTOOStatus.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"

namespace {

class ContainerInfoListSave : public CatalogueFixture {
 protected:
  // An empty one that is to be saved to the file, which is removed.
  std::unique_ptr<ContainerInfoList> List() const {
    std::filesystem::remove(m_file);
    return std::make_unique<ContainerInfoList>(File());
  }
};

using Numbers = std::vector<unsigned int>;

void ExpectThrowsForWantOfAName(ContainerInfoList& list, bool wait) {
  struct Shown : XTOOStatus {
    explicit Shown(XTOOStatus const& status) : XTOOStatus(status) {}
    bool IsRaised() const { return Flag; }
  };
  try {
    list.Save(wait);
    FAIL();
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(28, status.Status());
    EXPECT_STREQ("ContainerInfoList", status.ErrorMessage());
    EXPECT_EQ(typeid(XTOOStatus), typeid(status));
    EXPECT_FALSE(Shown(status).IsRaised());
  }
}

TEST_F(ContainerInfoListSave, WithoutANameThrowsAndChangesNothing) {
  ContainerInfoList list;
  std::string const good = Container("good");
  Paths const paths{good, "", good, Missing("gone")};
  for (std::string const& path : paths) {
    RecordsOf(list).push_back(Record(path, ContainerInfo::StateAdded));
  }
  int const before = CountDescriptors();
  ExpectThrowsForWantOfAName(list, true);
  ExpectThrowsForWantOfAName(list, false);
  EXPECT_EQ(paths, PathsIn(list));
  EXPECT_EQ(Numbers(4, ContainerInfo::StateAdded), StatesIn(list));
  EXPECT_EQ(before, CountDescriptors());
  EXPECT_TRUE(IsLockFree(list));
}

// A wait would never end: this thread holds the lock.
TEST_F(ContainerInfoListSave, WithoutANameThrowsBeforeItWaits) {
  EXPECT_TRUE(InProcess([] {
    ContainerInfoList list;
    IPC::CWriteLocker const locker(list.GetSyncList()->Lock);
    ExpectThrowsForWantOfAName(list, true);
    return true;
  }));
}

TEST_F(ContainerInfoListSave, WithoutANameThrowsAlsoAfterLoadingFromTheEmptyName) {
  Write(CatalogueFile(1, {"/a"}));
  ContainerInfoList list(File());
  list.Load("");
  ExpectThrowsForWantOfAName(list, true);
  ExpectUntouched();
}

TEST_F(ContainerInfoListSave, MakesAMissingFileWithTheAddedRecords) {
  auto const list = List();
  std::string const first = Container("z");
  std::string const second = Container("a");
  RecordsOf(*list).push_back(Record(first, ContainerInfo::StateAdded));
  RecordsOf(*list).push_back(Record(second, ContainerInfo::StateAdded));
  list->Save(true);
  EXPECT_EQ(CatalogueFile(1, {first, second}), FileBytes());
  EXPECT_EQ((Paths{first, second}), PathsIn(*list));
  EXPECT_EQ(Numbers(2, ContainerInfo::StateSynced), StatesIn(*list));
}

TEST_F(ContainerInfoListSave, MissingFileDropsTheSyncedRecords) {
  std::string const synced = Container("synced");
  std::string const added = Container("added");
  Write(CatalogueFile(1, {synced}));
  ContainerInfoList list(File());
  RecordsOf(list).push_back(Record(added, ContainerInfo::StateAdded));
  std::filesystem::remove(m_file);
  list.Save(true);
  EXPECT_EQ(Paths{added}, PathsIn(list));
  EXPECT_EQ(CatalogueFile(1, {added}), FileBytes());
}

TEST_F(ContainerInfoListSave, EmptyFileIsTakenForAMissingOne) {
  std::string const added = Container("added");
  auto const list = List();
  Write("");
  RecordsOf(*list).push_back(Record(added, ContainerInfo::StateAdded));
  RecordsOf(*list).push_back(Record(Container("synced")));
  list->Save(true);
  EXPECT_EQ(Paths{added}, PathsIn(*list));
  EXPECT_EQ(CatalogueFile(1, {added}), FileBytes());
}

TEST_F(ContainerInfoListSave, SetsTheMarkWhateverItWas) {
  std::string const path = Container("key");
  for (unsigned int const mark : {0U, 1U, 2U, 0xFFFFFFFFU}) {
    auto const list = List();
    Write(CatalogueFile(mark, {path}));
    list->Save(true);
    EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
  }
}

TEST_F(ContainerInfoListSave, KeepsTheFirstWordAndTheHeader) {
  std::string const path = Container("key");
  for (unsigned int const size : {0U, 1U, 5U, 4000U}) {
    std::string const header = Pattern(size, 1);
    auto const list = List();
    Write(RecordFile(0x12345678, 0, header, {ContainerBytes(path)}));
    list->Save(true);
    EXPECT_EQ(RecordFile(0x12345678, 1, header, {ContainerBytes(path)}), FileBytes());
  }
}

TEST_F(ContainerInfoListSave, WithNothingLeftWritesWordsAndHeaderOnly) {
  auto const list = List();
  RecordsOf(*list).push_back(Record("/gone", ContainerInfo::StateRemoved));
  Write(RecordFile(7, 0, "header", {ContainerBytes("/gone")}));
  list->Save(true);
  EXPECT_TRUE(RecordsOf(*list).empty());
  EXPECT_EQ(RecordFile(7, 1, "header", {}), FileBytes());
}

TEST_F(ContainerInfoListSave, OfNothingToNothingMakesTheTwelveBytes) {
  List()->Save(true);
  EXPECT_EQ("00 00 00 00 01 00 00 00 00 00 00 00", ToHex(FileBytes()));
}

// Had the repair come after the merge, it would have removed and marked in vain.
TEST_F(ContainerInfoListSave, RepairsBeforeItMerges) {
  std::string const good = Container("good");
  std::string const gone = Missing("gone");
  std::string const guard = Container("usrguard");
  Write(CatalogueFile(1, {good, gone, guard}));
  ContainerInfoList list(File());
  RecordsOf(list).push_back(Record(good, ContainerInfo::StateAdded, 7));
  RecordsOf(list).push_back(Record("", ContainerInfo::StateAdded));
  list.Save(true);
  EXPECT_EQ(Paths{good}, PathsIn(list));
  EXPECT_EQ(Numbers{0}, ParamsIn(list));
  EXPECT_EQ(CatalogueFile(1, {good}), FileBytes());
}

TEST_F(ContainerInfoListSave, FileHoldsExactlyTheRecordsInOrder) {
  std::string const a = Container("a");
  std::string const b = Container("b");
  std::string const c = Container("c");
  Write(RecordFile(0, 1, "",
                   {ContainerBytes(b, "i", "j", 5, {{"s", 1, 2}}), ContainerBytes(c, "", "", 6)}));
  ContainerInfoList list(File());
  RecordsOf(list).push_front(Record(a, ContainerInfo::StateAdded, 9));
  RecordsOf(list).front().Ident2 = Blob("own");
  list.Save(true);
  Paths encoded;
  for (ContainerInfo& record : RecordsOf(list)) {
    encoded.push_back(DataOf(record.WriteData()));
  }
  EXPECT_EQ((Paths{ContainerBytes(a, "", "own", 9), ContainerBytes(b, "i", "j", 5, {{"s", 1, 2}}),
                   ContainerBytes(c, "", "", 6)}),
            encoded);
  EXPECT_EQ(RecordFile(0, 1, "", encoded), FileBytes());
}

TEST_F(ContainerInfoListSave, StateIsNeverWritten) {
  std::string const path = Container("key");
  for (unsigned int const state : {1U, 2U, 4U, 0xFFFFFFFFU}) {
    auto const list = List();
    Write(CatalogueFile(1, {path}));
    RecordsOf(*list).push_back(Record(path, state));
    list->Save(true);
    EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
    EXPECT_EQ(Numbers{state}, StatesIn(*list));
  }
}

TEST_F(ContainerInfoListSave, RecordDamageCostsTheFilesRecords) {
  std::string const kept = Container("synced");
  std::string const added = Container("added");
  std::string const whole = RecordFile(7, 0, "head", {ContainerBytes(kept), ContainerBytes(added)});
  std::string const oneLess = RecordFile(7, 0, "head", {ContainerBytes(kept)});
  for (std::size_t size = 16; size < whole.size(); ++size) {
    if (size == oneLess.size() || size == 16) {
      continue;  // There a record ends.
    }
    auto const list = List();
    Write(whole.substr(0, size));
    RecordsOf(*list).push_back(Record(kept));
    RecordsOf(*list).push_back(Record(added, ContainerInfo::StateAdded, 3));
    list->Save(true);
    EXPECT_EQ(Paths{added}, PathsIn(*list)) << size;
    EXPECT_EQ(Numbers{ContainerInfo::StateSynced}, StatesIn(*list));
    EXPECT_EQ(RecordFile(7, 1, "head", {ContainerBytes(added, "", "", 3)}), FileBytes()) << size;
  }
}

TEST_F(ContainerInfoListSave, FileShorterThanItsWordsIsWrittenAnew) {
  std::string const added = Container("added");
  for (std::size_t size = 1; size < 12; ++size) {
    auto const list = List();
    Write(std::string(size, '\x01'));
    RecordsOf(*list).push_back(Record(Container("synced")));
    RecordsOf(*list).push_back(Record(added, ContainerInfo::StateAdded));
    list->Save(true);
    EXPECT_EQ(Paths{added}, PathsIn(*list));
    // The first word as far as there was one.
    std::string const first = (std::string(size, '\x01') + std::string(4, '\0')).substr(0, 4);
    EXPECT_EQ(first + CatalogueFile(1, {added}).substr(4), FileBytes()) << size;
  }
}

TEST_F(ContainerInfoListSave, HeaderPastTheEndIsGivenUp) {
  std::string const added = Container("added");
  auto const list = List();
  Write(Word(7) + Word(0) + Word(0x7FFFFFFF) + "1234");
  RecordsOf(*list).push_back(Record(added, ContainerInfo::StateAdded));
  list->Save(true);
  EXPECT_EQ(RecordFile(7, 1, "", {ContainerBytes(added)}), FileBytes());
}

TEST_F(ContainerInfoListSave, MalformedBlobLeavesTheFileAndOnlyRepairsTheList) {
  std::string const good = Container("good");
  for (std::string const& bad :
       {std::string(), std::string("x"), ContainerBytes(good).substr(0, 20)}) {
    auto const list = List();
    Write(RecordFile(0, 0, "", {ContainerBytes(good), bad, ContainerBytes("/b")}));
    RecordsOf(*list).push_back(Record(good));
    RecordsOf(*list).push_back(Record("", ContainerInfo::StateAdded));
    RecordsOf(*list).push_back(Record(Missing("gone"), ContainerInfo::StateAdded));
    RecordsOf(*list).push_back(Record(good, ContainerInfo::StateAdded));
    int const before = CountDescriptors();
    list->Save(true);
    EXPECT_EQ((Paths{good, Missing("gone")}), PathsIn(*list));
    EXPECT_EQ((Numbers{0, 3}), StatesIn(*list));
    EXPECT_EQ(before, CountDescriptors());
    EXPECT_EQ(Lock::None, FileLockOf(m_file));
    EXPECT_TRUE(IsLockFree(*list));
    ExpectUntouched();
  }
}

TEST_F(ContainerInfoListSave, LeavesNoDescriptorAndNoLock) {
  Write(CatalogueFile(0, {Container("key")}));
  ContainerInfoList list(File());
  int const before = CountDescriptors();
  for (bool const wait : {true, false}) {
    list.Save(wait);
    EXPECT_EQ(before, CountDescriptors());
    EXPECT_EQ(Lock::None, FileLockOf(m_file));
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path()));
    EXPECT_TRUE(IsLockFree(list));
  }
  EXPECT_EQ((std::vector<std::string>{"catalogue", "key"}), m_folder.Names());
}

TEST_F(ContainerInfoListSave, FolderInThePlaceOfTheFileIsKeptQuiet) {
  auto const list = List();
  std::filesystem::create_directory(m_file);
  RecordsOf(*list).push_back(Record(Container("key"), ContainerInfo::StateAdded));
  int const before = CountDescriptors();
  list->Save(true);
  EXPECT_EQ(before, CountDescriptors());
  EXPECT_TRUE(std::filesystem::is_directory(m_file));
  EXPECT_TRUE(IsLockFree(*list));
}

TEST_F(ContainerInfoListSave, MissingFolderOfTheFileIsKeptQuiet) {
  std::string const added = Container("key");
  ContainerInfoList list((m_folder / "no/folder/catalogue").c_str());
  RecordsOf(list).push_back(Record(added, ContainerInfo::StateAdded));
  int const before = CountDescriptors();
  list.Save(true);
  EXPECT_EQ(before, CountDescriptors());
  EXPECT_EQ(std::vector<std::string>{"key"}, m_folder.Names());
}

// As an ordinary user, who may read but not write it.
TEST_F(ContainerInfoListSave, ReadOnlyFileIsLeftAsItWas) {
  Write(CatalogueFile(0, {Container("key")}));
  ASSERT_EQ(0, ::chmod(m_folder.Path().c_str(), 0755));
  ASSERT_EQ(0, ::chmod(File(), 0444));
  EXPECT_TRUE(AsOrdinaryUser([&] {
    int const before = CountDescriptors();
    ContainerInfoList list(File());
    list.Save(true);
    EXPECT_EQ(Paths{m_folder / "key"}, PathsIn(list));
    EXPECT_EQ(before, CountDescriptors());
    EXPECT_TRUE(IsLockFree(list));
  }));
  ExpectUntouched();
}

// A full disk, as far as the process can tell. What was in the file is lost; nothing else is.
TEST_F(ContainerInfoListSave, FullDiskLeavesNoLockAndNoDescriptor) {
  std::string const path = Container("key");
  Write(RecordFile(0, 1, "", {ContainerBytes(path, Pattern(5000, 1))}));
  for (rlim_t const room : {0U, 1U, 11U, 12U, 13U, 4096U}) {
    EXPECT_TRUE(InProcess([&] {
      ContainerInfoList list(File());
      RecordsOf(list).push_back(Record(path + "2", ContainerInfo::StateAdded));
      WriteFile(path + "2", "");
      ::signal(SIGXFSZ, SIG_IGN);
      struct rlimit const limit{room, room};
      ::setrlimit(RLIMIT_FSIZE, &limit);
      int const before = CountDescriptors();
      list.Save(true);
      EXPECT_EQ(before, CountDescriptors());
      EXPECT_EQ(Lock::None, FileLockOf(m_file));
      EXPECT_TRUE(IsLockFree(list));
      EXPECT_EQ(2U, RecordsOf(list).size());
      EXPECT_LE(StatOf(m_file).st_size, static_cast<off_t>(room));
      return true;
    })) << room;
    WriteFile(m_file, RecordFile(0, 1, "", {ContainerBytes(path, Pattern(5000, 1))}));
  }
}

}  // namespace
