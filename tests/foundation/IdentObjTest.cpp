// IdentObj in memory; IdentObjFileTest.cpp has its dealings with files.

#include "foundation/IdentObj.h"

#include <malloc.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"

namespace {

// The size of anything that a blob of these lengths has to cope with.
std::vector<unsigned int> const kLengths = {0, 1, 2, 3, 4, 5, 255, 256, 257, 65535, 65536, 70000};

TEST(IdentObj, DefaultIsEmpty) {
  IdentObj const blob;
  EXPECT_EQ(0U, blob.Length);
  EXPECT_EQ(nullptr, blob.Data);
}

TEST(IdentObj, CopiesTheBytesItIsMadeOf) {
  std::string source = "bytes";
  IdentObj const blob(source.data(), 5);
  source.assign("other");
  EXPECT_EQ(5U, blob.Length);
  EXPECT_EQ("bytes", DataOf(blob));
  for (unsigned int const length : kLengths) {
    std::string const bytes = Pattern(length, 1);
    EXPECT_EQ(bytes, DataOf(Blob(bytes)));
  }
}

TEST(IdentObj, OfNullDataHasZeroBytesToWriteTo) {
  for (unsigned int const length : kLengths) {
    IdentObj blob(nullptr, length);
    EXPECT_EQ(length, blob.Length);
    EXPECT_EQ(std::string(length, '\0'), DataOf(blob));
    std::fill_n(blob.Data, length, static_cast<unsigned char>(0xA5));
    EXPECT_EQ(std::string(length, '\xA5'), DataOf(blob));
  }
}

TEST(IdentObj, OfNoBytesIsEmptyWhateverTheData) {
  EXPECT_EQ(nullptr, IdentObj("x", 0).Data);
  EXPECT_EQ(nullptr, IdentObj(nullptr, 0).Data);
}

TEST(IdentObj, CopyIsDeep) {
  IdentObj original = Blob("bytes");
  IdentObj const copy(original);
  EXPECT_NE(original.Data, copy.Data);
  original.Data[0] = 'B';
  EXPECT_EQ("bytes", DataOf(copy));
  original.Empty();
  EXPECT_EQ("bytes", DataOf(copy));
  EXPECT_EQ(0U, IdentObj(IdentObj()).Length);
}

TEST(IdentObj, AssignmentIsDeep) {
  for (char const* const before : {"", "x", "a longer blob"}) {
    IdentObj const original = Blob("bytes");
    IdentObj assigned = Blob(before);
    EXPECT_EQ(&assigned, &(assigned = original));
    EXPECT_NE(original.Data, assigned.Data);
    assigned.Data[0] = 'B';
    EXPECT_EQ("bytes", DataOf(original));
    EXPECT_EQ("Bytes", DataOf(assigned));
    IdentObj const empty;
    assigned = empty;
    EXPECT_EQ(0U, assigned.Length);
    EXPECT_EQ(nullptr, assigned.Data);
  }
}

TEST(IdentObj, AssignmentToItselfKeepsTheBytes) {
  IdentObj blob = Blob("bytes");
  IdentObj const& same = blob;
  blob = same;
  EXPECT_EQ("bytes", DataOf(blob));
}

TEST(IdentObj, MovedFromIsEmptyAndUsable) {
  IdentObj first = Blob("bytes");
  IdentObj second(std::move(first));
  EXPECT_EQ("bytes", DataOf(second));
  EXPECT_EQ(0U, first.Length);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(nullptr, first.Data);
  first = Blob("other");
  second = std::move(first);
  EXPECT_EQ("other", DataOf(second));
}

TEST(IdentObj, DestructorIsVirtual) { EXPECT_TRUE(std::has_virtual_destructor<IdentObj>::value); }

// The leak sanitizer sees a single lost byte; this sees the loss without it.
TEST(IdentObj, FreesItsBytes) {
  std::string const bytes(1000, 'x');
  std::string const serialized = Item(bytes);
  auto const useMany = [&] {
    for (int i = 0; i < 1000; ++i) {
      IdentObj blob(bytes.data(), 1000);
      IdentObj const copy(blob);
      blob = copy;
      blob.ReadData(serialized.data(), static_cast<unsigned int>(serialized.size()));
      blob.ReadData(serialized.data(), 10);
      blob = copy;
      blob.Empty();
    }
  };
  useMany();
  std::size_t const before = ::mallinfo2().uordblks;
  useMany();
  EXPECT_LT(::mallinfo2().uordblks, before + 100000);
}

TEST(IdentObj, EmptyGoesBackToLengthZero) {
  IdentObj blob = Blob("bytes");
  blob.Empty();
  EXPECT_EQ(0U, blob.Length);
  EXPECT_EQ(nullptr, blob.Data);
  blob.Empty();
  EXPECT_EQ(0U, blob.Length);
}

TEST(IdentObj, LengthAndDataAreThereToBeUsed) {
  EXPECT_TRUE((std::is_same<unsigned int, decltype(IdentObj::Length)>::value));
  EXPECT_TRUE((std::is_same<unsigned char*, decltype(IdentObj::Data)>::value));
  IdentObj blob(nullptr, 3);
  blob.Data[0] = 1;
  blob.Data[2] = 3;
  EXPECT_EQ(Hex("01 00 03"), DataOf(blob));
}

// Equality.

TEST(IdentObj, EqualsTheSameBytes) {
  for (unsigned int const length : kLengths) {
    std::string const bytes = Pattern(length, 2);
    EXPECT_TRUE(Blob(bytes) == Blob(bytes)) << length;
  }
  EXPECT_TRUE(IdentObj() == IdentObj());
  IdentObj const blob = Blob("same");
  EXPECT_TRUE(blob == blob);
}

TEST(IdentObj, DiffersByLength) {
  EXPECT_FALSE(Blob("bytes") == Blob("byte"));
  EXPECT_FALSE(Blob("byte") == Blob("bytes"));
  EXPECT_FALSE(IdentObj() == Blob("b"));
  EXPECT_FALSE(Blob("b") == IdentObj());
  EXPECT_FALSE(Blob(Hex("00")) == IdentObj());
  EXPECT_FALSE(Blob(Hex("01 00")) == Blob(Hex("01")));
}

TEST(IdentObj, DiffersByEveryByte) {
  std::string const bytes("by\0te\0s", 7);
  for (std::size_t place = 0; place < bytes.size(); ++place) {
    std::string other = bytes;
    other[place] = static_cast<char>(other[place] ^ 0x80);
    EXPECT_FALSE(Blob(bytes) == Blob(other)) << place;
  }
}

// The serialized form.

std::string Serialized(IdentObj const& blob) {
  std::string bytes(blob.GetObjectSize(), '?');
  EXPECT_EQ(bytes.size(), blob.WriteData(bytes.data(), static_cast<unsigned int>(bytes.size())));
  return bytes;
}

TEST(IdentObj, SizeIsThePrefixAndTheBytes) {
  EXPECT_EQ(4U, IdentObj().GetObjectSize());
  for (unsigned int const length : kLengths) {
    EXPECT_EQ(4 + length, IdentObj(nullptr, length).GetObjectSize());
  }
}

TEST(IdentObj, EmptyOneIsFourZeroBytes) { EXPECT_EQ(Hex("00 00 00 00"), Serialized(IdentObj())); }

TEST(IdentObj, SerializedFormIsTheLengthAndTheBytes) {
  EXPECT_EQ(Hex("05 00 00 00 01 02 03 04 05"), Serialized(Blob(Hex("01 02 03 04 05"))));
  IdentObj const large = Blob(Pattern(0x010203, 1));
  EXPECT_EQ(Hex("03 02 01 00") + Pattern(0x010203, 1), Serialized(large));
}

TEST(IdentObj, WritesNothingIntoTooLittleRoom) {
  for (unsigned int const length : {0U, 1U, 5U, 300U}) {
    IdentObj const blob = Blob(Pattern(length, 3));
    for (unsigned int room = 0; room < blob.GetObjectSize(); ++room) {
      std::vector<char> exact(room, '#');
      EXPECT_EQ(0U, blob.WriteData(exact.data(), room)) << length << ' ' << room;
      EXPECT_EQ(std::vector<char>(room, '#'), exact) << length << ' ' << room;
    }
  }
}

TEST(IdentObj, WritesNothingBehindItsForm) {
  for (unsigned int more = 0; more < 5; ++more) {
    std::string bytes(9 + more, '#');
    EXPECT_EQ(9U, Blob("bytes").WriteData(bytes.data(), 9 + more));
    EXPECT_EQ(Item("bytes") + std::string(more, '#'), bytes);
  }
  std::string bytes(20, '#');
  EXPECT_EQ(9U, Blob("bytes").WriteData(bytes.data(), 0xFFFFFFFF));
  EXPECT_EQ(Item("bytes") + std::string(11, '#'), bytes);
}

// Reading from a buffer; each buffer ends where its bytes do.

unsigned int ReadExactly(IdentObj& blob, std::string const& bytes) {
  std::vector<char> const exact(bytes.begin(), bytes.end());
  return blob.ReadData(exact.data(), static_cast<unsigned int>(exact.size()));
}

TEST(IdentObj, ReadsBackWhatWasWritten) {
  for (unsigned int const length : kLengths) {
    std::string const bytes = Pattern(length, 4);
    IdentObj blob = Blob("old bytes");
    EXPECT_EQ(4 + length, ReadExactly(blob, Item(bytes)));
    EXPECT_EQ(length, blob.Length);
    EXPECT_EQ(bytes, DataOf(blob));
    EXPECT_EQ(length == 0, blob.Data == nullptr);
  }
}

TEST(IdentObj, IgnoresWhatComesBehindTheBlob) {
  for (unsigned int more = 1; more < 10; ++more) {
    IdentObj blob;
    EXPECT_EQ(9U, ReadExactly(blob, Item("bytes") + std::string(more, '\xFF')));
    EXPECT_EQ("bytes", DataOf(blob));
  }
}

TEST(IdentObj, BlobCutAnywhereIsRefused) {
  for (unsigned int const length : {0U, 1U, 5U, 300U}) {
    std::string const whole = Item(Pattern(length, 5));
    for (std::size_t cut = 0; cut < whole.size(); ++cut) {
      IdentObj blob = Blob("old bytes");
      EXPECT_GT(ReadExactly(blob, whole.substr(0, cut)), cut) << length;
      EXPECT_EQ(0U, blob.Length);
      EXPECT_EQ(nullptr, blob.Data);
    }
  }
}

// The result tells what the blob would have needed, and never less than there is.
TEST(IdentObj, LengthBeyondTheBufferIsRefusedWithoutWrapping) {
  for (unsigned int const length :
       {5U, 6U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF7U, 0xFFFFFFFAU, 0xFFFFFFFBU, 0xFFFFFFFCU,
        0xFFFFFFFDU, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    IdentObj blob = Blob("old bytes");
    unsigned int const expected = length > 0xFFFFFFFB ? 0xFFFFFFFF : 4 + length;
    EXPECT_EQ(expected, ReadExactly(blob, Word(length) + "1234")) << length;
    EXPECT_EQ(0U, blob.Length);
    EXPECT_EQ(nullptr, blob.Data);
  }
}

TEST(IdentObj, NullBufferIsRefused) {
  for (unsigned int const len : {0U, 3U, 4U, 100U, 0xFFFFFFFDU}) {
    IdentObj blob = Blob("old bytes");
    EXPECT_GT(blob.ReadData(nullptr, len), len);
    EXPECT_EQ(0U, blob.Length);
  }
}

TEST(IdentObj, ReadsFromItsOwnBytes) {
  IdentObj blob = Blob(Item("inner") + "rest");
  EXPECT_EQ(9U, blob.ReadData(blob.Data, blob.Length));
  EXPECT_EQ("inner", DataOf(blob));
  EXPECT_GT(blob.ReadData(blob.Data, blob.Length), 5U);  // "inne" is a length, and too large.
  EXPECT_EQ(0U, blob.Length);
}

TEST(IdentObj, ReadsOneBlobAfterTheOther) {
  std::string const bytes = Item("first") + Item("") + Item("third");
  std::vector<std::string> found;
  unsigned int position = 0;
  while (position < bytes.size()) {
    IdentObj blob;
    position +=
        blob.ReadData(bytes.data() + position, static_cast<unsigned int>(bytes.size()) - position);
    found.push_back(DataOf(blob));
  }
  EXPECT_EQ(bytes.size(), position);
  EXPECT_EQ((std::vector<std::string>{"first", "", "third"}), found);
}

}  // namespace
