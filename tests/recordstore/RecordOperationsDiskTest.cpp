// The record operations on disk: statuses, opens that fail, the storage operations that are called.
// Files that are missing, come and go are in RecordOperationsMissingTest.cpp, locks in
// RecordOperationsLocksTest.cpp, exceptions in RecordOperationsThrowTest.cpp.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/recordstore/Operations.h"
#include "tests/recordstore/WatchedFile.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/ObservedStore.h"
#include "tests/support/Peer.h"
#include "tests/support/VirtualSlot.h"

namespace {

using RecordOperationsDisk = WatchedFile;

TEST_F(RecordOperationsDisk, AreVirtualInThisOrderButGetAllIsNot) {
  using Base = QuasiStructFileBase;
  EXPECT_EQ(6, VirtualSlot(&Base::IsItInFile));
  EXPECT_EQ(7, VirtualSlot(&Base::Get));
  EXPECT_EQ(8, VirtualSlot(&Base::Put));
  EXPECT_EQ(9, VirtualSlot(&Base::Add));
  EXPECT_EQ(10, VirtualSlot(&Base::PutList));
  EXPECT_EQ(11, VirtualSlot(&Base::Del));
  EXPECT_EQ(12, VirtualSlot(&Base::EmptyFile));
  EXPECT_EQ(-1, VirtualSlot(&Base::GetAll));
}

// All operations.

TEST_F(RecordOperationsDisk, AllDeleteEveryHandleAndPassTheFlagFalse) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    ObservedStore& store = Start(kFile);
    store.OpenFlags.clear();
    EXPECT_EQ(0U, operation.run(store));
    EXPECT_EQ(1, CountOpens());
    EXPECT_EQ(std::vector<bool>{false}, store.OpenFlags);
    ExpectAllLetGo();
  }
}

TEST_F(RecordOperationsDisk, AllHoldNoDescriptorAfterwards) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    ObservedStore& store = Start(kFile);
    int const before = CountDescriptors();
    EXPECT_EQ(0U, operation.run(store));
    EXPECT_EQ(before, CountDescriptors());
  }
}

TEST_F(RecordOperationsDisk, OnlyEmptyFileClosesItsHandle) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    ObservedStore& store = Start(kFile);
    EXPECT_EQ(0U, operation.run(store));
    EXPECT_EQ(operation.name == "EmptyFile" ? 1 : 0, Count("Close"));
    ObservedStore& failing = Start(kFile);
    failing.FailOpenWith = 77;
    operation.run(failing);
    EXPECT_EQ(0, Count("Close"));
  }
  for (Operation const& operation : CreatingOperations()) {
    EXPECT_EQ(0U, operation.run(StartWithoutFile(true)));
    EXPECT_EQ(1, Count("Open wbc"));
    EXPECT_EQ(0, Count("Close"));
  }
  ObservedStore& store = Start(kFile);
  EXPECT_EQ(0U, store.Init());
  EXPECT_EQ(0U, store.PutHeader(Blob("another header")));
  EXPECT_EQ(0, Count("Close"));
}

TEST_F(RecordOperationsDisk, AllButGetAllPutListAndEmptyFileAskFirstWhetherTheFileChanged) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    Start(kFile);
    EXPECT_EQ(0U, operation.run(*m_store));
    EXPECT_EQ(operation.refreshes ? 1 : 0, Count("GetLastWriteTime"));
    ObservedStore& changed = Start(kFile);
    ShiftWriteTime(m_path, 10);
    EXPECT_EQ(0U, operation.run(changed));
    EXPECT_EQ(operation.refreshes ? 2 : 1, CountOpens());  // One is that of the scan.
  }
}

TEST_F(RecordOperationsDisk, ThoseThatAStatusBlocksOpenNothingAndReturnIt) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    ObservedStore& store = Start(kFile);
    store.SetError(kEarlierFailure);
    unsigned int const result = operation.run(store);
    EXPECT_EQ(kEarlierFailure, store.Status());
    EXPECT_EQ(operation.isBlockedByStatus ? 0 : 1, CountOpens());
    if (operation.isBlockedByStatus) {
      EXPECT_EQ(operation.name == "IsItInFile" ? 0U : 77U, result);
      EXPECT_EQ(kFile, ReadFile(m_path));
      EXPECT_EQ(3U, store.Offsets().size());
    }
  }
}

// A scan that fails blocks like any other status.
TEST_F(RecordOperationsDisk, ThoseThatRefreshReturnTheCodeOfAScanThatFails) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    ObservedStore& store = Start(kFile);
    WriteFile(m_path, kFile.substr(0, kFile.size() - 1));
    ShiftWriteTime(m_path, 10);
    unsigned int const result = operation.run(store);
    if (operation.refreshes) {
      EXPECT_EQ(operation.name == "IsItInFile" ? 0U : 134U, result);
      EXPECT_EQ(134, store.Status());
      EXPECT_EQ(m_path, store.ErrorMessage());
      EXPECT_EQ(1, CountOpens());
      EXPECT_EQ(kFile.size() - 1, ReadFile(m_path).size());
    }
    ExpectAllLetGo();
  }
}

