// SubContInfo: a container's sub-record and its blob.

#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfo.h"
#include "foundation/XTOOStatus.h"
#include "tests/support/Bytes.h"

namespace {

SubContInfo Sub(std::string const& ident, unsigned int param1, unsigned int param2) {
  SubContInfo sub;
  sub.Ident = Blob(ident);
  sub.Param1 = param1;
  sub.Param2 = param2;
  return sub;
}

void ExpectHolds(SubContInfo const& sub, std::string const& ident, unsigned int param1,
                 unsigned int param2) {
  EXPECT_EQ(ToHex(ident), ToHex(DataOf(sub.Ident)));
  EXPECT_EQ(param1, sub.Param1);
  EXPECT_EQ(param2, sub.Param2);
}

// From a buffer that ends where the blob does, so that a sanitizer sees a read past its end.
unsigned int ReadFrom(SubContInfo& sub, std::string const& blob) {
  std::vector<unsigned char> const bytes(blob.begin(), blob.end());
  return sub.ReadData(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

void ExpectMalformed(SubContInfo& sub, std::string const& blob) {
  try {
    ReadFrom(sub, blob);
    FAIL() << "decoded " << ToHex(blob);
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(37, status.Status());
    EXPECT_STREQ("SubContInfo::ReadData", status.ErrorMessage());
  }
}

TEST(SubContInfo, StartsEmptyWithItsSecondValueAllOnes) {
  SubContInfo const sub;
  EXPECT_EQ(nullptr, sub.Ident.Data);
  ExpectHolds(sub, "", 0, 0xFFFFFFFF);
}

TEST(SubContInfo, MembersLieInOrderWithoutATable) {
  static_assert(!std::is_polymorphic_v<SubContInfo>);
  SubContInfo const sub;
  auto const* const start = reinterpret_cast<char const*>(&sub);
  EXPECT_EQ(start, reinterpret_cast<char const*>(&sub.Ident));
  EXPECT_EQ(start + sizeof(IdentObj), reinterpret_cast<char const*>(&sub.Param1));
  EXPECT_EQ(start + sizeof(IdentObj) + 4, reinterpret_cast<char const*>(&sub.Param2));
  EXPECT_EQ(sizeof(IdentObj) + 8, sizeof(SubContInfo));
}

TEST(SubContInfo, CopyIsDeep) {
  SubContInfo original = Sub("ident", 7, 8);
  SubContInfo const copy(original);
  EXPECT_NE(original.Ident.Data, copy.Ident.Data);
  original.Ident.Data[0] = 'X';
  original.Param1 = 1;
  original.Param2 = 2;
  ExpectHolds(copy, "ident", 7, 8);
}

TEST(SubContInfo, AssignmentIsDeepAndReturnsTheObject) {
  SubContInfo original = Sub("ident", 7, 8);
  SubContInfo target = Sub("something longer", 3, 4);
  EXPECT_EQ(&target, &(target = original));
  EXPECT_NE(original.Ident.Data, target.Ident.Data);
  original.Ident.Data[0] = 'X';
  original.Param1 = 1;
  original.Param2 = 2;
  ExpectHolds(target, "ident", 7, 8);
}

TEST(SubContInfo, SelfAssignmentChangesNothing) {
  SubContInfo sub = Sub("ident", 7, 8);
  SubContInfo const& same = sub;
  EXPECT_EQ(&sub, &(sub = same));
  ExpectHolds(sub, "ident", 7, 8);
}

TEST(SubContInfo, EncodesTheIdentThenBothValues) {
  EXPECT_EQ("03 00 00 00 61 62 63 44 33 22 11 88 77 66 55",
            ToHex(DataOf(Sub("abc", 0x11223344, 0x55667788).WriteData())));
  EXPECT_EQ("00 00 00 00 00 00 00 00 ff ff ff ff", ToHex(DataOf(SubContInfo().WriteData())));
}

TEST(SubContInfo, BlobIsTwelveBytesLongerThanTheIdent) {
  for (unsigned int size = 0; size < 40; ++size) {
    std::string const ident = Pattern(size, 1);
    IdentObj const blob = Sub(ident, 0x01020304, 0x05060708).WriteData();
    EXPECT_EQ(12 + size, blob.Length);
    EXPECT_EQ(Item(ident) + Word(0x01020304) + Word(0x05060708), DataOf(blob));
  }
}

TEST(SubContInfo, EncodingChangesNothing) {
  SubContInfo sub = Sub("ident", 7, 8);
  EXPECT_EQ(DataOf(sub.WriteData()), DataOf(sub.WriteData()));
  ExpectHolds(sub, "ident", 7, 8);
}

TEST(SubContInfo, BlobThatDoesNotFitIntoItsLengthIsRefused) {
  SubContInfo sub = Sub("ident", 7, 8);
  unsigned int const length = sub.Ident.Length;
  sub.Ident.Length = 0xFFFFFFFF - 11;  // One byte more than the blob's own length can say.
  EXPECT_THROW(sub.WriteData(), std::length_error);
  sub.Ident.Length = length;
}

TEST(SubContInfo, NullBytesChangeNothing) {
  SubContInfo sub = Sub("ident", 7, 8);
  for (unsigned int const length : {0U, 1U, 12U, 0xFFFFFFFFU}) {
    EXPECT_EQ(0U, sub.ReadData(nullptr, length));
    ExpectHolds(sub, "ident", 7, 8);
  }
}

TEST(SubContInfo, NoBytesChangeNothing) {
  SubContInfo sub = Sub("ident", 7, 8);
  unsigned char const byte = 1;
  EXPECT_EQ(0U, sub.ReadData(&byte, 0));
  ExpectHolds(sub, "ident", 7, 8);
}

TEST(SubContInfo, DecodesABlobOfExactlyItsLength) {
  for (unsigned int size = 0; size < 40; ++size) {
    std::string const ident = Pattern(size, 2);
    SubContInfo sub = Sub("old", 7, 8);
    EXPECT_EQ(size + 12, ReadFrom(sub, Item(ident) + Word(0x01020304) + Word(0x05060708)));
    ExpectHolds(sub, ident, 0x01020304, 0x05060708);
  }
}

TEST(SubContInfo, BytesBehindTheBlobAreIgnored) {
  for (unsigned int tail = 1; tail < 10; ++tail) {
    SubContInfo sub;
    EXPECT_EQ(15U, ReadFrom(sub, Item("abc") + Word(1) + Word(2) + Pattern(tail, 3)));
    ExpectHolds(sub, "abc", 1, 2);
  }
}

TEST(SubContInfo, BlobCutInsideItsValuesIsMalformedAndKeepsTheOldOnes) {
  std::string const blob = Item("new ident") + Word(1) + Word(2);
  for (std::size_t missing = 1; missing <= 8; ++missing) {
    SubContInfo sub = Sub("old", 7, 8);
    ExpectMalformed(sub, blob.substr(0, blob.size() - missing));
    ExpectHolds(sub, "new ident", 7, 8);
  }
}

TEST(SubContInfo, BlobCutInsideItsIdentIsMalformedAndLeavesNoIdent) {
  std::string const blob = Item("new ident") + Word(1) + Word(2);
  for (std::size_t size = 1; size < 13; ++size) {
    SubContInfo sub = Sub("old", 7, 8);
    ExpectMalformed(sub, blob.substr(0, size));
    ExpectHolds(sub, "", 7, 8);
  }
}

// The length and what follows it add up to more than 32 bits can say.
TEST(SubContInfo, IdentLengthThatWrapsIsMalformed) {
  for (unsigned int const length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF3U, 0xFFFFFFF4U, 0xFFFFFFF8U,
                                    0xFFFFFFFCU, 0xFFFFFFFFU}) {
    SubContInfo sub = Sub("old", 7, 8);
    ExpectMalformed(sub, Word(length) + Pattern(20, 4));
    ExpectHolds(sub, "", 7, 8);
  }
}

TEST(SubContInfo, ThrowsAStatusByValueWithItsFlagFalse) {
  struct Shown : XTOOStatus {
    explicit Shown(XTOOStatus const& status) : XTOOStatus(status) {}
    bool IsRaised() const { return Flag; }
  };
  SubContInfo sub;
  try {
    ReadFrom(sub, "x");
    FAIL();
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(typeid(XTOOStatus), typeid(status));
    EXPECT_FALSE(Shown(status).IsRaised());
  }
}

}  // namespace
