// Opening: PreInit and Init.

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/LockProbe.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr unsigned long kTicksPerMillisecond = 10000;

class RecordFileScan : public testing::Test {
 protected:
  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
};

// PreInit.

TEST_F(RecordFileScan, PreInitWithoutFileAndCreationIsStatus4AndMakesNoLock) {
  ExposedStore store;
  store.FileName() = m_path.c_str();
  store.Create() = false;
  store.PreInit();
  EXPECT_EQ(4, store.Status());
  EXPECT_EQ(m_path, store.ErrorMessage());
  EXPECT_EQ(nullptr, store.LockObject());
  EXPECT_STREQ("", store.LockName());
}

TEST_F(RecordFileScan, PreInitOfAFileThatMayNotBeReadIsStatus4AndMakesNoLock) {
  WriteFile(m_path, SomeFile());
  ::chmod(m_path.c_str(), 0);
  ::chmod(m_folder.Path().c_str(), 0755);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    ExposedStore store;
    store.FileName() = m_path.c_str();
    store.Create() = false;
    store.PreInit();
    EXPECT_EQ(4, store.Status());
    EXPECT_EQ(m_path, store.ErrorMessage());
    EXPECT_EQ(nullptr, store.LockObject());
    store.Clear();
    store.Create() = true;
    store.PreInit();
    EXPECT_EQ(0, store.Status());
    EXPECT_NE(nullptr, store.LockObject());
  }));
}

TEST_F(RecordFileScan, PreInitWithCreationMakesTheLockButNoFile) {
  ExposedStore store;
  store.FileName() = m_path.c_str();
  store.PreInit();
  EXPECT_EQ(0, store.Status());
  EXPECT_NE(nullptr, store.LockObject());
  EXPECT_EQ(m_path, static_cast<char const*>(store.LockName()));
  EXPECT_TRUE(m_folder.Names().empty());
}

TEST_F(RecordFileScan, PreInitOfAReadableFileMakesTheLockOverItsName) {
  WriteFile(m_path, SomeFile());
  for (bool const create : {false, true}) {
    ExposedStore store;
    store.FileName() = m_path.c_str();
    store.Create() = create;
    store.LockName() = "another";
    store.PreInit();
    EXPECT_EQ(0, store.Status());
    EXPECT_EQ(m_path, static_cast<char const*>(store.LockName()));
    std::unique_ptr<IPC::CWriteLocker> const holder(store.LockWriteFile());
    EXPECT_NE(nullptr, holder);
    EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
  }
}

TEST_F(RecordFileScan, PreInitAgainDeletesTheOldLock) {
  NotedLock::Notes notes;
  ExposedStore store(m_path, true);
  store.m_lock = std::make_unique<NotedLock>(notes);
  store.PreInit();
  EXPECT_EQ(1, notes.deleted);
  EXPECT_NE(nullptr, store.LockObject());
}

TEST_F(RecordFileScan, PreInitTouchesNoStorage) {
  WriteFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  store.PreInit();
  EXPECT_TRUE(store.Events.empty());
}

// Init.

TEST_F(RecordFileScan, InitMirrorsTheFile) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store;
  store.FileName() = m_path.c_str();
  store.Header() = Blob("a longer one that was there before");
  EXPECT_EQ(0U, store.Init());
  EXPECT_EQ(0x11223344U, store.Words.Reserved);
  EXPECT_EQ(5U, store.Words.CleanedMark);
  EXPECT_EQ(6U, store.Words.HeaderLength);
  EXPECT_EQ(SomeHeader(), DataOf(store.Header()));
  EXPECT_EQ(SomeOffsets(), store.Offsets());
  EXPECT_EQ(0, store.Status());
  EXPECT_EQ(SomeFile(), ReadFile(m_path));
}

TEST_F(RecordFileScan, InitTakesTheTimeBeforeItReads) {
  WriteFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  store.LoadTime() = CTOOFileTime();
  std::vector<unsigned long> atCalls;
  store.Before = [&](std::string const&) { atCalls.push_back(TicksOf(store.LoadTime())); };
  unsigned long const before = TicksNow();
  store.Init();
  ASSERT_FALSE(atCalls.empty());
  EXPECT_GT(atCalls.front() + kTicksPerMillisecond, before);  // Rounded down.
  EXPECT_LE(atCalls.front(), TicksNow());
  EXPECT_EQ(atCalls.front(), TicksOf(store.LoadTime()));
}

