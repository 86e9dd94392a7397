// Reload and Unload.

#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/LockProbe.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::ElementsAre;

class RecordStoreReload : public testing::Test {
 protected:
  static std::string Made(std::string const& path, std::string const& content) {
    MakeOldFile(path, content);
    return path;
  }

  TempFolder m_folder;
  std::string const m_path = Made(m_folder / "records", SomeFile());
  std::string const m_otherPath = Made(m_folder / "other", RecordFile(7, 8, "other", {"a", "b"}));
  std::string const m_missingPath = m_folder / "missing";
  ExposedStore m_store{m_path, true};
};

TEST_F(RecordStoreReload, NullKeepsTheName) {
  MakeOldFile(m_path, RecordFile({"one", "two"}));
  EXPECT_EQ(0U, m_store.Reload(nullptr, true, false));
  EXPECT_EQ(m_path, static_cast<char const*>(m_store.FileName()));
  EXPECT_EQ(m_path, static_cast<char const*>(m_store.LockName()));
  EXPECT_THAT(m_store.Offsets(), ElementsAre(12, 19));
}

TEST_F(RecordStoreReload, TheStoresOwnNameMayBeGiven) {
  EXPECT_EQ(0U, m_store.Reload(m_store.FileName(), true, false));
  EXPECT_EQ(m_path, static_cast<char const*>(m_store.FileName()));
  EXPECT_EQ(0U, m_store.Reload(m_store.LockName(), true, false));
  EXPECT_EQ(m_path, static_cast<char const*>(m_store.FileName()));
}

TEST_F(RecordStoreReload, NameTargetsThatFile) {
  EXPECT_EQ(0U, m_store.Reload(m_otherPath.c_str(), true, false));
  EXPECT_EQ(m_otherPath, static_cast<char const*>(m_store.FileName()));
  EXPECT_EQ(m_otherPath, static_cast<char const*>(m_store.LockName()));
  EXPECT_EQ(7U, m_store.Words.Reserved);
  EXPECT_EQ(8U, m_store.Words.CleanedMark);
  EXPECT_EQ("other", DataOf(m_store.Header()));
  EXPECT_THAT(m_store.Offsets(), ElementsAre(17, 22));
  ASSERT_EQ(0U, m_store.Add(Blob("c")));
  EXPECT_EQ(SomeFile(), ReadFile(m_path));
  EXPECT_EQ(RecordFile(7, 8, "other", {"a", "b", "c"}), ReadFile(m_otherPath));
}

TEST_F(RecordStoreReload, NothingOfTheOldFileIsLeft) {
  MakeOldFile(m_otherPath, RecordFile({"a"}));
  m_store.ReservedLong() = 1;
  m_store.ReservedShort() = 1;
  EXPECT_EQ(0U, m_store.Reload(m_otherPath.c_str(), true, false));
  EXPECT_EQ(0U, m_store.Header().Length);
  EXPECT_EQ(0U, m_store.Words.CleanedMark);
  EXPECT_EQ(0U, m_store.ReservedLong());
  EXPECT_EQ(0U, m_store.ReservedShort());
}

TEST_F(RecordStoreReload, StatusStartsOver) {
  for (bool const flag : {false, true}) {
    m_store.SetError(77);
    m_store.Text = "before";
    EXPECT_EQ(0U, m_store.Reload(nullptr, true, flag));
    EXPECT_EQ(0, m_store.Status());
    EXPECT_STREQ("", m_store.ErrorMessage());
    EXPECT_EQ(flag, m_store.StatusFlag());
  }
}

TEST_F(RecordStoreReload, CreateFlagIsSet) {
  for (bool const create : {false, true}) {
    m_store.Reload(nullptr, create, false);
    EXPECT_EQ(create, m_store.Create());
  }
}

TEST_F(RecordStoreReload, DamagedFileGivesTheCodeOfTheScan) {
  MakeOldFile(m_otherPath, RecordFile({"one"}) + Word(50));
  EXPECT_EQ(134U, m_store.Reload(m_otherPath.c_str(), true, true));
  EXPECT_EQ(134, m_store.Status());
  EXPECT_EQ(m_otherPath, m_store.ErrorMessage());
  EXPECT_THAT(m_store.Offsets(), ElementsAre(12));
}

TEST_F(RecordStoreReload, MissingFileThatMayBeMadeIsGood) {
  EXPECT_EQ(0U, m_store.Reload(m_missingPath.c_str(), true, false));
  EXPECT_EQ(0, m_store.Status());
  EXPECT_TRUE(m_store.Offsets().empty());
  EXPECT_EQ(0U, m_store.Header().Length);
  EXPECT_FALSE(IsThere(m_missingPath));
  EXPECT_NE(nullptr, m_store.LockObject());
}

TEST_F(RecordStoreReload, MissingFileThatMayNotBeMadeIsStatus4AndNoException) {
  for (bool const flag : {false, true}) {
    EXPECT_EQ(4U, m_store.Reload(m_missingPath.c_str(), false, flag));
    EXPECT_EQ(4, m_store.Status());
    EXPECT_EQ(m_missingPath, m_store.ErrorMessage());
    EXPECT_EQ(nullptr, m_store.LockObject());
  }
}

