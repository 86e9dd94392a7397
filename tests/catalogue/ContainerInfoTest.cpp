// ContainerInfo as a value, and its encoding.

#include <list>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfo.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"

namespace {

ContainerInfo FullRecord() {
  ContainerInfo record;
  record.Path = "/some/container";
  record.Param = 0x11223344;
  record.Ident1 = Blob("first ident");
  record.Ident2 = Blob("second");
  record.SubConts.resize(2);
  record.SubConts.front().Ident = Blob("sub");
  record.SubConts.front().Param1 = 5;
  record.SubConts.front().Param2 = 6;
  record.State = ContainerInfo::StateRemoved;
  return record;
}

// What FullRecord encodes to.
std::string FullBytes() {
  return ContainerBytes("/some/container", "first ident", "second", 0x11223344,
                        {{"sub", 5, 6}, {"", 0, 0xFFFFFFFF}});
}

void ExpectIsFull(ContainerInfo const& record) {
  EXPECT_STREQ("/some/container", record.Path);
  EXPECT_EQ(0x11223344U, record.Param);
  EXPECT_EQ("first ident", DataOf(record.Ident1));
  EXPECT_EQ("second", DataOf(record.Ident2));
  ASSERT_EQ(2U, record.SubConts.size());
  EXPECT_EQ("sub", DataOf(record.SubConts.front().Ident));
  EXPECT_EQ(5U, record.SubConts.front().Param1);
  EXPECT_EQ(6U, record.SubConts.front().Param2);
  EXPECT_EQ("", DataOf(record.SubConts.back().Ident));
  EXPECT_EQ(0U, record.SubConts.back().Param1);
  EXPECT_EQ(0xFFFFFFFFU, record.SubConts.back().Param2);
  EXPECT_EQ(3U, record.State);
}

// Changes everything in place that a shallow copy would share.
void Spoil(ContainerInfo& record) {
  *const_cast<char*>(static_cast<char const*>(record.Path)) = 'X';
  record.Param = 0;
  record.Ident1.Data[0] = 'X';
  record.Ident2.Data[0] = 'X';
  record.SubConts.front().Ident.Data[0] = 'X';
  record.SubConts.front().Param1 = 99;
  record.SubConts.pop_back();
  record.State = ContainerInfo::StateAdded;
}

TEST(ContainerInfo, StartsEmptyAndSynced) {
  ContainerInfo const record;
  EXPECT_STREQ("", record.Path);
  EXPECT_EQ(0U, record.Param);
  EXPECT_EQ(0U, record.Ident1.Length);
  EXPECT_EQ(0U, record.Ident2.Length);
  EXPECT_TRUE(record.SubConts.empty());
  EXPECT_EQ(0U, record.State);
}

TEST(ContainerInfo, MembersLieInOrderWithoutATable) {
  static_assert(!std::is_polymorphic_v<ContainerInfo>);
  ContainerInfo const record;
  auto const* const start = reinterpret_cast<char const*>(&record);
  auto const offset = [&](auto const& member) {
    return static_cast<unsigned long>(reinterpret_cast<char const*>(&member) - start);
  };
  EXPECT_EQ(0U, offset(record.Path));
  EXPECT_EQ(sizeof(CTOOString), offset(record.Param));
  EXPECT_EQ(sizeof(CTOOString) + 8, offset(record.Ident1));  // Its pointers want 8 bytes.
  EXPECT_EQ(offset(record.Ident1) + sizeof(IdentObj), offset(record.Ident2));
  EXPECT_EQ(offset(record.Ident2) + sizeof(IdentObj), offset(record.SubConts));
  EXPECT_EQ(offset(record.SubConts) + sizeof(std::list<SubContInfo>), offset(record.State));
  EXPECT_EQ(offset(record.State) + 8, sizeof(ContainerInfo));
}

TEST(ContainerInfo, StatesHaveFixedNumbers) {
  EXPECT_EQ(0U, static_cast<unsigned int>(ContainerInfo::StateSynced));
  EXPECT_EQ(1U, static_cast<unsigned int>(ContainerInfo::StateAdded));
  EXPECT_EQ(3U, static_cast<unsigned int>(ContainerInfo::StateRemoved));
}

TEST(ContainerInfo, CopyIsDeepStateIncluded) {
  ContainerInfo original = FullRecord();
  ContainerInfo const copy(original);
  Spoil(original);
  ExpectIsFull(copy);
}

TEST(ContainerInfo, AssignmentIsDeepStateIncludedAndReturnsTheObject) {
  ContainerInfo original = FullRecord();
  ContainerInfo target;
  target.Path = "/another/and/longer/path/than/the/other";
  target.SubConts.resize(5);
  EXPECT_EQ(&target, &(target = original));
  Spoil(original);
  ExpectIsFull(target);
}

TEST(ContainerInfo, AssignmentOfADefaultRecordEmptiesEverything) {
  ContainerInfo target = FullRecord();
  target = ContainerInfo();
  EXPECT_EQ(std::string(20, '\0'), DataOf(target.WriteData()));
  EXPECT_EQ(0U, target.State);
}

TEST(ContainerInfo, SelfAssignmentChangesNothing) {
  ContainerInfo record = FullRecord();
  ContainerInfo const& same = record;
  EXPECT_EQ(&record, &(record = same));
  ExpectIsFull(record);
}

TEST(ContainerInfo, DefaultRecordEncodesToTwentyZeroBytes) {
  EXPECT_EQ(std::string(20, '\0'), DataOf(ContainerInfo().WriteData()));
}

TEST(ContainerInfo, PathIsEncodedWithoutItsTerminatingZero) {
  ContainerInfo record;
  record.Path = "/a";
  EXPECT_EQ("02 00 00 00 2f 61 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
            ToHex(DataOf(record.WriteData())));
}

TEST(ContainerInfo, ValueIsEncodedBehindTheTwoBlobs) {
  ContainerInfo record;
  record.Path = "/p";
  record.Ident1 = Blob("A");
  record.Ident2 = Blob("BB");
  record.Param = 0x11223344;
  EXPECT_EQ(
      "02 00 00 00 2f 70 "
      "01 00 00 00 41 "
      "02 00 00 00 42 42 "
      "44 33 22 11 "
      "00 00 00 00",
      ToHex(DataOf(record.WriteData())));
}

TEST(ContainerInfo, SubRecordsFollowTheirCountInListOrder) {
  ContainerInfo record;
  record.SubConts.resize(2);
  record.SubConts.front().Ident = Blob("S");
  record.SubConts.front().Param1 = 0x11223344;
  record.SubConts.front().Param2 = 0x55667788;
  EXPECT_EQ(
      "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
      "02 00 00 00 "
      "0d 00 00 00 01 00 00 00 53 44 33 22 11 88 77 66 55 "
      "0c 00 00 00 00 00 00 00 00 00 00 00 ff ff ff ff",
      ToHex(DataOf(record.WriteData())));
}

// Every combination of small lengths moves all that follows to another alignment.
TEST(ContainerInfo, NothingIsPaddedWhateverTheLengths) {
  for (unsigned int path = 0; path < 6; ++path) {
    for (unsigned int first = 0; first < 6; ++first) {
      for (unsigned int second = 0; second < 6; ++second) {
        for (unsigned int sub = 0; sub < 6; ++sub) {
          ContainerInfo record;
          record.Path = std::string(path, 'p').c_str();
          record.Ident1 = Blob(Pattern(first, 1));
          record.Ident2 = Blob(Pattern(second, 2));
          record.Param = 0x81828384;
          record.SubConts.resize(2);
          record.SubConts.front().Ident = Blob(Pattern(sub, 3));
          IdentObj const blob = record.WriteData();
          ASSERT_EQ(20 + path + first + second + (16 + sub) + 16, blob.Length);
          ASSERT_EQ(ToHex(ContainerBytes(std::string(path, 'p'), Pattern(first, 1),
                                         Pattern(second, 2), 0x81828384,
                                         {{Pattern(sub, 3), 0, 0xFFFFFFFF}, {"", 0, 0xFFFFFFFF}})),
                    ToHex(DataOf(blob)));
        }
      }
    }
  }
}

TEST(ContainerInfo, LengthsBeyondOneByteAreLittleEndian) {
  std::string const path(0x1234, 'p');
  ContainerInfo record;
  record.Path = path.c_str();
  record.Ident1 = Blob(Pattern(0x10203, 1));
  record.SubConts.resize(300);
  std::string const bytes = DataOf(record.WriteData());
  EXPECT_EQ(ContainerBytes(path, Pattern(0x10203, 1), "", 0, std::list<SubRecord>(300)), bytes);
  EXPECT_EQ("34 12 00 00", ToHex(bytes.substr(0, 4)));
  EXPECT_EQ("03 02 01 00", ToHex(bytes.substr(4 + 0x1234, 4)));
  EXPECT_EQ("2c 01 00 00", ToHex(bytes.substr(16 + 0x1234 + 0x10203, 4)));
}

TEST(ContainerInfo, EncodesTheTextThatAShortenedPathStillHas) {
  ContainerInfo record;
  record.Path = "/some/folder/";
  CTOOString::StrCutSlash(const_cast<char*>(static_cast<char const*>(record.Path)));
  EXPECT_EQ(ContainerBytes("/some/folder"), DataOf(record.WriteData()));
}

TEST(ContainerInfo, EncodingChangesNothing) {
  ContainerInfo record = FullRecord();
  EXPECT_EQ(FullBytes(), DataOf(record.WriteData()));
  EXPECT_EQ(FullBytes(), DataOf(record.WriteData()));
  ExpectIsFull(record);
}

TEST(ContainerInfo, StateIsNotEncoded) {
  ContainerInfo record = FullRecord();
  for (unsigned int const state : {0U, 1U, 2U, 3U, 0xFFFFFFFFU}) {
    record.State = state;
    EXPECT_EQ(FullBytes(), DataOf(record.WriteData()));
  }
}

// The lengths are set without the bytes: nothing may be copied before the sum is known to fit.
TEST(ContainerInfo, RecordThatDoesNotFitIntoItsLengthIsRefused) {
  ContainerInfo record = FullRecord();
  unsigned int const first = record.Ident1.Length;
  unsigned int const second = record.Ident2.Length;
  record.Ident1.Length = 0x80000000;
  record.Ident2.Length = 0x80000000;
  EXPECT_THROW(record.WriteData(), std::length_error);
  record.Ident2.Length = second;
  record.Ident1.Length = 0xFFFFFFFF;
  EXPECT_THROW(record.WriteData(), std::length_error);
  record.Ident1.Length = first;
  unsigned int const sub = record.SubConts.front().Ident.Length;
  for (unsigned int const length : {0xFFFFFFF0U, 0xFFFFFFF4U, 0xFFFFFFFFU}) {
    record.SubConts.front().Ident.Length = length;
    EXPECT_THROW(record.WriteData(), std::length_error);
  }
  record.SubConts.front().Ident.Length = sub;
  ExpectIsFull(record);
}

}  // namespace
