// The header: GetHeader and PutHeader.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <list>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "tests/recordstore/StoreHarness.h"
#include "tests/support/LockProbe.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

class RecordFileHeader : public testing::Test {
 protected:
  // SomeFile() with another header; the records where they then lie.
  static std::string FileWith(std::string const& header) {
    return RecordFile(0x11223344, 5, header, SomeRecords());
  }
  static std::list<unsigned int> OffsetsBehind(unsigned int length) {
    return {12 + length, 22 + length, 35 + length};
  }

  void ExpectFile(std::string const& expected) {
    EXPECT_EQ(ToHex(expected), ToHex(ReadFile(m_path)));
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
};

// GetHeader.

TEST_F(RecordFileHeader, GetHeaderGivesTheMemberItself) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  IdentObj* const first = &store.GetHeader();
  EXPECT_EQ(&store.Header(), first);
  EXPECT_EQ(SomeHeader(), DataOf(*first));
  EXPECT_EQ(first, &store.GetHeader());
}

TEST_F(RecordFileHeader, GetHeaderScansANewerFileFirst) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  IdentObj const& header = store.GetHeader();
  CQuasiStructFile other(m_path.c_str(), true, false);
  ASSERT_EQ(0U, other.PutHeader(Blob("another header")));
  EXPECT_EQ(&header, &store.GetHeader());
  EXPECT_EQ("another header", DataOf(header));
  EXPECT_EQ(OffsetsBehind(14), store.Offsets());
}

TEST_F(RecordFileHeader, GetHeaderOfNoFileIsEmpty) {
  ExposedStore store(m_path, true);
  EXPECT_EQ(0U, store.GetHeader().Length);
  EXPECT_FALSE(IsThere(m_path));
}

// PutHeader where there is no file.

TEST_F(RecordFileHeader, WithoutFileAndCreationIsStatus4) {
  ExposedStore store(m_path, false);
  store.Clear();
  store.Text = "before";
  EXPECT_EQ(4U, store.PutHeader(Blob("header")));
  EXPECT_EQ(4, store.Status());
  EXPECT_EQ(m_path, store.ErrorMessage());
  EXPECT_TRUE(m_folder.Names().empty());
  WriteFile(m_path, "");
  store.Clear();
  EXPECT_EQ(4U, store.PutHeader(Blob("header")));
  ExpectFile("");
}

TEST_F(RecordFileHeader, WithoutFileMakesOneOfWordsAndHeader) {
  for (bool const isEmpty : {false, true}) {
    for (unsigned int const length : {0U, 1U, 20U, 70000U}) {
      std::filesystem::remove(m_path);
      if (isEmpty) {
        WriteFile(m_path, "");
      }
      ExposedStore store(m_path, true);
      store.Words.CleanedMark = 1;
      EXPECT_EQ(0U, store.PutHeader(Blob(Pattern(length, 3))));
      EXPECT_EQ(0, store.Status());
      ExpectFile(Word(0) + Word(1) + Word(length) + Pattern(length, 3));
      EXPECT_EQ(length, store.Words.HeaderLength);
    }
  }
}

// Kept on purpose.
TEST_F(RecordFileHeader, CreationKeepsTheHeaderInMemoryAndTheOffsets) {
  ExposedStore store(m_path, true);
  store.Header() = Blob("kept");
  store.Offsets() = {1, 2, 3};
  ASSERT_EQ(0U, store.PutHeader(Blob("header")));
  EXPECT_EQ("kept", DataOf(store.Header()));
  EXPECT_THAT(store.Offsets(), ElementsAre(1, 2, 3));
}

// Kept on purpose: an earlier status stops the change of a file, not the making of one.
TEST_F(RecordFileHeader, CreationLooksAtNoEarlierStatusAndAsksForNoChange) {
  for (bool const isEmptyFile : {false, true}) {
    ExposedStore store(m_path, true);
    std::filesystem::remove(m_path);
    if (isEmptyFile) {
      WriteFile(m_path, "");
    }
    store.SetError(77);
    store.Events.clear();
    store.Offsets() = {1, 2, 3};
    EXPECT_EQ(0U, store.PutHeader(Blob("header")));
    EXPECT_EQ(77, store.Status());
    EXPECT_THAT(store.Offsets(), ElementsAre(1, 2, 3));
    for (std::string const& name : store.Names()) {
      EXPECT_NE("GetLastWriteTime", name);
    }
    ExpectFile(RecordFile(0, 0, "header", {}));
  }
}

