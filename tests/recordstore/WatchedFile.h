#ifndef QUENDRIL_TESTS_RECORDSTORE_WATCHEDFILE_H
#define QUENDRIL_TESTS_RECORDSTORE_WATCHEDFILE_H

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/recordstore/Operations.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/ObservedStore.h"
#include "tests/support/TempFolder.h"

constexpr int kEarlierFailure = 77;

inline std::string const kHeader = "the header";
// What Operations() need.
inline std::string const kFile = RecordFile(1, 2, kHeader, kOperationRecords);

// A fixture: an observed store over a file.
class WatchedFile : public testing::Test {
 protected:
  // A store that has scanned a file of these bytes, which is older than the scan.
  ObservedStore& Start(std::string const& bytes) {
    std::filesystem::remove(m_path);
    WriteFile(m_path, bytes);
    AgeFile(m_path);
    m_store = std::make_unique<ObservedStore>(m_path, true);
    return *m_store;
  }
  ObservedStore& StartWithoutFile(bool create) {
    std::filesystem::remove(m_path);
    m_store = std::make_unique<ObservedStore>(m_path, true);
    m_store->Create() = create;
    return *m_store;
  }

  long Count(std::string const& event) const {
    std::vector<std::string> const names = m_store->Names();
    return std::count(names.begin(), names.end(), event);
  }
  long CountOpens() const { return Count("Open rbc") + Count("Open r+bc") + Count("Open wbc"); }

  // Nothing of an operation may be left.
  void ExpectAllLetGo() const {
    EXPECT_EQ(0, m_store->OpenHandles);
    EXPECT_EQ(CountOpens(), Count("delete handle"));
    if (IsThere(m_path)) {
      EXPECT_EQ(Lock::None, FileLockOf(m_path));
    }
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path()));
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  std::unique_ptr<ObservedStore> m_store;
};

#endif
