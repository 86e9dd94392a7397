// The record operations, on disk and in memory. What only one of them shows is tested in
// RecordOperationsDiskTest.cpp and its neighbours and in QuasiStructBufferTest.cpp.

#include <climits>
#include <list>
#include <string>

#include <gtest/gtest.h>

#include "tests/recordstore/BothBackends.h"
#include "tests/support/Bytes.h"

namespace {

constexpr int kEarlierFailure = 77;

std::string const kHeader = "the header";
std::list<std::string> const kRecords{"first record", "second", "", "the fourth record"};
constexpr long kCount = 4;
// Header words that are not 0, so that it shows when they are lost.
std::string const kFile = RecordFile(0x01020304, 5, kHeader, kRecords);

std::list<std::string> WithMore(std::list<std::string> records,
                                std::list<std::string> const& more) {
  records.insert(records.end(), more.begin(), more.end());
  return records;
}

std::list<IdentObj> Blobs(std::list<std::string> const& data) {
  std::list<IdentObj> blobs;
  for (std::string const& item : data) {
    blobs.push_back(Blob(item));
  }
  return blobs;
}

template <typename Backend>
class RecordOperations : public testing::Test {};

TYPED_TEST_SUITE(RecordOperations, Backends, BackendName);

TYPED_TEST(RecordOperations, IsItInFileWithoutRecordsGivesMinusOne) {
  TypeParam backend(RecordFile({}));
  long index = 77;
  EXPECT_FALSE(backend.Store().IsItInFile(Blob("first record"), &index));
  EXPECT_EQ(-1, index);
  EXPECT_FALSE(backend.Store().IsItInFile(Blob("first record"), nullptr));
  EXPECT_EQ(0, backend.Store().Status());
}

// Kept on purpose: only records from the storage's first byte on are searched, and in every file of
// ours the header words stand there.
TYPED_TEST(RecordOperations, IsItInFileRefusesEveryStoreThatHasRecords) {
  for (std::string const& header : {std::string(), kHeader}) {
    TypeParam backend(RecordFile(0, 0, header, kRecords));
    long index = 77;
    EXPECT_FALSE(backend.Store().IsItInFile(Blob("first record"), &index));
    EXPECT_EQ(22, backend.Store().Status());
    EXPECT_EQ(77, index);
    backend.Store().Clear();
    EXPECT_FALSE(backend.Store().IsItInFile(Blob("first record"), nullptr));
    EXPECT_EQ(22, backend.Store().Status());
  }
}

TYPED_TEST(RecordOperations, RefusalOfIsItInFileBlocksUntilItIsCleared) {
  TypeParam backend(kFile);
  EXPECT_FALSE(backend.Store().IsItInFile(Blob("second"), nullptr));
  IdentObj out = Blob("kept");
  EXPECT_EQ(22U, backend.Store().Get(0, out));
  EXPECT_EQ("kept", DataOf(out));
  backend.Store().Clear();
  EXPECT_EQ(0U, backend.Store().Get(0, out));
  EXPECT_EQ("first record", DataOf(out));
}

TYPED_TEST(RecordOperations, GetGivesTheRecordOfThatIndex) {
  TypeParam backend(kFile);
  long index = 0;
  for (std::string const& record : kRecords) {
    IdentObj out = Blob("something longer than any of the records");
    EXPECT_EQ(0U, backend.Store().Get(index++, out));
    EXPECT_EQ(record, DataOf(out));
  }
}

TYPED_TEST(RecordOperations, GetOfAnIndexThatIsNoneGives194) {
  TypeParam backend(kFile);
  IdentObj out = Blob("kept");
  for (long const index :
       {-1L, -2L, LONG_MIN, kCount, kCount + 1, LONG_MAX, 0x100000000L, -0x100000000L}) {
    EXPECT_EQ(194U, backend.Store().Get(index, out)) << index;
    EXPECT_EQ("kept", DataOf(out));
    EXPECT_EQ(0, backend.Store().Status());
  }
}

TYPED_TEST(RecordOperations, GetWithoutRecordsGives194) {
  for (std::string const& bytes : {std::string(), RecordFile({}), RecordFile(0, 0, kHeader, {})}) {
    TypeParam backend(bytes);
    IdentObj out = Blob("kept");
    for (long const index : {0L, 1L, -1L}) {
      EXPECT_EQ(194U, backend.Store().Get(index, out)) << index;
    }
    EXPECT_EQ("kept", DataOf(out));
    EXPECT_EQ(0, backend.Store().Status());
  }
}

TYPED_TEST(RecordOperations, GetReturnsAnEarlierStatus) {
  TypeParam backend(kFile);
  backend.Store().SetError(kEarlierFailure);
  IdentObj out = Blob("kept");
  EXPECT_EQ(77U, backend.Store().Get(0, out));
  EXPECT_EQ(77U, backend.Store().Get(-1, out));
  EXPECT_EQ("kept", DataOf(out));
  EXPECT_EQ(77, backend.Store().Status());
}

TYPED_TEST(RecordOperations, GetOfAnOffsetBeyondTheEndGives22) {
  TypeParam backend(kFile);
  backend.Store().Offsets().back() = static_cast<unsigned int>(kFile.size()) + 1;
  IdentObj out = Blob("kept");
  EXPECT_EQ(22U, backend.Store().Get(kCount - 1, out));
  EXPECT_EQ("kept", DataOf(out));
  EXPECT_EQ(0, backend.Store().Status());
}

TYPED_TEST(RecordOperations, GetOfARecordThatCannotBeReadGives0) {
  for (unsigned int const before : {0U, 1U, 3U, 5U}) {
    TypeParam backend(kFile);
    backend.Store().Offsets().back() = static_cast<unsigned int>(kFile.size()) - before;
    IdentObj out;
    EXPECT_EQ(0U, backend.Store().Get(kCount - 1, out));
    EXPECT_EQ(0U, out.Length);
    EXPECT_EQ(0, backend.Store().Status());
  }
}

TYPED_TEST(RecordOperations, GetAllGivesAllRecordsInOrder) {
  TypeParam backend(kFile);
  std::list<IdentObj> out;
  EXPECT_EQ(0U, backend.Store().GetAll(out));
  EXPECT_EQ(kRecords, DataOf(out));
}

TYPED_TEST(RecordOperations, GetAllWithoutRecordsGivesNone) {
  for (std::string const& header : {std::string(), kHeader}) {
    TypeParam backend(RecordFile(0, 0, header, {}));
    std::list<IdentObj> out;
    EXPECT_EQ(0U, backend.Store().GetAll(out));
    EXPECT_TRUE(out.empty());
  }
}

TYPED_TEST(RecordOperations, GetAllAppends) {
  TypeParam backend(kFile);
  std::list<IdentObj> out = Blobs({"already", "there"});
  EXPECT_EQ(0U, backend.Store().GetAll(out));
  EXPECT_EQ(0U, backend.Store().GetAll(out));
  EXPECT_EQ(WithMore(WithMore({"already", "there"}, kRecords), kRecords), DataOf(out));
}

TYPED_TEST(RecordOperations, GetAllWithoutFileSets4EvenWhereOneMayBeCreated) {
  TypeParam backend("");
  std::list<IdentObj> out = Blobs({"already there"});
  EXPECT_EQ(4U, backend.Store().GetAll(out));
  EXPECT_EQ(4, backend.Store().Status());
  EXPECT_EQ(std::list<std::string>{"already there"}, DataOf(out));
}

TYPED_TEST(RecordOperations, GetAllReadsHeaderWordsAndHeaderAgain) {
  TypeParam backend(kFile);
  backend.Store().Words = {1, 2, 3};
  backend.Store().Header() = Blob("another header altogether");
  std::list<IdentObj> out;
  EXPECT_EQ(0U, backend.Store().GetAll(out));
  EXPECT_EQ(0x01020304U, backend.Store().Words.Reserved);
  EXPECT_EQ(5U, backend.Store().Words.CleanedMark);
  EXPECT_EQ(kHeader.size(), backend.Store().Words.HeaderLength);
  EXPECT_EQ(kHeader, DataOf(backend.Store().Header()));
}

TYPED_TEST(RecordOperations, GetAllLeavesTheHeaderWhereTheFileHasNone) {
  TypeParam backend(RecordFile(kRecords));
  backend.Store().Words.HeaderLength = 3;
  backend.Store().Header() = Blob("in memory");
  std::list<IdentObj> out;
  EXPECT_EQ(0U, backend.Store().GetAll(out));
  EXPECT_EQ(0U, backend.Store().Words.HeaderLength);
  EXPECT_EQ("in memory", DataOf(backend.Store().Header()));
  EXPECT_EQ(kRecords, DataOf(out));
}

TYPED_TEST(RecordOperations, GetAllNeitherUsesNorChangesTheOffsets) {
  TypeParam backend(kFile);
  std::list<unsigned int> const wrong{1, 2, 3};
  backend.Store().Offsets() = wrong;
  std::list<IdentObj> out;
  EXPECT_EQ(0U, backend.Store().GetAll(out));
  EXPECT_EQ(kRecords, DataOf(out));
  EXPECT_EQ(wrong, backend.Store().Offsets());
}

TYPED_TEST(RecordOperations, GetAllWalksInSpiteOfAnEarlierStatusAndReturnsIt) {
  TypeParam backend(kFile);
  backend.Store().SetError(kEarlierFailure);
  std::list<IdentObj> out;
  EXPECT_EQ(77U, backend.Store().GetAll(out));
  EXPECT_EQ(kRecords, DataOf(out));
  EXPECT_EQ(77, backend.Store().Status());
}

TYPED_TEST(RecordOperations, AddWithoutFileWritesHeaderWordsHeaderAndRecord) {
  for (std::string const& header : {std::string(), kHeader}) {
    TypeParam backend("");
    backend.Store().Words = {6, 7, 99};  // The length is the header's own.
    backend.Store().Header() = Blob(header);
    EXPECT_EQ(0U, backend.Store().Add(Blob("a record")));
    EXPECT_EQ(header.size(), backend.Store().Words.HeaderLength);
    ExpectBecame(backend, RecordFile(6, 7, "", {}), header, {"a record"});
  }
}

TYPED_TEST(RecordOperations, AddAppends) {
  TypeParam backend(kFile);
  EXPECT_EQ(0U, backend.Store().Add(Blob("one more")));
  EXPECT_EQ(0U, backend.Store().Add(Blob("and another")));
  ExpectBecame(backend, kFile, kHeader, WithMore(kRecords, {"one more", "and another"}));
}

// The file's bytes, not those in memory, stay in front.
TYPED_TEST(RecordOperations, AddLeavesTheFilesHeaderAlone) {
  TypeParam backend(kFile);
  backend.Store().Words = {1, 2, 3};
  backend.Store().Header() = Blob("another header altogether");
  EXPECT_EQ(0U, backend.Store().Add(Blob("one more")));
  EXPECT_EQ(kFile + Item("one more"), backend.Bytes());
  EXPECT_EQ("another header altogether", DataOf(backend.Store().Header()));
}

TYPED_TEST(RecordOperations, AddToAFileWithoutRecords) {
  TypeParam backend(RecordFile({}));
  EXPECT_EQ(0U, backend.Store().Add(Blob("a record")));
  ExpectBecame(backend, RecordFile({}), "", {"a record"});
}

TYPED_TEST(RecordOperations, AddOfAnEmptyBlobWritesItsLengthOnly) {
  TypeParam backend(kFile);
  EXPECT_EQ(0U, backend.Store().Add(IdentObj()));
  EXPECT_EQ(kFile + Hex("00 00 00 00"), backend.Bytes());
  ExpectBecame(backend, kFile, kHeader, WithMore(kRecords, {""}));
}

TYPED_TEST(RecordOperations, AddReturnsAnEarlierStatusAndWritesNothing) {
  for (std::string const& bytes : {std::string(), kFile}) {
    TypeParam backend(bytes);
    std::list<unsigned int> const offsets = backend.Store().Offsets();
    backend.Store().SetError(kEarlierFailure);
    EXPECT_EQ(77U, backend.Store().Add(Blob("one more")));
    EXPECT_EQ(bytes, backend.Bytes());
    EXPECT_EQ(offsets, backend.Store().Offsets());
  }
}

TYPED_TEST(RecordOperations, PutListAppendsInOrder) {
  TypeParam backend(kFile);
  std::list<std::string> const more{"one more", "", "and another"};
  EXPECT_EQ(0U, backend.Store().PutList(Blobs(more)));
  ExpectBecame(backend, kFile, kHeader, WithMore(kRecords, more));
}

TYPED_TEST(RecordOperations, PutListWithoutFileWritesHeaderWordsHeaderAndRecords) {
  for (std::string const& header : {std::string(), kHeader}) {
    TypeParam backend("");
    backend.Store().Words = {6, 7, 99};
    backend.Store().Header() = Blob(header);
    EXPECT_EQ(0U, backend.Store().PutList(Blobs(kRecords)));
    EXPECT_EQ(header.size(), backend.Store().Words.HeaderLength);
    ExpectBecame(backend, RecordFile(6, 7, "", {}), header, kRecords);
  }
}

TYPED_TEST(RecordOperations, PutListOfNothingWithoutFileWritesHeaderWordsAndHeader) {
  TypeParam backend("");
  backend.Store().Header() = Blob(kHeader);
  EXPECT_EQ(0U, backend.Store().PutList({}));
  ExpectBecame(backend, "", kHeader, {});
}

TYPED_TEST(RecordOperations, PutListOfNothingChangesNoByteOfAFile) {
  TypeParam backend(kFile);
  EXPECT_EQ(0U, backend.Store().PutList({}));
  ExpectBecame(backend, kFile, kHeader, kRecords);
}

TYPED_TEST(RecordOperations, PutListIsNotBlockedByAnEarlierStatusAndReturnsIt) {
  TypeParam backend(kFile);
  backend.Store().SetError(kEarlierFailure);
  EXPECT_EQ(77U, backend.Store().PutList(Blobs({"one more"})));
  backend.Store().Clear();
  ExpectBecame(backend, kFile, kHeader, WithMore(kRecords, {"one more"}));
}

TYPED_TEST(RecordOperations, PutOfTheCountAppends) {
  TypeParam backend(kFile);
  EXPECT_EQ(0U, backend.Store().Put(kCount, Blob("one more")));
  EXPECT_EQ(0U, backend.Store().Put(kCount + 1, Blob("and another")));
  ExpectBecame(backend, kFile, kHeader, WithMore(kRecords, {"one more", "and another"}));
}

TYPED_TEST(RecordOperations, PutOfTheCountOntoAFileWithoutRecords) {
  TypeParam backend(RecordFile({}));
  EXPECT_EQ(0U, backend.Store().Put(0, Blob("a record")));
  ExpectBecame(backend, RecordFile({}), "", {"a record"});
}

// Kept on purpose: the index is compared signed.
TYPED_TEST(RecordOperations, PutOfANegativeIndexAppends) {
  TypeParam backend(kFile);
  EXPECT_EQ(0U, backend.Store().Put(-1, Blob("one more")));
  EXPECT_EQ(0U, backend.Store().Put(LONG_MIN, Blob("and another")));
  ExpectBecame(backend, kFile, kHeader, WithMore(kRecords, {"one more", "and another"}));
}

TYPED_TEST(RecordOperations, PutAboveTheCountGives28AndChangesNothing) {
  TypeParam backend(kFile);
  for (long const index : {kCount + 1, kCount + 2, LONG_MAX, 0x100000000L}) {
    EXPECT_EQ(28U, backend.Store().Put(index, Blob("one more"))) << index;
    EXPECT_EQ(0, backend.Store().Status());
  }
  EXPECT_EQ(kFile, backend.Bytes());
  ExpectBecame(backend, kFile, kHeader, kRecords);
}

TYPED_TEST(RecordOperations, PutWithoutFileWritesHeaderWordsHeaderAndRecord) {
  for (long const index : {0L, -1L}) {
    for (std::string const& header : {std::string(), kHeader}) {
      TypeParam backend("");
      backend.Store().Words = {6, 7, 99};
      backend.Store().Header() = Blob(header);
      EXPECT_EQ(0U, backend.Store().Put(index, Blob("a record")));
      EXPECT_EQ(header.size(), backend.Store().Words.HeaderLength);
      ExpectBecame(backend, RecordFile(6, 7, "", {}), header, {"a record"});
    }
  }
}

TYPED_TEST(RecordOperations, PutAboveTheCountWithoutFileGives28AndWritesNothing) {
  TypeParam backend("");
  EXPECT_EQ(28U, backend.Store().Put(1, Blob("a record")));
  EXPECT_EQ(0, backend.Store().Status());
  EXPECT_EQ("", backend.Bytes());
  EXPECT_TRUE(backend.Store().Offsets().empty());
}

TYPED_TEST(RecordOperations, PutReturnsAnEarlierStatusAndWritesNothing) {
  for (std::string const& bytes : {std::string(), kFile}) {
    for (long const index : {-1L, 0L, kCount, kCount + 1}) {
      TypeParam backend(bytes);
      std::list<unsigned int> const offsets = backend.Store().Offsets();
      backend.Store().SetError(kEarlierFailure);
      EXPECT_EQ(77U, backend.Store().Put(index, Blob("replacement")));
      EXPECT_EQ(bytes, backend.Bytes());
      EXPECT_EQ(offsets, backend.Store().Offsets());
    }
  }
}

TYPED_TEST(RecordOperations, DelOfEveryIndexRemovesThatRecordAndMovesTheLaterOnes) {
  for (std::string const& header : {std::string(), kHeader}) {
    for (long index = 0; index < kCount; ++index) {
      SCOPED_TRACE(index);
      std::string const before = RecordFile(1, 2, header, kRecords);
      TypeParam backend(before);
      EXPECT_EQ(0U, backend.Store().Del(index));
      ExpectBecame(backend, before, header, Without(kRecords, index));
    }
  }
}

TYPED_TEST(RecordOperations, DelOfTheLastCutsAtItsOffset) {
  TypeParam backend(kFile);
  unsigned int const offset = backend.Store().Offsets().back();
  EXPECT_EQ(0U, backend.Store().Del(kCount - 1));
  EXPECT_EQ(TypeParam::Cut(kFile.substr(0, offset), kFile), backend.Bytes());
}

TYPED_TEST(RecordOperations, DelOfTheOnlyRecordLeavesExactlyTheHeader) {
  std::string const before = RecordFile(1, 2, kHeader, {"the only one"});
  TypeParam backend(before);
  EXPECT_EQ(0U, backend.Store().Del(0));
  EXPECT_TRUE(backend.Store().Offsets().empty());
  EXPECT_EQ(TypeParam::Cut(RecordFile(1, 2, kHeader, {}), before), backend.Bytes());
}

// Unlike in Put the index is compared unsigned.
TYPED_TEST(RecordOperations, DelOfAnIndexThatIsNoneGives28AndChangesNothing) {
  for (std::string const& bytes : {std::string(), RecordFile({}), kFile}) {
    TypeParam backend(bytes);
    std::list<unsigned int> const offsets = backend.Store().Offsets();
    long const count = static_cast<long>(offsets.size());
    for (long const index : {count, count + 1, -1L, -count, LONG_MIN, LONG_MAX, 0x100000000L}) {
      if (index < 0 || index >= count) {
        EXPECT_EQ(28U, backend.Store().Del(index)) << index;
        EXPECT_EQ(0, backend.Store().Status());
      }
    }
    EXPECT_EQ(bytes, backend.Bytes());
    EXPECT_EQ(offsets, backend.Store().Offsets());
  }
}

TYPED_TEST(RecordOperations, DelReturnsAnEarlierStatusAndChangesNothing) {
  TypeParam backend(kFile);
  backend.Store().SetError(kEarlierFailure);
  for (long const index : {0L, -1L, kCount}) {
    EXPECT_EQ(77U, backend.Store().Del(index));
  }
  EXPECT_EQ(kFile, backend.Bytes());
  EXPECT_EQ(OffsetsIn(kHeader, kRecords), backend.Store().Offsets());
}

TYPED_TEST(RecordOperations, EmptyFileForgetsTheOffsetsAndKeepsHeaderWordsAndHeader) {
  TypeParam backend(kFile);
  EXPECT_EQ(0U, backend.Store().EmptyFile());
  EXPECT_TRUE(backend.Store().Offsets().empty());
  EXPECT_EQ(0x01020304U, backend.Store().Words.Reserved);
  EXPECT_EQ(5U, backend.Store().Words.CleanedMark);
  EXPECT_EQ(kHeader.size(), backend.Store().Words.HeaderLength);
  EXPECT_EQ(kHeader, DataOf(backend.Store().Header()));
  EXPECT_EQ(0, backend.Store().Status());
}

TYPED_TEST(RecordOperations, EmptyFileIsNotBlockedByAnEarlierStatus) {
  TypeParam backend(kFile);
  backend.Store().SetError(kEarlierFailure);
  EXPECT_EQ(0U, backend.Store().EmptyFile());
  EXPECT_TRUE(backend.Store().Offsets().empty());
  EXPECT_EQ(77, backend.Store().Status());
}

// A mixture of everything, step by step.
TYPED_TEST(RecordOperations, KeepTheOffsetsEqualToTheStorage) {
  TypeParam backend("");
  std::list<std::string> expected;
  for (unsigned int step = 0; step < 120; ++step) {
    SCOPED_TRACE(step);
    std::string const data = Pattern(6 + step * 7 % 40, step);
    long const index = expected.empty() ? 0 : static_cast<long>(step * 5 % expected.size());
    if (step % 4 == 3) {
      EXPECT_EQ(0U, backend.Store().Put(index, Blob(data.substr(0, 6))));
      *std::next(expected.begin(), index) = data.substr(0, 6);
    } else {
      EXPECT_EQ(0U, backend.Store().Add(Blob(data)));
      expected.push_back(data);
    }
    if (step % 8 == 7) {
      EXPECT_EQ(0U, backend.Store().Del(index));
      expected.erase(std::next(expected.begin(), index));
    }
    ASSERT_EQ(expected.size(), backend.Store().Offsets().size());
    long position = 0;
    for (std::string const& record : expected) {
      ASSERT_EQ(record, RecordAt(backend.Store(), position++));
    }
  }
}

}  // namespace