TEST_F(RecordFileHeader, CreationIsSeenByTheNextOperation) {
  ExposedStore store(m_path, true);
  ASSERT_EQ(0U, store.PutHeader(Blob("header")));
  EXPECT_EQ("header", DataOf(store.GetHeader()));
}

TEST_F(RecordFileHeader, CreationWaitsForNoLock) {
  IPC::CReadWriteLock_file lock(m_path.c_str());
  IPC::CWriteLocker const locker(lock);
  ProcessPeer peer([&](PeerSide& side) {
    CQuasiStructFile store(m_path.c_str(), true, false);
    EXPECT_EQ(0U, store.PutHeader(Blob("header")));
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitStep());
  ExpectFile(RecordFile(0, 0, "header", {}));
  EXPECT_TRUE(peer.Finish());
}

TEST_F(RecordFileHeader, CreationThatCannotOpenReturnsTheHandlesCode) {
  ExposedStore store(m_path, true);
  store.FailOpenWith = 77;
  EXPECT_EQ(77U, store.PutHeader(Blob("header")));
  EXPECT_EQ(77, store.Status());
  EXPECT_EQ(m_path, store.ErrorMessage());
  EXPECT_EQ(0, store.OpenHandles);
  EXPECT_EQ(0U, store.Words.HeaderLength);
}

TEST_F(RecordFileHeader, CreationInAMissingFolderReturnsTheSystemsCode) {
  std::string const path = m_folder / "no/records";
  CQuasiStructFile store(path.c_str(), true, false);
  EXPECT_EQ(static_cast<unsigned int>(ENOENT), store.PutHeader(Blob("header")));
  EXPECT_EQ(ENOENT, store.Status());
  EXPECT_EQ(path, store.ErrorMessage());
}

// PutHeader over a file: what may stop it.

TEST_F(RecordFileHeader, UnclearedStatusIsReturnedAndNothingIsDone) {
  MakeOldFile(m_path, SomeFile());
  for (unsigned int const length : {6U, 3U, 30U}) {
    ExposedStore store(m_path, true);
    store.SetError(77);
    EXPECT_EQ(77U, store.PutHeader(Blob(Pattern(length, 1))));
    EXPECT_EQ(77, store.Status());
    EXPECT_STREQ("", store.ErrorMessage());
    EXPECT_THAT(store.Names(), Not(Contains("Open r+bc")));
    ExpectFile(SomeFile());
  }
}

TEST_F(RecordFileHeader, FileThatWasDamagedMeanwhileIsLeftAlone) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  std::string const damaged = SomeFile() + Word(50);
  WriteFile(m_path, damaged);
  store.LoadTime() = CTOOFileTime();
  EXPECT_EQ(134U, store.PutHeader(Blob("a longer header")));
  EXPECT_EQ(134, store.Status());
  ExpectFile(damaged);
}

TEST_F(RecordFileHeader, FailedOpenReturnsTheHandlesCode) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  store.FailOpenWith = 77;
  EXPECT_EQ(77U, store.PutHeader(Blob("a longer header")));
  EXPECT_EQ(77, store.Status());
  EXPECT_EQ(m_path, store.ErrorMessage());
  EXPECT_EQ(0, store.OpenHandles);
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
  EXPECT_EQ(SomeHeader(), DataOf(store.Header()));
  EXPECT_EQ(6U, store.Words.HeaderLength);
  EXPECT_EQ(SomeOffsets(), store.Offsets());
}

TEST_F(RecordFileHeader, FileThatMayNotBeWrittenReturnsTheSystemsCode) {
  MakeOldFile(m_path, SomeFile());
  ::chmod(m_path.c_str(), 0444);
  ::chmod(m_folder.Path().c_str(), 0755);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    CQuasiStructFile store(m_path.c_str(), true, true);
    EXPECT_EQ(static_cast<unsigned int>(EACCES), store.PutHeader(Blob("HEADER")));
    EXPECT_EQ(EACCES, store.Status());
    EXPECT_EQ(m_path, store.ErrorMessage());
  }));
  ExpectFile(SomeFile());
}

