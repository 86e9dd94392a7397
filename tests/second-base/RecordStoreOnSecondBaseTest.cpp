// Record stores on disk and in memory, over the second base.

#include <list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/XTOOStatus.h"
#include "recordstore/ASNCreateLockName.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/QuasiStructBuffer.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

using Texts = std::list<std::string>;

class RecordStoreOnSecondBase : public testing::Test {
 protected:
  static Texts All(QuasiStructFileBase& store) {
    std::list<IdentObj> blobs;
    EXPECT_EQ(0U, store.GetAll(blobs));
    return DataOf(blobs);
  }

  // Replaces records by longer and shorter ones, at both ends and in the middle.
  static void Change(QuasiStructFileBase& store) {
    for (char const* const text : {"first", "second", "third", "fourth"}) {
      EXPECT_EQ(0U, store.Add(Blob(text)));
    }
    EXPECT_EQ(0U, store.Put(1, Blob(std::string(100, '+'))));
    EXPECT_EQ(0U, store.PutHeader(Blob("a header")));
    EXPECT_EQ("third", Record(store, 2));
    EXPECT_EQ(194U, store.Get(4, m_ignored));
    EXPECT_EQ(28U, store.Del(4));
  }

  static std::string Record(QuasiStructFileBase& store, long index) {
    IdentObj blob;
    EXPECT_EQ(0U, store.Get(index, blob));
    return DataOf(blob);
  }

  Texts const m_changed{"first", std::string(100, '+'), "third", "fourth"};
  static inline IdentObj m_ignored;
  TempFolder const m_folder;
  std::string const m_file = m_folder / "records";
};

TEST_F(RecordStoreOnSecondBase, KeepsRecordsOnDisk) {
  CQuasiStructFile store(m_file.c_str(), true, false);
  Change(store);
  EXPECT_EQ(m_changed, All(store));
  EXPECT_EQ(0U, store.Put(1, Blob("-")));
  EXPECT_EQ(0U, store.Del(0));
  EXPECT_EQ((Texts{"-", "third", "fourth"}), All(store));
  EXPECT_EQ(RecordFile(0, 0, "a header", {"-", "third", "fourth"}), ReadFile(m_file));
}

TEST_F(RecordStoreOnSecondBase, KeepsRecordsInMemory) {
  QuasiStructBuffer store(nullptr, 0);
  EXPECT_EQ(0U, store.PutList({}));
  Change(store);
  EXPECT_EQ(m_changed, All(store));
  EXPECT_EQ(RecordFile(0, 0, "a header", m_changed), store.GetBuffer());
}

TEST_F(RecordStoreOnSecondBase, SeesWhatAnotherStoreWrote) {
  CQuasiStructFile store(m_file.c_str(), true, false);
  CQuasiStructFile other(m_file.c_str(), true, false);
  for (unsigned int count = 1; count <= 20; ++count) {
    EXPECT_EQ(0U, other.Add(Blob(std::to_string(count))));
    EXPECT_EQ(std::to_string(count), Record(store, count - 1));
  }
}

TEST_F(RecordStoreOnSecondBase, TellsWhyItFailed) {
  CQuasiStructFile missing(m_file.c_str(), false, false);
  EXPECT_EQ(4, missing.Status());
  EXPECT_EQ(m_file, missing.ErrorMessage());
  EXPECT_THROW(CQuasiStructFile(m_file.c_str(), false, true), XTOOStatus);
  EXPECT_EQ(nullptr, missing.LockReadFile());

  std::string const good = RecordFile({"one", "two"});
  for (std::size_t size = 1; size < good.size(); ++size) {
    WriteFile(m_file, good.substr(0, size));
    CQuasiStructFile cut(m_file.c_str(), false, false);
    bool const isWhole = size == 12 || size == 19;
    EXPECT_EQ(isWhole, cut.Status() == 0) << size;
    std::list<IdentObj> blobs;
    EXPECT_EQ(isWhole, cut.GetAll(blobs) == 0) << size;
  }
}

TEST_F(RecordStoreOnSecondBase, HoldOfTheFileKeepsAnotherProcessOut) {
  CQuasiStructFile store(m_file.c_str(), true, false);
  EXPECT_EQ(0U, store.Add(Blob("one")));
  ProcessPeer peer([&](PeerSide& side) {
    side.AwaitGo();
    CQuasiStructFile own(m_file.c_str(), true, false);
    EXPECT_EQ(0U, own.Add(Blob("three")));
  });
  std::unique_ptr<IPC::CWriteLocker> hold(store.LockWriteFile());
  peer.Go();
  EXPECT_TRUE(peer.AwaitBlocked());
  EXPECT_EQ(0U, store.Add(Blob("two")));
  hold.reset();
  EXPECT_TRUE(peer.Finish());
  EXPECT_EQ((Texts{"one", "two", "three"}), All(store));
}

TEST_F(RecordStoreOnSecondBase, LockNameIsMadeWhereNoneIs) {
  CTOOString name;
  EXPECT_TRUE(ASNCreateLockName(nullptr, m_file.c_str(), &name));
  EXPECT_EQ(m_file.size() + 6, name.Length());
  EXPECT_TRUE(ASNCreateLockName(nullptr, name, nullptr));
  EXPECT_FALSE(ASNCreateLockName(nullptr, (m_folder / "no/where").c_str(), &name));
}

}  // namespace