TEST_F(RecordFileScan, InitTakesTheTimeWithoutAFileToo) {
  for (bool const create : {false, true}) {
    ExposedStore store(m_path, create);
    store.LoadTime() = CTOOFileTime();
    unsigned long const before = TicksNow();
    store.Init();
    EXPECT_GT(TicksOf(store.LoadTime()) + kTicksPerMillisecond, before);
  }
}

TEST_F(RecordFileScan, InitClearsTheOffsetsFirst) {
  WriteFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  std::vector<std::size_t> atCalls;
  store.Before = [&](std::string const&) { atCalls.push_back(store.Offsets().size()); };
  ASSERT_EQ(3U, store.Offsets().size());
  store.Init();
  ASSERT_FALSE(atCalls.empty());
  EXPECT_EQ(0U, atCalls.front());
  EXPECT_EQ(SomeOffsets(), store.Offsets());
}

TEST_F(RecordFileScan, InitWithoutFileAndCreationIsStatus4) {
  for (bool const isEmpty : {false, true}) {
    if (isEmpty) {
      WriteFile(m_path, "");
    }
    ExposedStore store(m_path, false);
    store.Clear();
    store.Text = "before";
    store.Offsets() = {12};
    EXPECT_EQ(4U, store.Init());
    EXPECT_EQ(4, store.Status());
    EXPECT_EQ(m_path, store.ErrorMessage());
    EXPECT_TRUE(store.Offsets().empty());
    EXPECT_THAT(store.Names(), Not(Contains("Open rbc")));
  }
}

TEST_F(RecordFileScan, InitWithoutFileKeepsWordsAndHeader) {
  for (bool const isEmpty : {false, true}) {
    if (isEmpty) {
      WriteFile(m_path, "");
    }
    ExposedStore store(m_path, true);
    store.Words = {1, 2, 3};
    store.Header() = Blob("kept");
    store.Offsets() = {12, 30};
    EXPECT_EQ(0U, store.Init());
    EXPECT_EQ(0, store.Status());
    EXPECT_EQ(1U, store.Words.Reserved);
    EXPECT_EQ(2U, store.Words.CleanedMark);
    EXPECT_EQ(3U, store.Words.HeaderLength);
    EXPECT_EQ("kept", DataOf(store.Header()));
    EXPECT_TRUE(store.Offsets().empty());
    EXPECT_EQ(isEmpty, IsThere(m_path));
  }
}

TEST_F(RecordFileScan, InitWithoutFileAndNameLeavesTheText) {
  ExposedStore store;
  store.Create() = false;
  store.Text = "before";
  EXPECT_EQ(4U, store.Init());
  EXPECT_STREQ("before", store.ErrorMessage());
}

TEST_F(RecordFileScan, InitMakesAMissingLockOverTheFileName) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store;
  store.FileName() = m_path.c_str();
  store.Init();
  EXPECT_NE(nullptr, store.LockObject());
  EXPECT_STREQ("", store.LockName());
  EXPECT_THAT(store.LocksAt("Open rbc"), ElementsAre(Lock::Shared));
}

TEST_F(RecordFileScan, InitUsesTheLockThatIsThere) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  IPC::CReadWriteLock const* const lock = store.LockObject();
  store.Init();
  EXPECT_EQ(lock, store.LockObject());
}

TEST_F(RecordFileScan, InitHoldsTheLockFromTheOpenUntilTheHandleIsDeleted) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  store.Init();
  bool isOpen = false;
  for (ObservedStore::Event const& event : store.Events) {
    isOpen = isOpen || event.what == "Open rbc";
    EXPECT_EQ(isOpen ? Lock::Shared : Lock::None, event.lock) << event.what;
  }
  EXPECT_EQ("delete handle", store.Events.back().what);
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
}

TEST_F(RecordFileScan, InitWithAFailedOpenReturnsTheHandlesCode) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  store.FailOpenWith = 77;
  EXPECT_EQ(77U, store.Init());
  EXPECT_EQ(77, store.Status());
  EXPECT_EQ(m_path, store.ErrorMessage());
  EXPECT_EQ(0, store.OpenHandles);
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
  EXPECT_TRUE(store.Offsets().empty());
}

