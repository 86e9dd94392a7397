// QuasiStructBuffer as a record store: construction, scanning, and where its record operations
// differ from those on disk. What they have in common is in RecordOperationsTest.cpp.

#include <list>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "recordstore/QuasiStructBuffer.h"
#include "tests/recordstore/BothBackends.h"
#include "tests/support/Bytes.h"
#include "tests/support/Peer.h"

namespace {

std::string const kHeader = "the header";
std::list<std::string> const kRecords{"first record", "the second record", "", "the fourth"};
std::string const kFile = RecordFile(1, 2, kHeader, kRecords);

// Shows what is protected, and counts the opens after construction.
class Buffer : public OpenStore<QuasiStructBuffer> {
 public:
  explicit Buffer(std::string const& bytes)
      : OpenStore<QuasiStructBuffer>(bytes.data(), bytes.size()) {}

  char const* FileName() const { return m_fileName; }
  char const* LockName() const { return m_lockName; }
  bool Create() const { return m_create; }
  bool StatusFlag() const { return Flag; }
  CTOOFileTime& LoadTime() { return m_loadTime; }
  IPC::CReadWriteLock* LockObject() const { return m_lock.get(); }

  CTOOFile* stor_Open(char const* name, char const* mode, bool flag) override {
    ++Opens;
    return QuasiStructBuffer::stor_Open(name, mode, flag);
  }
  int Opens = 0;
};

TEST(QuasiStructBufferRecords, NoDataGivesAnEmptyBuffer) {
  char const data[] = "data";
  for (auto const& store :
       {std::make_unique<QuasiStructBuffer>(nullptr, 0),
        std::make_unique<QuasiStructBuffer>(nullptr, 4),
        std::make_unique<QuasiStructBuffer>(static_cast<char const*>(data), 0)}) {
    EXPECT_EQ(0, store->Status());
    EXPECT_EQ("", store->GetBuffer());
    EXPECT_EQ(0U, store->stor_Length(""));
    EXPECT_EQ(0U, store->Add(Blob("a record")));
    EXPECT_EQ(RecordFile({"a record"}), store->GetBuffer());
  }
}

TEST(QuasiStructBufferRecords, ScansTheBytesOfARecordFile) {
  Buffer store(kFile);
  EXPECT_EQ(0, store.Status());
  EXPECT_EQ(1U, store.Words.Reserved);
  EXPECT_EQ(2U, store.Words.CleanedMark);
  EXPECT_EQ(kHeader, DataOf(store.GetHeader()));
  EXPECT_EQ(OffsetsIn(kHeader, kRecords), store.Offsets());
  EXPECT_EQ("the second record", RecordAt(store, 1));
}

TEST(QuasiStructBufferRecords, KeepsTheBytesAsTheyWere) {
  for (std::string const& bytes : {RecordFile({}), kFile, RecordFile({std::string(100000, 'x')})}) {
    Buffer store(bytes);
    EXPECT_EQ(bytes, store.GetBuffer());
  }
}

TEST(QuasiStructBufferRecords, CopiesItsBytes) {
  std::string bytes = kFile;
  Buffer store(bytes);
  bytes.assign(bytes.size(), 'x');
  EXPECT_EQ(kFile, store.GetBuffer());
}

TEST(QuasiStructBufferRecords, HasNoNameMayCreateAndMakesItsLockWhenItNeedsOne) {
  Buffer store("");
  EXPECT_STREQ("", store.FileName());
  EXPECT_STREQ("", store.LockName());
  EXPECT_TRUE(store.Create());
  EXPECT_TRUE(store.StatusFlag());
  EXPECT_EQ(nullptr, store.LockObject());
  EXPECT_EQ(nullptr, store.LockWriteFile());
  EXPECT_EQ(0U, store.Add(Blob("a record")));
  EXPECT_NE(nullptr, store.LockObject());
  std::unique_ptr<IPC::CWriteLocker> const locker(store.LockWriteFile());
  EXPECT_NE(nullptr, locker);
}

// Of a size that does not fit into 32 bits only those are taken.
TEST(QuasiStructBufferRecords, SizeIsCutTo32Bits) {
  QuasiStructBuffer const store(kFile.data(), 0x100000000UL + kFile.size());
  EXPECT_EQ(kFile, store.GetBuffer());
  EXPECT_EQ(0, store.Status());
  QuasiStructBuffer const empty(kFile.data(), 0x100000000UL);
  EXPECT_EQ("", empty.GetBuffer());
  EXPECT_EQ(0, empty.Status());
}

TEST(QuasiStructBufferRecords, ScanOfFewerBytesThanTheHeaderWordsSets5) {
  for (std::size_t length = 1; length < 12; ++length) {
    Buffer store(kFile.substr(0, length));
    EXPECT_EQ(5, store.Status()) << length;
    EXPECT_EQ("", store.GetBuffer());
    EXPECT_TRUE(store.Offsets().empty());
  }
}

TEST(QuasiStructBufferRecords, ScanOfADamagedHeaderSetsItsCode) {
  for (std::size_t length = 12; length < 12 + kHeader.size(); ++length) {
    Buffer store(kFile.substr(0, length));
    EXPECT_EQ(5, store.Status()) << length;
  }
  Buffer store(Word(0) + Word(0) + Word(13));
  EXPECT_EQ(134, store.Status());
}

TEST(QuasiStructBufferRecords, ScanOfADamagedRecordSetsItsCodeAndKeepsTheOffsetsBefore) {
  std::size_t const last = kFile.size() - Item(kRecords.back()).size();
  for (std::size_t length = last + 1; length < kFile.size(); ++length) {
    Buffer store(kFile.substr(0, length));
    EXPECT_EQ(length < last + 4 ? 5 : 134, store.Status()) << length;
    EXPECT_EQ(3U, store.Offsets().size());
  }
  for (unsigned int const wrong : {11U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    std::string damaged = kFile;
    damaged.replace(last, 4, Word(wrong));
    Buffer store(damaged);
    EXPECT_EQ(134, store.Status()) << wrong;
    EXPECT_EQ(3U, store.Offsets().size());
    EXPECT_EQ(damaged, store.GetBuffer());
  }
}

TEST(QuasiStructBufferRecords, CheckAndRestoreNeverScansAgain) {
  Buffer store(kFile);
  store.LoadTime() = CTOOFileTime();
  store.Offsets() = {12, 34};
  store.Opens = 0;
  store.CheckAndRestore();
  EXPECT_EQ(kHeader, DataOf(store.GetHeader()));
  EXPECT_EQ((std::list<unsigned int>{12, 34}), store.Offsets());
  EXPECT_EQ(0, store.Opens);
}

TEST(QuasiStructBufferRecords, AddToAnEmptyBufferWritesHeaderWordsHeaderAndRecord) {
  Buffer store("");
  store.Words = {6, 7, 99};
  store.Header() = Blob(kHeader);
  EXPECT_EQ(0U, store.Add(Blob("a record")));
  EXPECT_EQ(RecordFile(6, 7, kHeader, {"a record"}), store.GetBuffer());
}

TEST(QuasiStructBufferRecords, PutOfTheSameLengthOrMoreLeavesNothingBehind) {
  for (char const* const data : {"FIRST RECORD", "a first record that is longer"}) {
    Buffer store(kFile);
    EXPECT_EQ(0U, store.Put(0, Blob(data)));
    EXPECT_EQ(RecordFile(1, 2, kHeader, With(kRecords, 0, data)), store.GetBuffer());
    EXPECT_EQ(data, RecordAt(store, 0));
    EXPECT_EQ("the fourth", RecordAt(store, 3));
  }
}

// Kept on purpose: cutting leaves one byte too many.

TEST(QuasiStructBufferRecords, PutOfLessLeavesOneByteBehind) {
  Buffer store(kFile);
  EXPECT_EQ(0U, store.Put(0, Blob("first")));
  std::string const expected = RecordFile(1, 2, kHeader, With(kRecords, 0, "first"));
  EXPECT_EQ(expected + kFile[expected.size()], store.GetBuffer());
  EXPECT_EQ("the fourth", RecordAt(store, 3));
}

TEST(QuasiStructBufferRecords, DelLeavesOneByteBehind) {
  for (long index = 0; index < 4; ++index) {
    Buffer store(kFile);
    EXPECT_EQ(0U, store.Del(index));
    std::list<std::string> const left = Without(kRecords, index);
    std::string const expected = RecordFile(1, 2, kHeader, left);
    EXPECT_EQ(expected + kFile[expected.size()], store.GetBuffer());
    long next = 0;
    for (std::string const& record : left) {
      EXPECT_EQ(record, RecordAt(store, next++));
    }
  }
}

TEST(QuasiStructBufferRecords, AddAfterDelGoesBehindTheByteThatWasLeft) {
  Buffer store(kFile);
  EXPECT_EQ(0U, store.Del(3));
  EXPECT_EQ(0U, store.Add(Blob("one more")));
  std::string const expected = RecordFile(1, 2, kHeader, Without(kRecords, 3));
  EXPECT_EQ(expected.size() + 1, store.Offsets().back());
  EXPECT_EQ(expected + kFile[expected.size()] + Item("one more"), store.GetBuffer());
  EXPECT_EQ("one more", RecordAt(store, 3));
}

// Kept on purpose: whether there is a file under the store's name is asked, and there is none.
TEST(QuasiStructBufferRecords, EmptyFileForgetsTheOffsetsAndKeepsTheContent) {
  Buffer store(kFile);
  store.Opens = 0;
  EXPECT_EQ(0U, store.EmptyFile());
  EXPECT_TRUE(store.Offsets().empty());
  EXPECT_EQ(kFile, store.GetBuffer());
  EXPECT_EQ(0, store.Opens);
  EXPECT_EQ(0U, store.Init());
  EXPECT_EQ(OffsetsIn(kHeader, kRecords), store.Offsets());
}

TEST(QuasiStructBufferRecords, PutHeaderOfAnEmptyBufferWritesHeaderWordsAndHeader) {
  Buffer store("");
  store.Words = {6, 7, 0};
  EXPECT_EQ(0U, store.PutHeader(Blob(kHeader)));
  EXPECT_EQ(RecordFile(6, 7, kHeader, {}), store.GetBuffer());
  EXPECT_EQ(0U, store.Header().Length);  // Only the storage got it.
}

TEST(QuasiStructBufferRecords, PutHeaderMovesTheRecords) {
  for (char const* const header :
       {"", "short", "THE HEADER", "a header that is longer than some of the records"}) {
    Buffer store(kFile);
    EXPECT_EQ(0U, store.PutHeader(Blob(header)));
    std::string const expected = RecordFile(1, 2, header, kRecords);
    EXPECT_EQ(MemoryBackend::Cut(expected, kFile), store.GetBuffer());
    EXPECT_EQ(OffsetsIn(header, kRecords), store.Offsets());
    long index = 0;
    for (std::string const& record : kRecords) {
      EXPECT_EQ(record, RecordAt(store, index++));
    }
  }
}

// A walk over bytes that were damaged behind the store's back ends, and gives what stood before.
TEST(QuasiStructBufferRecords, GetAllOfDamagedBytesEnds) {
  std::list<unsigned int> const offsets = OffsetsIn(kHeader, kRecords);
  for (std::size_t damagedRecord = 0; damagedRecord < offsets.size(); ++damagedRecord) {
    auto const index = static_cast<long>(damagedRecord);
    for (unsigned int const wrong : {200U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
      Buffer store(kFile);
      ASSERT_EQ(0U, store.stor_Seek(nullptr, *std::next(offsets.begin(), index), 0));
      ASSERT_EQ(4U, store.stor_Write(nullptr, &wrong, 4));
      std::list<IdentObj> out;
      EXPECT_EQ(134U, store.GetAll(out));
      ASSERT_EQ(damagedRecord + 1, out.size());
      EXPECT_EQ(0U, out.back().Length);
      std::list<std::string> const expected(kRecords.begin(), std::next(kRecords.begin(), index));
      std::list<std::string> whole = DataOf(out);
      whole.resize(damagedRecord);
      EXPECT_EQ(expected, whole);
    }
  }
}

// Kept on purpose: the byte that is left behind the last record is read into.
TEST(QuasiStructBufferRecords, GetAllAfterADelReadsIntoTheByteLeftAndFailsTheObject) {
  Buffer store(kFile);
  ASSERT_EQ(0U, store.Del(0));
  std::list<IdentObj> out;
  EXPECT_EQ(0U, store.GetAll(out));
  ASSERT_EQ(kRecords.size(), out.size());
  EXPECT_EQ(*std::next(kRecords.begin()), DataOf(out.front()));
  EXPECT_EQ(0U, out.back().Length);
  EXPECT_EQ("", store.GetBuffer());
}

// The empty name is a lock of each buffer's own.

TEST(QuasiStructBufferRecords, DoesNotBlockAnotherBufferOfAnotherProcess) {
  Buffer store(kFile);
  ProcessPeer peer([](PeerSide& side) {
    side.AwaitGo();
    Buffer other(kFile);
    EXPECT_EQ(0U, other.Add(Blob("one more")));
    side.Reached();
  });
  std::unique_ptr<IPC::CWriteLocker> const locker(store.LockWriteFile());
  ASSERT_NE(nullptr, locker);
  peer.Go();
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_TRUE(peer.Finish());
}

TEST(QuasiStructBufferRecords, DoesNotBlockAnotherBufferOfAnotherThread) {
  Buffer store(kFile);
  std::unique_ptr<IPC::CWriteLocker> const locker(store.LockWriteFile());
  ASSERT_NE(nullptr, locker);
  ThreadPeer peer([](PeerSide& side) {
    Buffer other(kFile);
    EXPECT_EQ(0U, other.Add(Blob("one more")));
    EXPECT_EQ(0U, other.Del(0));
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_TRUE(peer.Finish());
}

TEST(QuasiStructBufferRecords, DoesNotBlockAnotherBufferOfTheSameThread) {
  Buffer store(kFile);
  Buffer other(kFile);
  std::unique_ptr<IPC::CReadLocker> const locker(store.LockReadFile());
  ASSERT_NE(nullptr, locker);
  EXPECT_EQ(0U, other.Add(Blob("one more")));
}

}  // namespace
