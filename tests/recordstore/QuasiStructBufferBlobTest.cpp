// QuasiStructBuffer: reading and writing serialized blobs.

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "tests/recordstore/RawBuffer.h"
#include "tests/support/Bytes.h"

namespace {

// stor_ReadIdentObject.

TEST(QuasiStructBufferBlob, ReadIdentObjectAtTheMarkerReadsWhereItStands) {
  RawBuffer buffer(Item("first") + Item("second"));
  IdentObj target;
  EXPECT_EQ(9U, buffer.ReadBlob(target));
  EXPECT_EQ("first", DataOf(target));
  EXPECT_EQ((Pair{9, 9}), buffer.Positions());
  EXPECT_EQ(10U, buffer.ReadBlob(target));
  EXPECT_EQ("second", DataOf(target));
  EXPECT_FALSE(buffer.IsFailed());
}

TEST(QuasiStructBufferBlob, ReadIdentObjectAtAPositionGoesThere) {
  RawBuffer buffer(Item("first") + Item("second"));
  IdentObj target;
  EXPECT_EQ(10U, buffer.ReadBlob(target, 9));
  EXPECT_EQ("second", DataOf(target));
  EXPECT_EQ(9U, buffer.ReadBlob(target, 0));
  EXPECT_EQ("first", DataOf(target));
  EXPECT_EQ((Pair{9, 9}), buffer.Positions());
}

TEST(QuasiStructBufferBlob, ReadIdentObjectFromTheEndOnReturns0AndLeavesTheTarget) {
  for (unsigned int const position : {9U, 10U, 1000U, 0xFFFFFFFEU}) {
    RawBuffer buffer(Item("first"));
    buffer.Seek(4);
    IdentObj target = Blob("kept");
    EXPECT_EQ(0U, buffer.ReadBlob(target, position));
    EXPECT_EQ("kept", DataOf(target));
    EXPECT_EQ((Pair{4, 4}), buffer.Positions());
  }
}

TEST(QuasiStructBufferBlob, ReadIdentObjectOfACutLengthReturns0AndLeavesTheTarget) {
  for (char const* const content : {"\x01", "\x01\x01", "\x01\x01\x01"}) {
    RawBuffer buffer(content);
    IdentObj target = Blob("kept");
    EXPECT_EQ(0U, buffer.ReadBlob(target));
    EXPECT_EQ("kept", DataOf(target));
    EXPECT_TRUE(buffer.IsFailed());
  }
}

TEST(QuasiStructBufferBlob, ReadIdentObjectOfMoreThanIsAvailableReturns0AndLeavesTheTarget) {
  std::string const rest(6, 'x');
  for (unsigned int const length : {11U, 12U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    RawBuffer buffer("before" + Word(length) + rest);  // 10 bytes from 6 on.
    IdentObj target = Blob("kept");
    EXPECT_EQ(0U, buffer.ReadBlob(target, 6));
    EXPECT_EQ("kept", DataOf(target));
    EXPECT_FALSE(buffer.IsFailed());
    EXPECT_EQ((Pair{10, 10}), buffer.Positions());
  }
}

// Kept on purpose: the data's length is compared with what is available, the prefix not counted, so
// a blob that is up to 4 bytes too long is begun.
TEST(QuasiStructBufferBlob, ReadIdentObjectThatIsUpToFourBytesTooLongEmptiesTheTarget) {
  std::string const rest(6, 'x');
  for (unsigned int const length : {7U, 8U, 9U, 10U}) {
    RawBuffer buffer("before" + Word(length) + rest);
    IdentObj target = Blob("kept");
    EXPECT_EQ(0U, buffer.ReadBlob(target, 6));
    EXPECT_EQ(0U, target.Length);
    EXPECT_TRUE(buffer.IsFailed());
  }
  RawBuffer buffer("before" + Word(6) + rest);
  IdentObj target;
  EXPECT_EQ(10U, buffer.ReadBlob(target, 6));
}

// Kept on purpose: at the marker the whole length counts as available, not what is left of it.
TEST(QuasiStructBufferBlob, ReadIdentObjectAtTheMarkerComparesWithTheWholeLength) {
  std::string const rest(6, 'x');
  for (unsigned int const length : {7U, 11U, 15U, 16U, 17U}) {
    RawBuffer buffer("before" + Word(length) + rest);  // 16 bytes.
    buffer.Seek(6);
    IdentObj target = Blob("kept");
    EXPECT_EQ(0U, buffer.ReadBlob(target));
    EXPECT_EQ(length > 16 ? "kept" : "", DataOf(target));
    EXPECT_EQ(length <= 16, buffer.IsFailed());
  }
}

TEST(QuasiStructBufferBlob, ReadIdentObjectOfAnEmptyBlobReturns4) {
  for (unsigned int const position : {RawBuffer::kHere, 0U}) {
    RawBuffer buffer(Item(""));
    IdentObj target = Blob("something");
    EXPECT_EQ(4U, buffer.ReadBlob(target, position));
    EXPECT_EQ(0U, target.Length);
    EXPECT_FALSE(buffer.IsFailed());
  }
}

// stor_WriteIdentObject.

TEST(QuasiStructBufferBlob, WriteIdentObjectWritesWhereItStands) {
  RawBuffer buffer("0123456789abcdef");
  buffer.Seek(3);
  EXPECT_EQ(9U, buffer.WriteBlob("first"));
  EXPECT_EQ("012" + Item("first") + "cdef", buffer.GetBuffer());
  EXPECT_EQ((Pair{12, 12}), buffer.Positions());
  EXPECT_EQ(4U, buffer.WriteBlob(""));
  EXPECT_EQ("012" + Item("first") + Item(""), buffer.GetBuffer());
}

TEST(QuasiStructBufferBlob, WriteIdentObjectAtAPositionGoesThere) {
  RawBuffer buffer("0123456789");
  EXPECT_EQ(5U, buffer.WriteBlob("x", 2));
  EXPECT_EQ("01" + Item("x") + "789", buffer.GetBuffer());
  EXPECT_EQ(6U, buffer.WriteBlob("yz", 10));  // The end.
  EXPECT_EQ("01" + Item("x") + "789" + Item("yz"), buffer.GetBuffer());
}

TEST(QuasiStructBufferBlob, WriteIdentObjectBeyondTheEndReturns0AndChangesNothing) {
  for (unsigned int const position : {11U, 1000U, 0xFFFFFFFEU}) {
    RawBuffer buffer("0123456789");
    buffer.Seek(4);
    EXPECT_EQ(0U, buffer.WriteBlob("x", position));
    EXPECT_EQ("0123456789", buffer.GetBuffer());
    EXPECT_EQ((Pair{4, 4}), buffer.Positions());
  }
}

// Has room for so many bytes more, without failing its stream, and notes where it is sent first.
class FullBuffer : public RawBuffer {
 public:
  FullBuffer(std::string const& content, unsigned int room) : RawBuffer(content), m_room(room) {}
  unsigned int stor_Write(CTOOFile* file, void const* buffer, unsigned int count) override {
    unsigned int const written = std::min(count, m_room);
    m_room -= written;
    return RawBuffer::stor_Write(file, buffer, written);
  }
  unsigned int stor_Seek(CTOOFile* file, long offset, int origin) override {
    FirstSeek = FirstSeek.empty() ? Pair{offset, origin} : FirstSeek;
    return RawBuffer::stor_Seek(file, offset, origin);
  }
  Pair FirstSeek;

 private:
  unsigned int m_room;
};

// Kept on purpose: the way back is a negation in 32 bits, a way forward past any end, where the
// truncation then finds a failed stream.
TEST(QuasiStructBufferBlob, WriteIdentObjectThatIsCutShortRollsForwardAndReturns0) {
  for (unsigned int written = 1; written < 9; ++written) {
    FullBuffer buffer("0123456789", written);
    EXPECT_EQ(0U, buffer.WriteBlob("first"));
    EXPECT_EQ((Pair{0x100000000L - written, 1}), buffer.FirstSeek);
    EXPECT_TRUE(buffer.IsFailed());
    EXPECT_EQ("", buffer.Content());
  }
}

// Nothing to take back: it stays where it is, and what is behind that goes.
TEST(QuasiStructBufferBlob, WriteIdentObjectThatWritesNothingCutsWhereItStands) {
  FullBuffer buffer("0123456789", 0);
  buffer.Seek(4);
  buffer.FirstSeek.clear();
  EXPECT_EQ(0U, buffer.WriteBlob("first"));
  EXPECT_EQ((Pair{0, 1}), buffer.FirstSeek);
  EXPECT_EQ("01234", buffer.GetBuffer());
}

TEST(QuasiStructBufferBlob, WriteIdentObjectIntoAFailedBufferReturns0AndEmptiesIt) {
  RawBuffer buffer("0123456789");
  buffer.Fail();
  EXPECT_EQ(0U, buffer.WriteBlob("first"));
  EXPECT_EQ("", buffer.Content());
}

}  // namespace