TEST_F(RecordFileHeader, ExclusiveLockIsHeldFromTheOpenUntilTheHandleIsDeleted) {
  for (unsigned int const length : {6U, 3U, 30U}) {
    MakeOldFile(m_path, SomeFile());
    ExposedStore store(m_path, true);
    PutHeaderOf(store, length);
    bool isOpen = false;
    for (ObservedStore::Event const& event : store.Events) {
      isOpen = isOpen || event.what == "Open r+bc";
      EXPECT_EQ(isOpen ? Lock::Exclusive : Lock::None, event.lock) << event.what;
    }
    EXPECT_EQ("delete handle", store.Events.back().what);
    EXPECT_EQ(Lock::None, FileLockOf(m_path));
  }
}

// PutHeader over a file: the same length, or no records.

TEST_F(RecordFileHeader, SameLengthChangesTheHeadersBytesOnly) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  store.Words = {8, 9, 6};  // Would show if they were written.
  EXPECT_EQ(0U, store.PutHeader(Blob("HEADER")));
  ExpectFile(FileWith("HEADER"));
  std::vector<std::string> const names = store.Names();
  EXPECT_EQ(1, std::count(names.begin(), names.end(), "Write"));
  EXPECT_EQ(0, std::count(names.begin(), names.end(), "WriteIdent"));
  EXPECT_EQ(0, std::count(names.begin(), names.end(), "Truncate"));
}

TEST_F(RecordFileHeader, SameLengthChangesNothingInMemory) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  ASSERT_EQ(0U, store.PutHeader(Blob("HEADER")));
  EXPECT_EQ(SomeHeader(), DataOf(store.Header()));
  EXPECT_EQ(0x11223344U, store.Words.Reserved);
  EXPECT_EQ(5U, store.Words.CleanedMark);
  EXPECT_EQ(6U, store.Words.HeaderLength);
  EXPECT_EQ(SomeOffsets(), store.Offsets());
}

// Kept on purpose: the length word stays, so a longer header leaves a tail that reads as a record.
TEST_F(RecordFileHeader, WithoutRecordsOnlyTheBytesBehindTheWordsChange) {
  for (unsigned int length = 0; length <= 30; ++length) {
    MakeOldFile(m_path, RecordFile(3, 4, "header", {}));
    ExposedStore store(m_path, true);
    store.Words.CleanedMark = 9;
    std::string const header = Pattern(length, 2);
    EXPECT_EQ(0U, store.PutHeader(Blob(header)));
    std::string expected = RecordFile(3, 4, "header", {});
    expected.replace(12, header.size(), header);
    ExpectFile(expected);
    EXPECT_EQ("header", DataOf(store.Header()));
    EXPECT_EQ(6U, store.Words.HeaderLength);
    EXPECT_TRUE(store.Offsets().empty());
  }
}

// PutHeader over a file with records.

TEST_F(RecordFileHeader, LongerOneMovesAllRecordsByTheDifference) {
  for (unsigned int length = 7; length <= 80; ++length) {
    MakeOldFile(m_path, SomeFile());
    ExposedStore store(m_path, true);
    std::string const header = Pattern(length, 2);
    EXPECT_EQ(0U, store.PutHeader(Blob(header)));
    ExpectFile(FileWith(header));
    EXPECT_EQ(SomeFile().size() + length - 6, ReadFile(m_path).size());
    EXPECT_EQ(OffsetsBehind(length), store.Offsets());
  }
}

TEST_F(RecordFileHeader, ShorterOnePullsAllRecordsDownAndCutsTheFile) {
  for (unsigned int length = 0; length < 6; ++length) {
    MakeOldFile(m_path, SomeFile());
    ExposedStore store(m_path, true);
    std::string const header = Pattern(length, 2);
    EXPECT_EQ(0U, store.PutHeader(Blob(header)));
    ExpectFile(FileWith(header));
    EXPECT_EQ(OffsetsBehind(length), store.Offsets());
  }
}

TEST_F(RecordFileHeader, OtherLengthBecomesTheHeaderInMemory) {
  for (unsigned int const length : {0U, 3U, 30U}) {
    MakeOldFile(m_path, SomeFile());
    ExposedStore store(m_path, true);
    ASSERT_EQ(0U, store.PutHeader(Blob(Pattern(length, 2))));
    EXPECT_EQ(Pattern(length, 2), DataOf(store.Header()));
    EXPECT_EQ(length, store.Words.HeaderLength);
    EXPECT_EQ(0x11223344U, store.Words.Reserved);
    EXPECT_EQ(5U, store.Words.CleanedMark);
    EXPECT_EQ(Word(length), ReadFile(m_path).substr(8, 4));
  }
}