TEST_F(RecordOperationsDisk, FailedOpensAreSetAndReturnedButByGetAndIsItInFile) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    ObservedStore& store = Start(kFile);
    store.FailOpenWith = EACCES;
    unsigned int const result = operation.run(store);
    bool const isSilent = operation.name == "IsItInFile" || operation.name == "Get";
    EXPECT_EQ(isSilent ? 0U : static_cast<unsigned int>(EACCES), result);
    EXPECT_EQ(EACCES, store.Status());
    EXPECT_EQ(m_path, store.ErrorMessage());
    EXPECT_EQ(kFile, ReadFile(m_path));
    EXPECT_EQ(operation.name == "EmptyFile" ? 0U : 3U, store.Offsets().size());
    EXPECT_EQ(1, CountOpens());
    EXPECT_EQ("delete handle", store.Names().back());
    ExpectAllLetGo();
  }
}

TEST_F(RecordOperationsDisk, FailedOpensForCreatingAreSetAndReturned) {
  for (Operation const& operation : CreatingOperations()) {
    SCOPED_TRACE(operation.name);
    ObservedStore& store = StartWithoutFile(true);
    store.FailOpenWith = EACCES;
    EXPECT_EQ(static_cast<unsigned int>(EACCES), operation.run(store));
    EXPECT_EQ(EACCES, store.Status());
    EXPECT_EQ(m_path, store.ErrorMessage());
    EXPECT_TRUE(store.Offsets().empty());
    EXPECT_EQ("delete handle", store.Names().back());
    ExpectAllLetGo();
  }
}

// A failed open of GetAll ends it before it reads; out stays as it was.
TEST_F(RecordOperationsDisk, GetAndGetAllReadNothingAfterAFailedOpen) {
  ObservedStore& store = Start(kFile);
  store.FailOpenWith = EACCES;
  std::list<IdentObj> out;
  EXPECT_EQ(static_cast<unsigned int>(EACCES), store.GetAll(out));
  EXPECT_TRUE(out.empty());
  store.Clear();
  IdentObj record = Blob("kept");
  EXPECT_EQ(0U, store.Get(0, record));
  EXPECT_EQ("kept", DataOf(record));
  EXPECT_EQ(EACCES, store.Status());
  EXPECT_EQ(0, Count("Read") + Count("ReadIdent"));
}

// By the rights of a file, as an ordinary user.
TEST_F(RecordOperationsDisk, ChangesOfAReadOnlyFileReportTheSystemsCode) {
  WriteFile(m_path, kFile);
  AgeFile(m_path);
  ::chmod(m_path.c_str(), 0444);
  ::chmod(m_folder.Path().c_str(), 0755);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    for (Operation const& operation : Operations()) {
      SCOPED_TRACE(operation.name);
      CQuasiStructFile store(m_path.c_str(), true, false);
      bool const changes = operation.lock == Lock::Exclusive || operation.name == "PutList";
      EXPECT_EQ(changes ? static_cast<unsigned int>(EACCES) : 0U, operation.run(store));
      EXPECT_EQ(operation.name == "IsItInFile" ? 22 : (changes ? EACCES : 0), store.Status());
    }
  }));
  EXPECT_EQ(kFile, ReadFile(m_path));
}

// PutList.

TEST_F(RecordOperationsDisk, PutListNotesEachOffsetBeforeItsWrite) {
  ObservedStore& store = Start(kFile);
  std::vector<std::size_t> noted;
  store.Before = [&](std::string const& what) {
    if (what == "WriteIdent") {
      noted.push_back(store.Offsets().size());
    }
  };
  EXPECT_EQ(0U, store.PutList({Blob("one"), Blob("two"), Blob("three")}));
  EXPECT_EQ((std::vector<std::size_t>{4, 5, 6}), noted);
}

TEST_F(RecordOperationsDisk, AddNotesTheOffsetAfterItsWrite) {
  ObservedStore& store = Start(kFile);
  std::vector<std::size_t> noted;
  store.Before = [&](std::string const& what) {
    if (what == "WriteIdent") {
      noted.push_back(store.Offsets().size());
    }
  };
  EXPECT_EQ(0U, store.Add(Blob("one")));
  EXPECT_EQ(std::vector<std::size_t>{3}, noted);
  EXPECT_EQ(4U, store.Offsets().size());
}

// EmptyFile.

TEST_F(RecordOperationsDisk, EmptyFileLeavesAFileOfLength0) {
  ObservedStore& store = Start(kFile);
  EXPECT_EQ(0U, store.EmptyFile());
  EXPECT_EQ("", ReadFile(m_path));
}

TEST_F(RecordOperationsDisk, EmptyFileTruncatesClosesAndDeletesItsHandle) {
  ObservedStore& store = Start(kFile);
  EXPECT_EQ(0U, store.EmptyFile());
  EXPECT_EQ((std::vector<std::string>{"Open r+bc", "Truncate", "Close", "delete handle"}),
            store.Names());
}

