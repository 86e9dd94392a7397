// The record store as an object: construction, assignment, destruction.

#include <algorithm>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/LockProbe.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::ElementsAre;

// A backend over nothing. A storage call out of a constructor of the base would end the program.
class BareStore : public QuasiStructFileBase {
 public:
  using QuasiStructFileBase::m_create;
  using QuasiStructFileBase::m_fileName;
  using QuasiStructFileBase::m_header;
  using QuasiStructFileBase::m_loadTime;
  using QuasiStructFileBase::m_lock;
  using QuasiStructFileBase::m_lockName;
  using QuasiStructFileBase::m_offsets;
  using QuasiStructFileBase::m_reservedLong;
  using QuasiStructFileBase::m_reservedShort;
  using QuasiStructFileBase::QuasiStructFileBase;
  using XTOOStatus::Flag;
  using XTOOStatus::Text;

  // Written out: an implicit one would have the memory zeroed first.
  BareStore() {}  // NOLINT(modernize-use-equals-default)

  unsigned int stor_Read(CTOOFile*, void*, unsigned int) override { return 0; }
  unsigned int stor_Write(CTOOFile*, void const*, unsigned int) override { return 0; }
  unsigned int stor_Seek(CTOOFile*, long, int) override { return 0; }
  CTOOFile* stor_Open(char const*, char const*, bool) override { return nullptr; }
  bool stor_IsExists(char const*) override { return false; }
  unsigned int stor_Length(CTOOFile*) override { return 0; }
  unsigned int stor_Length(char const*) override { return 0; }
  CTOOFileTime stor_GetLastWriteTime(char const*) override { return CTOOFileTime(); }
  unsigned int stor_ReadIdentObject(CTOOFile*, IdentObj&, unsigned int) override { return 0; }
  unsigned int stor_WriteIdentObject(CTOOFile*, IdentObj const&, unsigned int) override {
    return 0;
  }
  unsigned int stor_CurPos(CTOOFile*) override { return 0; }
  void stor_Truncate(CTOOFile*) override {}
  void stor_Close(CTOOFile*) override {}
};

// Makes a store where every byte was set before, so that a member that is not initialised shows.
class OnUsedMemory {
 public:
  template <typename... Arguments>
  explicit OnUsedMemory(Arguments&&... arguments) {
    // Volatile, or the compiler drops what the constructor begins a new life over.
    std::fill_n(static_cast<unsigned char volatile*>(m_memory), sizeof m_memory, 0xAB);
    m_store = new (m_memory) BareStore(std::forward<Arguments>(arguments)...);
  }
  OnUsedMemory(OnUsedMemory const&) = delete;
  OnUsedMemory& operator=(OnUsedMemory const&) = delete;
  ~OnUsedMemory() { m_store->~BareStore(); }
  BareStore* operator->() const { return m_store; }
  BareStore& operator*() const { return *m_store; }

 private:
  alignas(BareStore) unsigned char m_memory[sizeof(BareStore)];
  BareStore* m_store;
};

void ExpectNothingRead(BareStore const& store) {
  EXPECT_EQ(0U, store.Words.Reserved);
  EXPECT_EQ(0U, store.Words.CleanedMark);
  EXPECT_EQ(0U, store.Words.HeaderLength);
  EXPECT_EQ(0U, store.m_reservedLong);
  EXPECT_EQ(0U, store.m_reservedShort);
  EXPECT_EQ(0U, store.m_header.Length);
  EXPECT_EQ(0U, TicksOf(store.m_loadTime));
  EXPECT_TRUE(store.m_offsets.empty());
}

// Every member differs from those of a new store.
void FillAll(BareStore& store, std::string const& fileName) {
  store.Words = {11, 12, 13};
  store.m_reservedLong = 0x1234567890ABCDEF;
  store.m_reservedShort = 0xBEEF;
  store.m_fileName = fileName.c_str();
  store.m_create = false;
  store.m_header = Blob("some header");
  store.m_loadTime = FileTimeOf(0x1111111122222222);
  store.m_offsets = {3, 1, 4, 1, 5};
  store.m_lockName = (fileName + "-lock").c_str();
  store.Text = "some text";
  store.SetError(77);
  store.Flag = false;
}

void ExpectSameMembers(BareStore const& expected, BareStore const& store) {
  EXPECT_EQ(expected.Words.Reserved, store.Words.Reserved);
  EXPECT_EQ(expected.Words.CleanedMark, store.Words.CleanedMark);
  EXPECT_EQ(expected.Words.HeaderLength, store.Words.HeaderLength);
  EXPECT_EQ(expected.m_reservedLong, store.m_reservedLong);
  EXPECT_EQ(expected.m_reservedShort, store.m_reservedShort);
  EXPECT_STREQ(expected.m_fileName, store.m_fileName);
  EXPECT_EQ(expected.m_create, store.m_create);
  EXPECT_EQ(DataOf(expected.m_header), DataOf(store.m_header));
  EXPECT_EQ(TicksOf(expected.m_loadTime), TicksOf(store.m_loadTime));
  EXPECT_EQ(expected.m_offsets, store.m_offsets);
  EXPECT_STREQ(expected.m_lockName, store.m_lockName);
  EXPECT_EQ(expected.Status(), store.Status());
  EXPECT_STREQ(expected.ErrorMessage(), store.ErrorMessage());
  EXPECT_EQ(expected.Flag, store.Flag);
}

