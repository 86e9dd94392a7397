// The store on disk as an object.

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/LockProbe.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::ElementsAre;

class DiskStore : public testing::Test {
 protected:
  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  std::string const m_otherPath = m_folder / "other";
};

// What the constructor throws must be exactly this.
void ExpectThrowsStatus4(std::string const& path) {
  try {
    CQuasiStructFile const store(path.c_str(), false, true);
    ADD_FAILURE() << "nothing thrown";
  } catch (XTOOStatus const& status) {
    EXPECT_TRUE(typeid(XTOOStatus) == typeid(status));
    EXPECT_EQ(4, status.Status());
    EXPECT_EQ(path, status.ErrorMessage());
    EXPECT_FALSE(FlagOf(status).Get());
  }
}

TEST(CQuasiStructFile, AddsNothingToTheBase) {
  EXPECT_EQ(sizeof(QuasiStructFileBase), sizeof(CQuasiStructFile));
  static_assert(std::is_base_of_v<QuasiStructFileBase, CQuasiStructFile>);
  static_assert(std::is_convertible_v<CQuasiStructFile*, QuasiStructFileBase*>);
  static_assert(!std::is_abstract_v<CQuasiStructFile>);
}

TEST_F(DiskStore, DefaultOneTouchesNoFile) {
  EXPECT_TRUE(InProcess([&] {
    std::filesystem::current_path(m_folder.Path());
    int const descriptors = CountDescriptors();
    ExposedFile const store;
    EXPECT_EQ(descriptors, CountDescriptors());
    EXPECT_TRUE(m_folder.Names().empty());
    EXPECT_STREQ("", store.m_fileName);
    EXPECT_TRUE(store.m_create);
    EXPECT_TRUE(store.Flag);
    EXPECT_EQ(0, store.Status());
    EXPECT_EQ(nullptr, store.m_lock);
    EXPECT_EQ(0U, TicksOf(store.m_loadTime));
    return true;
  }));
}

TEST_F(DiskStore, ExistingFileIsScanned) {
  MakeOldFile(m_path, SomeFile());
  for (bool const create : {false, true}) {
    for (bool const flag : {false, true}) {
      ExposedFile const store(m_path.c_str(), create, flag);
      EXPECT_EQ(0, store.Status());
      EXPECT_EQ(SomeOffsets(), store.m_offsets);
      EXPECT_EQ(SomeHeader(), DataOf(store.m_header));
      EXPECT_EQ(5U, store.Words.CleanedMark);
      EXPECT_NE(0U, TicksOf(store.m_loadTime));
      EXPECT_EQ(create, store.m_create);
      EXPECT_EQ(flag, store.Flag);
    }
  }
}

void ExpectNotScanned(ExposedFile const& store) {
  EXPECT_EQ(0, store.Status());
  EXPECT_STREQ("", store.ErrorMessage());
  EXPECT_EQ(0U, TicksOf(store.m_loadTime));
  EXPECT_TRUE(store.m_offsets.empty());
  EXPECT_NE(nullptr, store.m_lock);
}

TEST_F(DiskStore, MissingFileThatMayBeMadeIsNeitherScannedNorMade) {
  for (bool const flag : {false, true}) {
    ExpectNotScanned(ExposedFile(m_path.c_str(), true, flag));
    EXPECT_TRUE(m_folder.Names().empty());
  }
}

TEST_F(DiskStore, EmptyFileThatMayBeMadeIsNotScanned) {
  WriteFile(m_path, "");
  for (bool const flag : {false, true}) {
    ExpectNotScanned(ExposedFile(m_path.c_str(), true, flag));
  }
}

TEST_F(DiskStore, NoFileAndNoCreationIsStatus4) {
  for (bool const isEmpty : {false, true}) {
    if (isEmpty) {
      WriteFile(m_path, "");
    }
    ExposedFile const store(m_path.c_str(), false, false);
    EXPECT_EQ(4, store.Status());
    EXPECT_EQ(m_path, store.ErrorMessage());
    EXPECT_EQ(0U, TicksOf(store.m_loadTime));
    EXPECT_EQ(isEmpty, store.m_lock != nullptr);
    EXPECT_EQ(isEmpty, IsThere(m_path));
  }
}

