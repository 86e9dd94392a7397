// ContainerInfoList: assignment.

#include <list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"

namespace {

class ContainerInfoListAssign : public CatalogueFixture {
 protected:
  static void Fill(ContainerInfoList& list, Paths const& paths) {
    for (std::string const& path : paths) {
      RecordsOf(list).push_back(Record(path));
    }
  }
};

using Numbers = std::vector<unsigned int>;

TEST_F(ContainerInfoListAssign, ToItselfChangesNothingAndTakesNoLock) {
  ContainerInfoList list;
  Fill(list, {"/a", "/b"});
  ContainerInfoList const& same = list;
  EXPECT_TRUE(InProcess([&] {
    IPC::CWriteLocker const locker(list.GetSyncList()->Lock);
    return &list == &(list = same);
  }));
  EXPECT_EQ(&list, &(list = same));
  EXPECT_EQ((Paths{"/a", "/b"}), PathsIn(list));
}

TEST_F(ContainerInfoListAssign, ReturnsTheObject) {
  ContainerInfoList list;
  ContainerInfoList const other;
  EXPECT_EQ(&list, &(list = other));
}

TEST_F(ContainerInfoListAssign, TakesOverTheFileName) {
  std::string const path = Container("key");
  ContainerInfoList list((m_folder / "old").c_str());
  {
    ContainerInfoList const other(File());
    list = other;
  }
  list.Add(path.c_str());
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
  EXPECT_EQ((std::vector<std::string>{"catalogue", "key"}), m_folder.Names());
}

TEST_F(ContainerInfoListAssign, TakesOverTheEmptyFileName) {
  ContainerInfoList list(File());
  ContainerInfoList const other;
  list = other;
  EXPECT_ANY_THROW(list.Save(true));
  EXPECT_TRUE(m_folder.Names().empty());
}

TEST_F(ContainerInfoListAssign, CopiesRecordByRecordDeeply) {
  ContainerInfoList list;
  Fill(list, {"/a", "/b"});
  std::string blob;
  {
    ContainerInfoList other;
    Fill(other, {"/c", "/d"});
    ContainerInfo& record = RecordsOf(other).front();
    record.Ident1 = Blob("one");
    record.Ident2 = Blob("two");
    record.Param = 3;
    record.SubConts.resize(2);
    record.State = ContainerInfo::StateRemoved;
    blob = DataOf(record.WriteData());
    list = other;
    EXPECT_EQ((Paths{"/c", "/d"}), PathsIn(other));
  }
  EXPECT_EQ((Paths{"/c", "/d"}), PathsIn(list));
  EXPECT_EQ((Numbers{ContainerInfo::StateRemoved, 0}), StatesIn(list));
  EXPECT_EQ(blob, DataOf(RecordsOf(list).front().WriteData()));
}

TEST_F(ContainerInfoListAssign, SurplusRecordsStay) {
  ContainerInfoList list;
  Fill(list, {"/a", "/b", "/c"});
  ContainerInfoList other;
  list = other;
  EXPECT_EQ((Paths{"/a", "/b", "/c"}), PathsIn(list));
  Fill(other, {"/x"});
  list = other;
  EXPECT_EQ((Paths{"/x", "/b", "/c"}), PathsIn(list));
}

TEST_F(ContainerInfoListAssign, StopsAtTheEndOfAShorterTarget) {
  ContainerInfoList list;
  ContainerInfoList other;
  Fill(other, {"/x", "/y", "/z"});
  list = other;
  EXPECT_TRUE(RecordsOf(list).empty());
  Fill(list, {"/a"});
  list = other;
  EXPECT_EQ(Paths{"/x"}, PathsIn(list));
  EXPECT_EQ((Paths{"/x", "/y", "/z"}), PathsIn(other));
}

TEST_F(ContainerInfoListAssign, DoesNotTakeTheOthersLock) {
  ContainerInfoList list;
  ContainerInfoList other;
  Fill(list, {"/a"});
  Fill(other, {"/x"});
  EXPECT_TRUE(InProcess([&] {
    IPC::CWriteLocker const locker(other.GetSyncList()->Lock);
    list = other;
    return PathsIn(list) == Paths{"/x"};
  }));
}

TEST_F(ContainerInfoListAssign, WaitsForItsOwnLock) {
  ContainerInfoList list;
  ContainerInfoList other;
  Fill(list, {"/a"});
  Fill(other, {"/x"});
  {
    auto held = std::make_unique<IPC::CReadLocker>(list.GetSyncList()->Lock);
    ThreadPeer peer([&](PeerSide& side) {
      list = other;
      side.Reached();
    });
    EXPECT_TRUE(peer.AwaitBlocked());
    EXPECT_EQ(Paths{"/a"}, PathsIn(list));
    held.reset();
    EXPECT_TRUE(peer.AwaitStep());
  }
  EXPECT_EQ(Paths{"/x"}, PathsIn(list));
  EXPECT_TRUE(IsLockFree(list));
  EXPECT_TRUE(IsLockFree(other));
}

TEST_F(ContainerInfoListAssign, MovesNoCursorAndNoRecord) {
  ContainerInfoList list;
  ContainerInfoList other;
  Fill(list, {"/a", "/b", "/c"});
  Fill(other, {"/x", "/y", "/z"});
  list.GetFirst();
  list.GetNext();
  other.GetFirst();
  ContainerInfo const* const record = &*std::next(RecordsOf(list).begin());
  list = other;
  EXPECT_EQ(record, &*std::next(RecordsOf(list).begin()));
  EXPECT_STREQ("/y", record->Path);
  EXPECT_STREQ("/z", list.GetNext());
  EXPECT_STREQ("/y", other.GetNext());
}

TEST_F(ContainerInfoListAssign, WritesNoFile) {
  Write(CatalogueFile(0, {Container("key")}));
  ContainerInfoList list;
  {
    ContainerInfoList const other(File());
    Fill(list, {"/a"});
    list = other;
  }
  ExpectUntouched();
}

}  // namespace