class StoreObject : public testing::Test {
 protected:
  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  std::string const m_otherPath = m_folder / "other";
};

// Construction.

TEST(QuasiStructFileBase, DefaultOneIsEmptyAndTouchesNoStorage) {
  OnUsedMemory const store;
  ExpectNothingRead(*store);
  EXPECT_EQ(0, store->Status());
  EXPECT_STREQ("", store->ErrorMessage());
  EXPECT_TRUE(store->Flag);
  EXPECT_STREQ("", store->m_fileName);
  EXPECT_STREQ("", store->m_lockName);
  EXPECT_TRUE(store->m_create);
  EXPECT_EQ(nullptr, store->m_lock);
}

TEST_F(StoreObject, NamedOneKeepsWhatItIsGiven) {
  for (bool const create : {false, true}) {
    for (bool const flag : {false, true}) {
      OnUsedMemory const store(m_path.c_str(), create, flag);
      ExpectNothingRead(*store);
      EXPECT_EQ(m_path, static_cast<char const*>(store->m_fileName));
      EXPECT_EQ(create, store->m_create);
      EXPECT_EQ(flag, store->Flag);
    }
  }
}

TEST_F(StoreObject, NamedOneMakesItsLock) {
  OnUsedMemory const store(m_path.c_str(), true, false);
  EXPECT_NE(nullptr, store->m_lock);
  EXPECT_EQ(m_path, static_cast<char const*>(store->m_lockName));
  EXPECT_EQ(0, store->Status());
}

TEST_F(StoreObject, NamedOneWithoutFileAndCreationIsStatus4) {
  OnUsedMemory const store(m_path.c_str(), false, true);
  EXPECT_EQ(nullptr, store->m_lock);
  EXPECT_EQ(4, store->Status());
  EXPECT_EQ(m_path, store->ErrorMessage());
}

TEST_F(StoreObject, NamedOneDoesNotScan) {
  WriteFile(m_path, SomeFile());
  OnUsedMemory const store(m_path.c_str(), true, false);
  ExpectNothingRead(*store);
  EXPECT_NE(nullptr, store->m_lock);
}

TEST_F(StoreObject, CopyIsADefaultOneThatWasAssigned) {
  BareStore source;
  FillAll(source, m_path);
  OnUsedMemory const copy(source);
  ExpectSameMembers(source, *copy);
  EXPECT_NE(nullptr, copy->m_lock);
  EXPECT_NE(source.m_lock, copy->m_lock);
}

// Also where the source has no lock, the copy gets one.
TEST_F(StoreObject, CopyOfAnEmptyOneDiffersByItsLockOnly) {
  BareStore const source;
  OnUsedMemory const copy(source);
  ExpectSameMembers(source, *copy);
  EXPECT_NE(nullptr, copy->m_lock);
}

// Assignment.

TEST_F(StoreObject, AssignmentCopiesEveryMember) {
  BareStore source;
  FillAll(source, m_path);
  BareStore target;
  BareStore& result = target = source;
  EXPECT_EQ(&target, &result);
  ExpectSameMembers(source, target);
}

TEST_F(StoreObject, AssignmentReplacesEveryMember) {
  BareStore const source;
  BareStore target;
  FillAll(target, m_path);
  target = source;
  ExpectSameMembers(source, target);
}

TEST_F(StoreObject, AssignedMembersAreTheTargetsOwn) {
  auto source = std::make_unique<BareStore>();
  FillAll(*source, m_path);
  BareStore expected;
  FillAll(expected, m_path);
  BareStore target;
  target = *source;
  source->m_header.Data[0] = 'S';
  source->m_offsets.push_back(9);
  source.reset();
  ExpectSameMembers(expected, target);
}

TEST_F(StoreObject, AssignmentCopiesAnErrorAndItsText) {
  BareStore const source(m_path.c_str(), false, false);
  ASSERT_EQ(4, source.Status());
  BareStore target;
  target = source;
  EXPECT_EQ(4, target.Status());
  EXPECT_EQ(m_path, target.ErrorMessage());
}

TEST_F(StoreObject, AssignmentDeletesTheOldLockOnce) {
  NotedLock::Notes notes;
  {
    BareStore const source(m_path.c_str(), true, false);
    BareStore target;
    target.m_lock = std::make_unique<NotedLock>(notes);
    target = source;
    EXPECT_EQ(1, notes.deleted);
  }
  EXPECT_EQ(1, notes.deleted);
}