TEST_F(DiskStore, NoFileAndNoCreationThrowsWithTheFlag) {
  ExpectThrowsStatus4(m_path);
  EXPECT_TRUE(m_folder.Names().empty());
  WriteFile(m_path, "");
  ExpectThrowsStatus4(m_path);
}

TEST_F(DiskStore, DamagedFileDoesNotThrowWithTheFlag) {
  MakeOldFile(m_path, RecordFile({"one"}) + "x");
  for (bool const create : {false, true}) {
    ExposedFile const store(m_path.c_str(), create, true);
    EXPECT_EQ(5, store.Status());
    EXPECT_EQ(m_path, store.ErrorMessage());
    EXPECT_THAT(store.m_offsets, ElementsAre(12));
  }
}

// Whatever the flag: its length cannot be asked for.
TEST_F(DiskStore, FolderUnderTheNameThrows) {
  for (bool const flag : {false, true}) {
    try {
      CQuasiStructFile const store(m_folder.Path().c_str(), true, flag);
      ADD_FAILURE() << "nothing thrown";
    } catch (XTOOFile const& status) {
      EXPECT_EQ(EISDIR, status.Status());
    }
  }
}

TEST_F(DiskStore, NothingIsLeftOfAConstructorThatThrows) {
  WriteFile(m_otherPath, "");  // With a lock, unlike the missing one.
  auto const failOften = [&](int times) {
    for (int i = 0; i < times; ++i) {
      for (std::string const& path : {m_path, m_otherPath, m_folder.Path()}) {
        EXPECT_THROW(CQuasiStructFile(path.c_str(), false, true), XTOOStatus);
      }
    }
  };
  failOften(10);  // What is freed here may count as in use as long as the heap keeps it at hand.
  std::size_t const heap = HeapInUse();
  int const descriptors = CountDescriptors();
  failOften(1000);
  EXPECT_LT(HeapInUse(), heap + 10000);  // Ten bytes a time would be more.
  EXPECT_EQ(descriptors, CountDescriptors());
  EXPECT_EQ(Lock::None, FileLockOf(m_otherPath));
}

TEST_F(DiskStore, CopyAndAssignmentAreTheBases) {
  MakeOldFile(m_path, SomeFile());
  ExposedFile source(m_path.c_str(), false, false);
  source.SetError(77);
  ExposedFile const copy(source);
  ExposedFile assigned;
  CQuasiStructFile& target = assigned;
  CQuasiStructFile const& from = source;
  EXPECT_EQ(&target, &(target = from));
  for (ExposedFile const* const store : {&copy, static_cast<ExposedFile const*>(&assigned)}) {
    EXPECT_EQ(m_path, static_cast<char const*>(store->m_fileName));
    EXPECT_EQ(m_path, static_cast<char const*>(store->m_lockName));
    EXPECT_EQ(SomeOffsets(), store->m_offsets);
    EXPECT_EQ(SomeHeader(), DataOf(store->m_header));
    EXPECT_EQ(5U, store->Words.CleanedMark);
    EXPECT_EQ(TicksOf(source.m_loadTime), TicksOf(store->m_loadTime));
    EXPECT_FALSE(store->m_create);
    EXPECT_FALSE(store->Flag);
    EXPECT_EQ(77, store->Status());
    EXPECT_NE(nullptr, store->m_lock);
    EXPECT_NE(source.m_lock, store->m_lock);
  }
}

TEST_F(DiskStore, DestructorIsVirtual) {
  static_assert(std::has_virtual_destructor_v<CQuasiStructFile>);
  NotedLock::Notes notes;
  auto* const store = new ExposedFile(m_path.c_str(), true, false);
  store->m_lock = std::make_unique<NotedLock>(notes);
  QuasiStructFileBase const* const base = store;
  delete base;
  EXPECT_EQ(1, notes.deleted);
}

TEST_F(DiskStore, RaiseDoesNothing) {
  for (bool const flag : {false, true}) {
    CQuasiStructFile store(m_path.c_str(), true, flag);
    EXPECT_NO_THROW(store.Raise());
    EXPECT_NO_THROW(store.SetError(77));
    EXPECT_NO_THROW(store.Raise());
    EXPECT_EQ(77, store.Status());
  }
}

}  // namespace