TEST_F(RecordFileScan, InitOfAFileThatMayNotBeReadReturnsTheSystemsCode) {
  WriteFile(m_path, SomeFile());
  ::chmod(m_path.c_str(), 0);
  ::chmod(m_folder.Path().c_str(), 0755);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    CQuasiStructFile store;
    EXPECT_EQ(static_cast<unsigned int>(EACCES), store.Reload(m_path.c_str(), false, true));
    EXPECT_EQ(EACCES, store.Status());
    EXPECT_EQ(m_path, store.ErrorMessage());
  }));
}

TEST_F(RecordFileScan, InitReturnsAnOlderStatusAfterAGoodScan) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  store.Offsets().clear();
  store.SetError(77);
  EXPECT_EQ(77U, store.Init());
  EXPECT_EQ(77, store.Status());
  EXPECT_EQ(SomeOffsets(), store.Offsets());
}

TEST_F(RecordFileScan, InitWithoutFileThatMayBeMadeReturns0WhateverTheStatus) {
  ExposedStore store(m_path, true);
  store.SetError(77);
  EXPECT_EQ(0U, store.Init());
  EXPECT_EQ(77, store.Status());
}

TEST_F(RecordFileScan, InitOfAHeaderOfLength0KeepsTheHeaderMember) {
  MakeOldFile(m_path, RecordFile({"record"}));
  ExposedStore store;
  store.FileName() = m_path.c_str();
  store.Header() = Blob("kept");
  EXPECT_EQ(0U, store.Init());
  EXPECT_EQ("kept", DataOf(store.Header()));
  EXPECT_EQ(0U, store.Words.HeaderLength);
  EXPECT_THAT(store.Offsets(), ElementsAre(12));
}

TEST_F(RecordFileScan, InitOfWordsAloneIsGood) {
  MakeOldFile(m_path, RecordFile(8, 9, "", {}));
  ExposedStore store;
  store.FileName() = m_path.c_str();
  EXPECT_EQ(0U, store.Init());
  EXPECT_EQ(8U, store.Words.Reserved);
  EXPECT_EQ(9U, store.Words.CleanedMark);
  EXPECT_TRUE(store.Offsets().empty());
}

TEST_F(RecordFileScan, InitListsEmptyRecords) {
  MakeOldFile(m_path, RecordFile({"", "", "x", ""}));
  ExposedStore store(m_path, true);
  EXPECT_THAT(store.Offsets(), ElementsAre(12, 16, 20, 25));
}

// Longer than what a handle reads ahead at once.
TEST_F(RecordFileScan, InitFindsTheRecordsOfALargeFile) {
  std::list<std::string> records;
  std::list<unsigned int> offsets;
  unsigned int position = 12 + 70000;
  for (unsigned int const size : {1U, 65531U, 65532U, 65533U, 0U, 200000U, 3U}) {
    records.push_back(Pattern(size, size));
    offsets.push_back(position);
    position += 4 + size;
  }
  MakeOldFile(m_path, RecordFile(0, 0, Pattern(70000, 1), records));
  ExposedStore store(m_path, true);
  EXPECT_EQ(0, store.Status());
  EXPECT_EQ(offsets, store.Offsets());
  EXPECT_EQ(Pattern(70000, 1), DataOf(store.Header()));
}

// A hole of that size takes no room.
TEST_F(RecordFileScan, InitSkipsARecordOfMoreThan2Gigabytes) {
  unsigned int const length = 0x80000010;
  WriteFile(m_path, RecordFile({}) + Word(length));
  std::filesystem::resize_file(m_path, 16UL + length);
  std::ofstream(m_path, std::ios::binary | std::ios::app) << Item("end");
  ExposedStore store(m_path, true);
  EXPECT_EQ(0, store.Status());
  EXPECT_THAT(store.Offsets(), ElementsAre(12, 16 + length));
  IdentObj out;
  EXPECT_EQ(0U, store.Get(1, out));
  EXPECT_EQ("end", DataOf(out));
}

}  // namespace
