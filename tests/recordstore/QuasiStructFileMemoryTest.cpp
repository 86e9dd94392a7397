// Memory that runs out while a store is pointed at another file: the next operation must not work
// on that file by the offsets of the old one.

#include <cerrno>
#include <cstdio>
#include <list>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/Allocations.h"
#include "tests/support/TempFolder.h"

namespace {

class RecordStoreMemory : public testing::Test {
 protected:
  RecordStoreMemory() {
    MakeOldFile(m_path, SomeFile());
    MakeOldFile(m_other, RecordFile({"a", "b", "c", "d", "e", "f"}));
  }

  // Runs `change` on a store over m_path with every allocation failing in turn. Afterwards the
  // store replaces record 0 of whatever file it is over then, and the file must be as it should.
  template <typename Change, typename Check>
  void FailEveryAllocation(Change const& change, Check const& check) {
    bool hasFailed = true;
    long number = 0;
    for (; hasFailed; ++number) {
      SCOPED_TRACE(number);
      ASSERT_LT(number, 1000);
      MakeOldFile(m_path, SomeFile());
      MakeOldFile(m_other, RecordFile({"a", "b", "c", "d", "e", "f"}));
      ExposedFile store(m_path.c_str(), true, false);
      hasFailed = false;
      try {
        FailingAllocation const failing(number);
        change(store);
        hasFailed = failing.HasFailed();
      } catch (std::bad_alloc const&) {
        hasFailed = true;
      } catch (XTOOStatus const& status) {
        EXPECT_EQ(ENOMEM, status.Status());  // The lock's.
        hasFailed = true;
      }
      check(store, hasFailed);
    }
    std::printf("FIGURE memory: %ld allocations failed\n", number - 1);
  }

  // The store's file, after its record 0 was replaced, holds all its others.
  void ExpectReplacesOneRecord(ExposedFile& store) {
    store.Clear();
    std::string const file = static_cast<char const*>(store.m_fileName);
    if (file.empty()) {
      return;  // It names no file, so it harms none.
    }
    EXPECT_EQ(0U, store.Put(0, Blob("x")));
    std::list<std::string> records = SomeRecords();
    records.front() = "x";
    EXPECT_EQ(file == m_path ? RecordFile(0x11223344, 5, SomeHeader(), records)
                             : RecordFile({"x", "b", "c", "d", "e", "f"}),
              ReadFile(file));
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  std::string const m_other = m_folder / "other";
};

TEST_F(RecordStoreMemory, AssignmentIsWholeOrNotAtAll) {
  ExposedFile const source(m_other.c_str(), false, false);
  FailEveryAllocation([&](ExposedFile& store) { store = source; },
                      [&](ExposedFile& store, bool hasFailed) {
                        EXPECT_EQ(hasFailed ? m_path : m_other,
                                  std::string(static_cast<char const*>(store.m_fileName)));
                        EXPECT_EQ(hasFailed, store.m_create);
                        ExpectReplacesOneRecord(store);
                      });
}

TEST_F(RecordStoreMemory, ReloadLeavesNoOffsetsOfAnotherFile) {
  FailEveryAllocation(
      [&](ExposedFile& store) { static_cast<void>(store.Reload(m_other.c_str(), true, false)); },
      [&](ExposedFile& store, bool) { ExpectReplacesOneRecord(store); });
}

}  // namespace