// It is the storage that is asked last: the path alone may be readable.
TEST_F(RecordStoreReload, MissingStorageIsStatus4WhereThePathIsReadable) {
  class Absent : public ExposedStore {
   public:
    bool stor_IsExists(char const*) override { return false; }
  };
  Absent store;
  EXPECT_EQ(4U, store.Reload(m_path.c_str(), false, false));
  EXPECT_EQ(4, store.Status());
  EXPECT_EQ(m_path, store.ErrorMessage());
  EXPECT_NE(nullptr, store.LockObject());
}

TEST_F(RecordStoreReload, EmptyFileThatMayNotBeMadeIsStatus4) {
  MakeOldFile(m_otherPath, "");
  for (bool const flag : {false, true}) {
    EXPECT_EQ(4U, m_store.Reload(m_otherPath.c_str(), false, flag));
    EXPECT_EQ(4, m_store.Status());
    EXPECT_EQ(m_otherPath, m_store.ErrorMessage());
    EXPECT_TRUE(m_store.Offsets().empty());
  }
}

TEST_F(RecordStoreReload, EmptyFileThatMayBeMadeIsGood) {
  MakeOldFile(m_otherPath, "");
  EXPECT_EQ(0U, m_store.Reload(m_otherPath.c_str(), true, false));
  EXPECT_EQ(0, m_store.Status());
  EXPECT_TRUE(m_store.Offsets().empty());
}

TEST_F(RecordStoreReload, OldLockIsDeletedOnceAndTheNewOneIsOverTheNewName) {
  NotedLock::Notes notes;
  m_store.m_lock = std::make_unique<NotedLock>(notes);
  m_store.Reload(m_otherPath.c_str(), true, false);
  EXPECT_EQ(1, notes.deleted);
  EXPECT_TRUE(notes.taken.empty());
  std::unique_ptr<IPC::CWriteLocker> const holder(m_store.LockWriteFile());
  ASSERT_NE(nullptr, holder);
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_otherPath));
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
}

// Unload.

TEST_F(RecordStoreReload, UnloadForgetsTheFile) {
  NotedLock::Notes notes;
  m_store.m_lock = std::make_unique<NotedLock>(notes);
  m_store.ReservedLong() = 1;
  m_store.ReservedShort() = 1;
  m_store.Unload();
  EXPECT_EQ(0U, m_store.Words.Reserved);
  EXPECT_EQ(0U, m_store.Words.CleanedMark);
  EXPECT_EQ(0U, m_store.Words.HeaderLength);
  EXPECT_EQ(0U, m_store.ReservedLong());
  EXPECT_EQ(0U, m_store.ReservedShort());
  EXPECT_STREQ("", m_store.FileName());
  EXPECT_EQ(0U, m_store.Header().Length);
  EXPECT_EQ(nullptr, m_store.LockObject());
  EXPECT_EQ(1, notes.deleted);
}

// Kept on purpose.
TEST_F(RecordStoreReload, UnloadKeepsOffsetsAndLockName) {
  m_store.Unload();
  EXPECT_EQ(SomeOffsets(), m_store.Offsets());
  EXPECT_EQ(m_path, static_cast<char const*>(m_store.LockName()));
}

TEST_F(RecordStoreReload, UnloadKeepsCreateFlagStatusAndLoadTime) {
  for (bool const flag : {false, true}) {
    ExposedStore store(m_path, flag, flag);
    unsigned long const loaded = TicksOf(store.LoadTime());
    store.Text = "some text";
    store.SetError(77);
    store.Unload();
    EXPECT_EQ(flag, store.Create());
    EXPECT_EQ(77, store.Status());
    EXPECT_STREQ("some text", store.ErrorMessage());
    EXPECT_EQ(flag, store.StatusFlag());
    EXPECT_EQ(loaded, TicksOf(store.LoadTime()));
    EXPECT_NE(0U, loaded);
  }
}

TEST_F(RecordStoreReload, UnloadTouchesNoFile) {
  timespec const aged = StatOf(m_path).st_mtim;
  m_store.Words.CleanedMark = 99;
  m_store.Unload();
  EXPECT_TRUE(m_store.Events.empty());
  EXPECT_EQ(SomeFile(), ReadFile(m_path));
  EXPECT_TRUE(aged == StatOf(m_path).st_mtim);
}

TEST_F(RecordStoreReload, UnloadMayBeRepeated) {
  m_store.Unload();
  m_store.Unload();
  EXPECT_EQ(0U, m_store.Reload(m_path.c_str(), false, false));
  EXPECT_EQ(SomeOffsets(), m_store.Offsets());
}

// Without a name of its own there is nothing to go back to.
TEST_F(RecordStoreReload, NullAfterUnloadNamesNoFile) {
  m_store.Unload();
  EXPECT_EQ(4U, m_store.Reload(nullptr, false, false));
  EXPECT_EQ(0U, m_store.Reload(nullptr, true, false));
  EXPECT_TRUE(m_store.Offsets().empty());
}

}  // namespace