TEST_F(RecordFileHeader, EmptyOneLeavesTheRecordsBehindTheWords) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  ASSERT_EQ(0U, store.PutHeader(IdentObj()));
  ExpectFile(FileWith(""));
  EXPECT_EQ(12U, store.Offsets().front());
}

TEST_F(RecordFileHeader, WordsInTheFileAreKept) {
  MakeOldFile(m_path, SomeFile());
  for (unsigned int const length : {6U, 3U, 30U}) {
    CQuasiStructFile store(m_path.c_str(), true, false);
    ASSERT_EQ(0U, store.PutHeader(Blob(Pattern(length, 1))));
    EXPECT_EQ(Word(0x11223344) + Word(5), ReadFile(m_path).substr(0, 8));
  }
}

// More than the first records lie where the header will: they are read before it is written.
TEST_F(RecordFileHeader, HeaderMayCoverSeveralRecords) {
  std::list<std::string> records;
  for (unsigned int i = 0; i < 20; ++i) {
    records.push_back(Pattern(10, i));
  }
  for (unsigned int const length : {15U, 40U, 100U, 279U, 280U, 281U, 1000U, 200000U}) {
    MakeOldFile(m_path, RecordFile(1, 2, "", records));
    ExposedStore store(m_path, true);
    EXPECT_EQ(0U, store.PutHeader(Blob(Pattern(length, 99))));
    ASSERT_TRUE(RecordFile(1, 2, Pattern(length, 99), records) == ReadFile(m_path)) << length;
    std::list<IdentObj> out;
    EXPECT_EQ(0U, store.GetAll(out));
    EXPECT_EQ(records, DataOf(out));
  }
}

TEST_F(RecordFileHeader, OnlyRecordsThatItWillCoverAreReadBeforeItIsWritten) {
  std::list<std::string> const records(4, "sixteen bytes 20");
  for (unsigned int length = 0; length <= 100; ++length) {
    if (length == 5) {
      continue;
    }
    MakeOldFile(m_path, RecordFile(0, 0, "first", records));
    ExposedStore store(m_path, true);
    PutHeaderOf(store, length);
    std::vector<std::string> const names = store.Names();
    auto const write = std::find(names.begin(), names.end(), "Write");
    long covered = 1;  // At least one, wherever it lies.
    while (covered < 4 && 17 + 20 * covered < 12 + static_cast<long>(length)) {
      ++covered;
    }
    EXPECT_EQ(covered, std::count(names.begin(), write, "ReadIdent")) << length;
  }
}

// Not the length of the header in memory, which a file without header leaves as it was.
TEST_F(RecordFileHeader, LengthWordDecidesWhetherTheRecordsMove) {
  MakeOldFile(m_path, RecordFile({"record"}));
  ExposedStore store(m_path, true);
  store.Header() = Blob("four");
  EXPECT_EQ(0U, store.PutHeader(Blob("FOUR")));
  ExpectFile(RecordFile(0, 0, "FOUR", {"record"}));
}

TEST_F(RecordFileHeader, NewerFileIsScannedBeforeTheRecordsMove) {
  MakeOldFile(m_path, RecordFile({"one"}));
  ExposedStore store(m_path, true);
  WriteFile(m_path, SomeFile());
  store.LoadTime() = CTOOFileTime();
  ASSERT_EQ(0U, store.PutHeader(Blob("a longer header")));
  ExpectFile(FileWith("a longer header"));
}

TEST_F(RecordFileHeader, OwnHeaderMayBePut) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  EXPECT_EQ(0U, store.PutHeader(store.GetHeader()));
  ExpectFile(SomeFile());
}

// The scan that PutHeader begins with replaces the header that was given to it.
TEST_F(RecordFileHeader, OwnHeaderIsPutAsItWasWhenGiven) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  IdentObj const& header = store.GetHeader();
  CQuasiStructFile other(m_path.c_str(), true, false);
  ASSERT_EQ(0U, other.PutHeader(Blob("another, longer header")));
  EXPECT_EQ(0U, store.PutHeader(header));
  ExpectFile(SomeFile());
  EXPECT_EQ(SomeHeader(), DataOf(store.Header()));
}

}  // namespace
