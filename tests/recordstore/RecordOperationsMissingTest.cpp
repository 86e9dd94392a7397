// The record operations on disk where a file is missing, comes, goes, or is changed by others.

#include <cerrno>
#include <filesystem>
#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/recordstore/Operations.h"
#include "tests/recordstore/WatchedFile.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/ObservedStore.h"

namespace {

using RecordOperationsMissing = WatchedFile;

TEST_F(RecordOperationsMissing, ThoseThatCreateRefuseWith4WhereTheyMayNot) {
  for (bool const isEmptyFile : {false, true}) {
    for (Operation const& operation : CreatingOperations()) {
      SCOPED_TRACE(operation.name);
      ObservedStore& store = StartWithoutFile(false);
      if (isEmptyFile) {
        WriteFile(m_path, "");
      }
      EXPECT_EQ(4U, operation.run(store));
      EXPECT_EQ(4, store.Status());
      EXPECT_EQ(m_path, store.ErrorMessage());
      EXPECT_EQ(isEmptyFile, IsThere(m_path));
      EXPECT_TRUE(store.Offsets().empty());
      EXPECT_EQ(0, CountOpens());
    }
  }
}

// The refusal comes before the index is looked at, and before the earlier status.
TEST_F(RecordOperationsMissing, PutOfAWrongIndexWithoutFileRefusesWith4) {
  ObservedStore& store = StartWithoutFile(false);
  store.SetError(kEarlierFailure);
  EXPECT_EQ(4U, store.Put(99, Blob("a record")));
  EXPECT_EQ(4, store.Status());
}

TEST_F(RecordOperationsMissing, AddWithoutFileRefusesWith4WhateverTheStatusBefore) {
  ObservedStore& store = StartWithoutFile(false);
  store.SetError(kEarlierFailure);
  EXPECT_EQ(4U, store.Add(Blob("a record")));
  EXPECT_EQ(4, store.Status());
}

TEST_F(RecordOperationsMissing, ThoseThatCreateTakeAnEmptyFileForNone) {
  for (Operation const& operation : CreatingOperations()) {
    SCOPED_TRACE(operation.name);
    ObservedStore& store = StartWithoutFile(true);
    WriteFile(m_path, "");
    store.Words = {3, 4, 0};
    store.Header() = Blob(kHeader);
    EXPECT_EQ(0U, operation.run(store));
    EXPECT_EQ(RecordFile(3, 4, kHeader, {"one more"}), ReadFile(m_path));
    EXPECT_EQ(std::list<unsigned int>{22}, store.Offsets());
  }
}

TEST_F(RecordOperationsMissing, ThoseThatCreateReturnAnEarlierStatusAndMakeNoFile) {
  for (Operation const& operation : CreatingOperations()) {
    if (operation.isBlockedByStatus) {
      ObservedStore& store = StartWithoutFile(true);
      store.SetError(kEarlierFailure);
      EXPECT_EQ(77U, operation.run(store)) << operation.name;
      EXPECT_TRUE(m_folder.Names().empty());
    }
  }
}

TEST_F(RecordOperationsMissing, PutAboveTheCountOfAMissingFileOpensNothing) {
  ObservedStore& store = StartWithoutFile(true);
  EXPECT_EQ(28U, store.Put(1, Blob("a record")));
  EXPECT_EQ(0, CountOpens());
  EXPECT_TRUE(m_folder.Names().empty());
}

TEST_F(RecordOperationsMissing, PutAndDelOfAWrongIndexOpenNothing) {
  ObservedStore& store = Start(kFile);
  timespec const written = StatOf(m_path).st_mtim;
  EXPECT_EQ(28U, store.Put(4, Blob("a record")));
  EXPECT_EQ(28U, store.Del(3));
  EXPECT_EQ(28U, store.Del(-1));
  EXPECT_EQ(0, CountOpens());
  EXPECT_TRUE(StatOf(m_path).st_mtim == written);
}

// Whether there is a file is asked again once nobody else can change that.
TEST_F(RecordOperationsMissing, AddAndPutDoNotEmptyAFileThatAppearedMeanwhile) {
  for (Operation const& operation : CreatingOperations()) {
    if (operation.lock == Lock::Exclusive) {
      SCOPED_TRACE(operation.name);
      ObservedStore& store = StartWithoutFile(true);
      store.WriteTime = [] { return CTOOFileTime(); };  // It appears after that was asked.
      store.Before = [&](std::string const& what) {
        if (what == "GetLastWriteTime") {
          WriteFile(m_path, kFile);
        }
      };
      EXPECT_EQ(0U, operation.run(store));
      EXPECT_EQ(kFile + Item("one more"), ReadFile(m_path));
      EXPECT_EQ(std::list<unsigned int>{static_cast<unsigned int>(kFile.size())}, store.Offsets());
      EXPECT_EQ(0, Count("Open wbc"));
      store.Before = nullptr;
    }
  }
}

// Its records are others': no index of ours names one of them.
TEST_F(RecordOperationsMissing, PutAppendsToAFileThatAppearedMeanwhileWhateverItsIndex) {
  for (long const index : {0L, 1L, 2L, 3L, -1L}) {
    ObservedStore& store = Start(kFile);
    std::filesystem::remove(m_path);
    store.Before = [&](std::string const& what) {
      if (what == "GetLastWriteTime") {
        WriteFile(m_path, RecordFile({"theirs"}));
      }
    };
    store.WriteTime = [] { return CTOOFileTime(); };  // It appears after that was asked.
    EXPECT_EQ(0U, store.Put(index, Blob("mine")));
    store.Before = nullptr;
    EXPECT_EQ(RecordFile({"theirs", "mine"}), ReadFile(m_path)) << index;
  }
}

TEST_F(RecordOperationsMissing, AddAndPutMakeAFileThatVanishedMeanwhile) {
  std::list<Operation> const operations{
      {"Add", [](auto& store) { return store.Add(Blob("one more")); }, {}, {}, {}},
      {"Put", [](auto& store) { return store.Put(1, Blob("one more")); }, {}, {}, {}}};
  for (bool const create : {true, false}) {
    for (Operation const& operation : operations) {
      SCOPED_TRACE(operation.name);
      ObservedStore& store = Start(kFile);
      store.Create() = create;
      store.Before = [&](std::string const& what) {
        if (what == "GetLastWriteTime") {
          std::filesystem::remove(m_path);
        }
      };
      EXPECT_EQ(create ? 0U : 4U, operation.run(store));
      store.Before = nullptr;
      EXPECT_EQ(create, IsThere(m_path));
      if (create) {
        EXPECT_EQ(RecordFile(1, 2, kHeader, {"one more"}), ReadFile(m_path));
      } else {
        EXPECT_EQ(4, store.Status());
      }
      ExpectAllLetGo();
    }
  }
}

// Whether the file is there is not asked; the open reports it.
TEST_F(RecordOperationsMissing, DelOfAVanishedFileReportsTheFailedOpen) {
  ObservedStore& store = Start(kFile);
  std::filesystem::remove(m_path);
  EXPECT_EQ(static_cast<unsigned int>(ENOENT), store.Del(0));
  EXPECT_EQ(ENOENT, store.Status());
  EXPECT_EQ(m_path, store.ErrorMessage());
  EXPECT_EQ((std::vector<std::string>{"GetLastWriteTime", "Open r+bc", "delete handle"}),
            store.Names());
  EXPECT_EQ(3U, store.Offsets().size());
  EXPECT_TRUE(m_folder.Names().empty());
}

// Kept on purpose: the code is only in the status.
TEST_F(RecordOperationsMissing, GetOfAVanishedFileReturns0AndSetsTheStatus) {
  ObservedStore& store = Start(kFile);
  std::filesystem::remove(m_path);
  IdentObj out = Blob("kept");
  EXPECT_EQ(0U, store.Get(0, out));
  EXPECT_EQ(ENOENT, store.Status());
  EXPECT_EQ("kept", DataOf(out));
  EXPECT_EQ(1, CountOpens());
  ExpectAllLetGo();
}

TEST_F(RecordOperationsMissing, GetOfAFileThatWasCutGives22OrReadsNothing) {
  for (std::size_t length = 12; length < kFile.size(); ++length) {
    ObservedStore& store = Start(kFile);
    unsigned int const offset = store.Offsets().back();
    WriteFile(m_path, kFile.substr(0, length));
    AgeFile(m_path);
    IdentObj out = Blob("kept");
    EXPECT_EQ(length < offset ? 22U : 0U, store.Get(2, out)) << length;
    EXPECT_EQ(length < offset ? "kept" : "", DataOf(out));
    EXPECT_EQ(0, store.Status());
  }
}

// Two stores.

TEST_F(RecordOperationsMissing, AddOfAnotherStoreIsSeenByTheNextAdd) {
  ObservedStore& store = Start(kFile);
  CQuasiStructFile other(m_path.c_str(), false, false);
  EXPECT_EQ(0U, other.Add(Blob("of the other")));
  EXPECT_EQ(0U, store.Add(Blob("of the first")));
  ASSERT_EQ(5U, store.Offsets().size());
  EXPECT_EQ(kFile.size(), *std::next(store.Offsets().begin(), 3));
  EXPECT_EQ(kFile.size() + 16, store.Offsets().back());
  EXPECT_EQ(kFile + Item("of the other") + Item("of the first"), ReadFile(m_path));
  IdentObj out;
  EXPECT_EQ(0U, other.Get(4, out));
  EXPECT_EQ("of the first", DataOf(out));
}

TEST_F(RecordOperationsMissing, ChangesOfAnotherStoreAreSeenByEveryOperationThatRefreshes) {
  for (Operation const& operation : Operations()) {
    if (operation.refreshes && operation.name != "IsItInFile") {
      SCOPED_TRACE(operation.name);
      ObservedStore& store = Start(kFile);
      CQuasiStructFile other(m_path.c_str(), false, false);
      EXPECT_EQ(0U, other.Put(0, Blob("a first record of another length")));
      EXPECT_EQ(0U, other.Add(Blob("a fourth")));
      EXPECT_EQ(0U, operation.run(store));
      std::list<IdentObj> all;
      EXPECT_EQ(0U, other.GetAll(all));
      EXPECT_EQ(all.size(), store.Offsets().size());
      std::string const fourth = operation.name == "Add" || operation.name == "Put at the end"
                                     ? DataOf(*std::prev(all.end(), 2))
                                     : DataOf(all.back());
      EXPECT_EQ("a fourth", fourth);
    }
  }
}

}  // namespace