TEST_F(StoreObject, AssignmentLeavesTheSourcesLockAlone) {
  NotedLock::Notes notes;
  BareStore source(m_path.c_str(), true, false);
  source.m_lock = std::make_unique<NotedLock>(notes);
  IPC::CReadWriteLock* const lock = source.m_lock.get();
  {
    BareStore target;
    target = source;
    EXPECT_NE(nullptr, target.m_lock);
    EXPECT_NE(lock, target.m_lock.get());
  }
  EXPECT_EQ(lock, source.m_lock.get());
  EXPECT_EQ(0, notes.deleted);
  EXPECT_TRUE(notes.taken.empty());
}

TEST_F(StoreObject, AssignmentToItselfKeepsAllAndTheLockObject) {
  NotedLock::Notes notes;
  BareStore store;
  FillAll(store, m_path);
  BareStore expected;
  FillAll(expected, m_path);
  store.m_lock = std::make_unique<NotedLock>(notes);
  IPC::CReadWriteLock* const lock = store.m_lock.get();
  BareStore const& itself = store;
  BareStore& result = store = itself;
  EXPECT_EQ(&store, &result);
  EXPECT_EQ(lock, store.m_lock.get());
  EXPECT_EQ(0, notes.deleted);
  ExpectSameMembers(expected, store);
}

void ExpectLocks(QuasiStructFileBase& store, std::string const& path) {
  std::unique_ptr<IPC::CWriteLocker> const holder(store.LockWriteFile());
  ASSERT_NE(nullptr, holder);
  EXPECT_EQ(Lock::Exclusive, FileLockOf(path));
}

TEST_F(StoreObject, LockAfterAssignmentIsOverTheSourcesFile) {
  WriteFile(m_path, SomeFile());
  WriteFile(m_otherPath, SomeFile());
  BareStore const source(m_path.c_str(), true, false);
  BareStore target(m_otherPath.c_str(), true, false);
  target = source;
  ExpectLocks(target, m_path);
  BareStore copy(source);
  ExpectLocks(copy, m_path);
}

TEST_F(StoreObject, LockAfterAssignmentIsOverTheLockName) {
  WriteFile(m_path, SomeFile());
  WriteFile(m_otherPath, SomeFile());
  BareStore source(m_path.c_str(), true, false);
  source.m_lockName = m_otherPath.c_str();
  BareStore target;
  target = source;
  ExpectLocks(target, m_otherPath);
}

// A source that PreInit gave no lock has no lock name either.
TEST_F(StoreObject, LockAfterAssignmentWithoutLockNameIsOverTheFile) {
  BareStore const source(m_path.c_str(), false, false);
  ASSERT_STREQ("", source.m_lockName);
  WriteFile(m_path, SomeFile());
  BareStore target;
  target = source;
  ExpectLocks(target, m_path);
  EXPECT_STREQ("", target.m_lockName);
}

TEST_F(StoreObject, AssignmentCopiesNoStorage) {
  MakeOldFile(m_path, SomeFile());
  CQuasiStructFile store(m_path.c_str(), true, false);
  CQuasiStructFile copy(store);
  EXPECT_THAT(m_folder.Names(), ElementsAre("records"));
  EXPECT_EQ(SomeFile(), ReadFile(m_path));
  ASSERT_EQ(0U, copy.Add(Blob("by the copy")));
  IdentObj out;
  EXPECT_EQ(0U, store.Get(3, out));
  EXPECT_EQ("by the copy", DataOf(out));
}

// Destruction.

TEST_F(StoreObject, DestructionDeletesTheLockOnce) {
  NotedLock::Notes notes;
  auto* const store = new BareStore(m_path.c_str(), true, false);
  store->m_lock = std::make_unique<NotedLock>(notes);
  XTOOMsg const* const base = store;
  delete base;
  EXPECT_EQ(1, notes.deleted);
}

TEST_F(StoreObject, DestructionWritesNothing) {
  MakeOldFile(m_path, SomeFile());
  {
    ExposedFile store(m_path.c_str(), true, false);
    store.Words.CleanedMark = 99;
    store.m_header = Blob("another");
  }
  EXPECT_EQ(SomeFile(), ReadFile(m_path));
}

TEST_F(StoreObject, NothingStaysOnTheHeapOrOpen) {
  WriteFile(m_path, RecordFile(0, 0, SomeHeader(), std::list<std::string>(1000, "record")));
  auto const liveOnce = [&] {
    CQuasiStructFile store(m_path.c_str(), true, false);
    CQuasiStructFile copy(store);
    copy = CQuasiStructFile(store);
    copy.Unload();
  };
  auto const liveOften = [&](int times) {
    for (int i = 0; i < times; ++i) {
      liveOnce();
    }
  };
  liveOften(5);  // What is freed here may count as in use as long as the heap keeps it at hand.
  std::size_t const heap = HeapInUse();
  int const descriptors = CountDescriptors();
  liveOften(200);
  EXPECT_LT(HeapInUse(), heap + 10000);  // One lost lock a time would be more.
  EXPECT_EQ(descriptors, CountDescriptors());
}

}  // namespace