TEST_F(RecordOperationsDisk, EmptyFileOfAMissingFileForgetsTheOffsetsAndMakesNone) {
  for (bool const create : {true, false}) {
    ObservedStore& store = StartWithoutFile(create);
    store.Offsets() = {12, 34};
    EXPECT_EQ(0U, store.EmptyFile());
    EXPECT_TRUE(store.Offsets().empty());
    EXPECT_TRUE(store.Names().empty());
    EXPECT_EQ(0, store.Status());
    EXPECT_TRUE(m_folder.Names().empty());
  }
}

TEST_F(RecordOperationsDisk, EmptyFileForgetsTheOffsetsBeforeItOpens) {
  ObservedStore& store = Start(kFile);
  std::size_t offsets = 77;
  store.Before = [&](std::string const& what) {
    offsets = what == "Open r+bc" ? store.Offsets().size() : offsets;
  };
  EXPECT_EQ(0U, store.EmptyFile());
  EXPECT_EQ(0U, offsets);
}

TEST_F(RecordOperationsDisk, EmptyFileThenPutListWritesTheOldHeaderAndTheList) {
  ObservedStore& store = Start(kFile);
  EXPECT_EQ(0U, store.EmptyFile());
  EXPECT_EQ(0U, store.PutList({Blob("new"), Blob("records")}));
  EXPECT_EQ(RecordFile(1, 2, kHeader, {"new", "records"}), ReadFile(m_path));
  EXPECT_EQ((std::list<unsigned int>{22, 29}), store.Offsets());
}

TEST_F(RecordOperationsDisk, EmptyFileThenPutListRefusesWhereNoFileMayBeCreated) {
  ObservedStore& store = Start(kFile);
  store.Create() = false;
  EXPECT_EQ(0U, store.EmptyFile());
  EXPECT_EQ(4U, store.PutList({Blob("new")}));
  EXPECT_EQ(4, store.Status());
  EXPECT_EQ("", ReadFile(m_path));
}

// Writes and reads that come to nothing are not looked at.

class LossyStore : public ObservedStore {
 public:
  using ObservedStore::ObservedStore;
  unsigned int stor_Write(CTOOFile* /*file*/, void const* /*buffer*/, unsigned int) override {
    return 0;
  }
  unsigned int stor_ReadIdentObject(CTOOFile* /*file*/, IdentObj& /*target*/,
                                    unsigned int /*position*/) override {
    return 0;
  }
  unsigned int stor_WriteIdentObject(CTOOFile* /*file*/, IdentObj const& /*source*/,
                                     unsigned int /*position*/) override {
    return 0;
  }
};

TEST_F(RecordOperationsDisk, ChangesReturn0AndNoteOffsetsEvenIfWritesAreShort) {
  std::list<Operation> operations = {
      {"Add", [](auto& store) { return store.Add(Blob("x")); }, {}, {}, {}},
      {"Put at the end", [](auto& store) { return store.Put(3, Blob("x")); }, {}, {}, {}},
      {"PutList", [](auto& store) { return store.PutList({Blob("x")}); }, {}, {}, {}},
      {"Put", [](auto& store) { return store.Put(0, Blob("x")); }, {}, {}, {}},
      {"Del", [](auto& store) { return store.Del(0); }, {}, {}, {}},
      {"Get",
       [](auto& store) {
         IdentObj out;
         return store.Get(0, out);
       },
       {},
       {},
       {}}};
  for (Operation const& operation : operations) {
    SCOPED_TRACE(operation.name);
    WriteFile(m_path, kFile);
    AgeFile(m_path);
    LossyStore store(m_path, true);
    std::size_t const before = store.Offsets().size();
    EXPECT_EQ(0U, operation.run(store));
    EXPECT_EQ(0, store.Status());
    bool const appends =
        operation.name != "Put" && operation.name != "Del" && operation.name != "Get";
    EXPECT_EQ(before + (appends ? 1 : 0) - (operation.name == "Del" ? 1 : 0),
              store.Offsets().size());
    if (appends) {
      EXPECT_EQ(kFile.size(), store.Offsets().back());
    }
  }
}

// A failure that a storage operation sets on the store while it works.
TEST_F(RecordOperationsDisk, AddGetAllAndPutListReturnTheStatusAndTheOthers0) {
  for (Operation const& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    ObservedStore& store = Start(kFile);
    store.Before = [&](std::string const& what) {
      if (what.substr(0, 4) == "Open") {
        store.SetError(kEarlierFailure);
      }
    };
    bool const returnsStatus =
        operation.name == "Add" || operation.name == "GetAll" || operation.name == "PutList";
    EXPECT_EQ(returnsStatus ? 77U : 0U, operation.run(store));
    store.Before = nullptr;
  }
  ObservedStore& store = Start(kFile);
  store.Before = [&](std::string const& what) {
    if (what == "Open r+bc") {
      store.SetError(kEarlierFailure);
    }
  };
  EXPECT_EQ(0U, store.PutHeader(Blob("another header")));
  EXPECT_EQ(kEarlierFailure, store.Status());
  store.Before = nullptr;
}

}  // namespace
