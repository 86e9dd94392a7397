// QuasiStructBuffer: the storage operations over a string in memory. Those on blobs are in
// QuasiStructBufferBlobTest.cpp, the record operations in QuasiStructBufferRecordsTest.cpp.

#include <memory>
#include <sstream>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "recordstore/QuasiStructBuffer.h"
#include "tests/recordstore/RawBuffer.h"
#include "tests/support/Bytes.h"

namespace {

// GetBuffer.

TEST(QuasiStructBuffer, GetBufferGivesEveryByteWhereverThePositionStands) {
  std::string const content("zero\0one\xFF\x01", 10);
  RawBuffer buffer(content);
  for (long const position : {0L, 5L, 10L}) {
    EXPECT_EQ(0U, buffer.Seek(position));
    EXPECT_EQ(content, buffer.GetBuffer());
  }
}

TEST(QuasiStructBuffer, GetBufferGivesWhatWasWrittenFarthest) {
  RawBuffer buffer("0123456789");
  buffer.Seek(8);
  EXPECT_EQ(4U, buffer.WriteSome("abcd"));
  buffer.Seek(2);
  EXPECT_EQ(1U, buffer.WriteSome("x"));
  EXPECT_EQ("01x34567abcd", buffer.GetBuffer());
}

TEST(QuasiStructBuffer, GetBufferOfAFailedBufferIsEmpty) {
  RawBuffer buffer("0123456789");
  EXPECT_EQ(RawBuffer::kSeekFailed, buffer.Seek(11));
  EXPECT_EQ("", buffer.GetBuffer());
  EXPECT_EQ("0123456789", buffer.Content());
}

// stor_Open, stor_Close, stor_IsExists, stor_GetLastWriteTime.

TEST(QuasiStructBuffer, OpenGoesToTheStartAndEmptiesNothing) {
  for (char const* const mode : {"rbc", "r+bc", "wbc", ""}) {
    for (bool const flag : {false, true}) {
      RawBuffer buffer("0123456789");
      buffer.Seek(7);
      EXPECT_EQ(nullptr, buffer.stor_Open("some name", mode, flag));
      EXPECT_EQ((Pair{0, 0}), buffer.Positions());
      EXPECT_EQ("0123456789", buffer.GetBuffer());
    }
  }
  RawBuffer buffer("0123456789");
  buffer.Seek(7);
  EXPECT_EQ(nullptr, buffer.stor_Open(nullptr, nullptr, false));
  EXPECT_EQ((Pair{0, 0}), buffer.Positions());
}

TEST(QuasiStructBuffer, OpenOfAnEmptyBuffer) {
  RawBuffer buffer("");
  EXPECT_EQ(nullptr, buffer.stor_Open("", "wbc", false));
  EXPECT_FALSE(buffer.IsFailed());
  EXPECT_EQ(3U, buffer.WriteSome("abc"));
  EXPECT_EQ("abc", buffer.GetBuffer());
}

TEST(QuasiStructBuffer, CloseChangesNothing) {
  RawBuffer buffer("0123456789");
  buffer.Seek(7);
  buffer.WriteSome("ab");
  buffer.stor_Close(nullptr);
  EXPECT_EQ("0123456ab9", buffer.GetBuffer());
  EXPECT_EQ((Pair{9, 9}), buffer.Positions());
}

TEST(QuasiStructBuffer, ExistsUnderEveryName) {
  for (char const* const content : {"", "0123456789"}) {
    RawBuffer buffer(content);
    for (char const* const name : {"", "some name", "/no/such/folder/file"}) {
      EXPECT_TRUE(buffer.stor_IsExists(name));
    }
    EXPECT_TRUE(buffer.stor_IsExists(nullptr));
  }
}

TEST(QuasiStructBuffer, LastWriteTimeIsTheDefaultTime) {
  RawBuffer buffer("0123456789");
  buffer.WriteSome("ab");
  CTOOFileTime const none;
  for (char const* const name : {"", "/", "some name"}) {
    EXPECT_FALSE(buffer.stor_GetLastWriteTime(name) > none);
    EXPECT_FALSE(none > buffer.stor_GetLastWriteTime(name));
  }
}

// stor_Length, stor_CurPos.

TEST(QuasiStructBuffer, LengthIsTheSameByHandleAndByNameAndMovesNothing) {
  for (unsigned int const length : {0U, 1U, 10U, 100000U}) {
    RawBuffer buffer(std::string(length, 'x'));
    for (long const position : {0L, static_cast<long>(length) / 2, static_cast<long>(length)}) {
      buffer.Seek(position);
      EXPECT_EQ(length, buffer.stor_Length(static_cast<CTOOFile*>(nullptr)));
      EXPECT_EQ(length, buffer.stor_Length("some name"));
      EXPECT_EQ(length, buffer.stor_Length(static_cast<char const*>(nullptr)));
      EXPECT_EQ((Pair{position, position}), buffer.Positions());
    }
  }
}

TEST(QuasiStructBuffer, LengthGrowsWithWhatIsWritten) {
  RawBuffer buffer("0123456789");
  buffer.Seek(8);
  buffer.WriteSome("abcd");
  buffer.Seek(3);
  EXPECT_EQ(12U, buffer.stor_Length("some name"));
}

TEST(QuasiStructBuffer, LengthOfAFailedBufferIs0) {
  RawBuffer buffer("0123456789");
  buffer.Fail();
  EXPECT_EQ(0U, buffer.stor_Length(static_cast<CTOOFile*>(nullptr)));
  EXPECT_EQ(0U, buffer.stor_Length("some name"));
}

TEST(QuasiStructBuffer, CurPosIsThePositionOfReads) {
  RawBuffer buffer("0123456789");
  EXPECT_EQ(0U, buffer.stor_CurPos(nullptr));
  buffer.Seek(10);
  EXPECT_EQ(10U, buffer.stor_CurPos(nullptr));
  buffer.Stream().seekg(3);
  EXPECT_EQ(3U, buffer.stor_CurPos(nullptr));
}

// stor_Read and stor_Write.

TEST(QuasiStructBuffer, ReadMovesBothPositions) {
  RawBuffer buffer("0123456789");
  EXPECT_EQ("0123", buffer.ReadSome(4));
  EXPECT_EQ((Pair{4, 4}), buffer.Positions());
  EXPECT_EQ("45", buffer.ReadSome(2));
  EXPECT_EQ(2U, buffer.WriteSome("ab"));
  EXPECT_EQ("012345ab89", buffer.GetBuffer());
}

TEST(QuasiStructBuffer, ReadUpToTheEndIsNoFailure) {
  RawBuffer buffer("0123456789");
  buffer.Seek(4);
  EXPECT_EQ("456789", buffer.ReadSome(6));
  EXPECT_EQ("", buffer.ReadSome(0));
  EXPECT_FALSE(buffer.IsFailed());
  EXPECT_EQ((Pair{10, 10}), buffer.Positions());
  EXPECT_EQ(1U, buffer.WriteSome("x"));
  EXPECT_EQ("0123456789x", buffer.GetBuffer());
}

TEST(QuasiStructBuffer, ReadOfMoreThanThereIsReturns0AndFails) {
  for (unsigned int const count : {7U, 10U, 100U}) {
    RawBuffer buffer("0123456789");
    buffer.Seek(4);
    std::string bytes(count, '\0');
    EXPECT_EQ(0U, buffer.stor_Read(nullptr, bytes.data(), count));
    EXPECT_TRUE(buffer.IsFailed());
  }
}

TEST(QuasiStructBuffer, WriteOverwritesAndGrowsAndMovesBothPositions) {
  RawBuffer buffer("0123456789");
  buffer.Seek(3);
  EXPECT_EQ(2U, buffer.WriteSome("ab"));
  EXPECT_EQ("012ab56789", buffer.GetBuffer());
  EXPECT_EQ((Pair{5, 5}), buffer.Positions());
  EXPECT_EQ("5", buffer.ReadSome(1));
  buffer.Seek(9);
  EXPECT_EQ(3U, buffer.WriteSome("xyz"));
  EXPECT_EQ("012ab5678xyz", buffer.GetBuffer());
  EXPECT_EQ((Pair{12, 12}), buffer.Positions());
  EXPECT_EQ(0U, buffer.WriteSome(""));
  EXPECT_FALSE(buffer.IsFailed());
}

TEST(QuasiStructBuffer, WriteIntoAFailedBufferReturns0AndWritesNothing) {
  RawBuffer buffer("0123456789");
  buffer.Fail();
  EXPECT_EQ(0U, buffer.WriteSome("ab"));
  EXPECT_EQ("0123456789", buffer.Content());
}

// stor_Seek.

TEST(QuasiStructBuffer, SeekCountsFromTheOriginAndMovesBothPositions) {
  struct Case {
    long offset;
    int origin;
    long expected;
  };
  // From 4 of 10. Any other origin is the start.
  for (Case const& tried :
       {Case{0, 0, 0}, Case{3, 0, 3}, Case{10, 0, 10}, Case{0, 1, 4}, Case{2, 1, 6}, Case{6, 1, 10},
        Case{-4, 1, 0}, Case{0, 2, 10}, Case{-3, 2, 7}, Case{-10, 2, 0}, Case{3, 3, 3},
        Case{5, -1, 5}, Case{7, 100, 7}}) {
    RawBuffer buffer("0123456789");
    buffer.Seek(4);
    EXPECT_EQ(0U, buffer.Seek(tried.offset, tried.origin));
    EXPECT_EQ((Pair{tried.expected, tried.expected}), buffer.Positions())
        << tried.offset << " from " << tried.origin;
  }
}

TEST(QuasiStructBuffer, SeekOutsideTheContentFails) {
  struct Case {
    long offset;
    int origin;
  };
  for (Case const& tried : {Case{11, 0}, Case{-1, 0}, Case{7, 1}, Case{-5, 1}, Case{1, 2},
                            Case{-11, 2}, Case{0x100000000L, 0}}) {
    RawBuffer buffer("0123456789");
    buffer.Seek(4);
    EXPECT_EQ(RawBuffer::kSeekFailed, buffer.Seek(tried.offset, tried.origin))
        << tried.offset << " from " << tried.origin;
    EXPECT_TRUE(buffer.IsFailed());
  }
}

// stor_Truncate.

// Kept on purpose: one byte beyond the position stays.
TEST(QuasiStructBuffer, TruncateKeepsOneByteMoreThanThePosition) {
  RawBuffer buffer("0123456789");
  buffer.Seek(3);
  buffer.stor_Truncate(nullptr);
  EXPECT_EQ("0123", buffer.GetBuffer());
  EXPECT_EQ((Pair{3, 3}), buffer.Positions());
  EXPECT_EQ("3", buffer.ReadSome(1));
}

TEST(QuasiStructBuffer, TruncateAtEveryPosition) {
  std::string const content = "0123456789";
  for (std::size_t position = 0; position <= content.size(); ++position) {
    RawBuffer buffer(content);
    buffer.Seek(static_cast<long>(position));
    buffer.stor_Truncate(nullptr);
    EXPECT_EQ(content.substr(0, position + 1), buffer.GetBuffer());
    EXPECT_EQ((Pair{static_cast<long>(position), static_cast<long>(position)}), buffer.Positions());
    EXPECT_EQ(2U, buffer.WriteSome("ab"));
    EXPECT_EQ(content.substr(0, position) + "ab", buffer.GetBuffer());
  }
}

TEST(QuasiStructBuffer, TruncateOfAnEmptyBuffer) {
  RawBuffer buffer("");
  buffer.stor_Truncate(nullptr);
  EXPECT_EQ("", buffer.GetBuffer());
  EXPECT_FALSE(buffer.IsFailed());
}

TEST(QuasiStructBuffer, TruncateOfAFailedBufferEmptiesIt) {
  RawBuffer buffer("0123456789");
  buffer.Fail();
  buffer.stor_Truncate(nullptr);
  EXPECT_EQ("", buffer.Content());
  EXPECT_TRUE(buffer.IsFailed());
}

// Failure.

TEST(QuasiStructBuffer, StaysFailedForGood) {
  RawBuffer buffer(Item("first"));
  buffer.Fail();
  char byte = 0;
  IdentObj target = Blob("kept");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(0U, buffer.stor_Read(nullptr, &byte, 1));
    EXPECT_EQ(0U, buffer.stor_Read(nullptr, &byte, 0));
    EXPECT_EQ(0U, buffer.WriteSome("a"));
    EXPECT_EQ(RawBuffer::kSeekFailed, buffer.Seek(0, 0));
    EXPECT_EQ(RawBuffer::kSeekFailed, buffer.Seek(0, 1));
    EXPECT_EQ(RawBuffer::kSeekFailed, buffer.Seek(0, 2));
    EXPECT_EQ(0U, buffer.ReadBlob(target));
    EXPECT_EQ(0U, buffer.ReadBlob(target, 0));
    EXPECT_EQ(RawBuffer::kSeekFailed, buffer.stor_CurPos(nullptr));
    EXPECT_EQ("", buffer.GetBuffer());
    EXPECT_EQ(nullptr, buffer.stor_Open("", "wbc", false));
    buffer.stor_Close(nullptr);
    buffer.stor_Truncate(nullptr);
    EXPECT_EQ(0U, buffer.WriteBlob("a"));
    EXPECT_EQ(0U, buffer.stor_Length(""));
    buffer.Clear();
    buffer.Init();
    buffer.Clear();
  }
  EXPECT_EQ("kept", DataOf(target));
}

TEST(QuasiStructBuffer, AddsNothingToTheBaseButAStream) {
  EXPECT_EQ(sizeof(QuasiStructFileBase) + sizeof(std::stringstream), sizeof(QuasiStructBuffer));
  EXPECT_FALSE(std::is_copy_constructible_v<QuasiStructBuffer>);
  EXPECT_FALSE(std::is_copy_assignable_v<QuasiStructBuffer>);
}

// Notes that it is destroyed.
class Mortal : public QuasiStructBuffer {
 public:
  explicit Mortal(bool& isDestroyed) : QuasiStructBuffer(nullptr, 0), m_isDestroyed(isDestroyed) {}
  ~Mortal() override { m_isDestroyed = true; }

 private:
  bool& m_isDestroyed;
};

TEST(QuasiStructBuffer, IsDestroyedThroughItsBases) {
  EXPECT_TRUE(std::has_virtual_destructor_v<QuasiStructBuffer>);
  bool isDestroyed = false;
  std::unique_ptr<QuasiStructBuffer> asBuffer = std::make_unique<Mortal>(isDestroyed);
  asBuffer.reset();
  EXPECT_TRUE(isDestroyed);
  isDestroyed = false;
  std::unique_ptr<QuasiStructFileBase> asStore = std::make_unique<Mortal>(isDestroyed);
  asStore.reset();
  EXPECT_TRUE(isDestroyed);
}

}  // namespace
