// ContainerInfo: decoding a blob.

#include <list>
#include <string>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfo.h"
#include "foundation/XTOOStatus.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"

namespace {

// From a buffer that ends where the blob does, so that a sanitizer sees a read past its end.
unsigned int ReadFrom(ContainerInfo& record, std::string const& blob) {
  std::vector<unsigned char> const bytes(blob.begin(), blob.end());
  return record.ReadData(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

void ExpectMalformed(ContainerInfo& record, std::string const& blob,
                     char const* text = "ContainerInfo::ReadData") {
  try {
    ReadFrom(record, blob);
    ADD_FAILURE() << "decoded " << ToHex(blob);
  } catch (XTOOStatus const& status) {
    EXPECT_EQ(37, status.Status()) << ToHex(blob);
    EXPECT_STREQ(text, status.ErrorMessage()) << ToHex(blob);
  }
}

std::string const& FullBytes() {
  static std::string const bytes =
      ContainerBytes("/some/container", "first ident", "second", 0x11223344,
                     {{"sub", 5, 6}, {"", 0, 0xFFFFFFFF}, {"another", 7, 8}});
  return bytes;
}

// A record blob whose only parts are these sub-record blobs, whatever they hold.
std::string WithSubBlobs(std::list<std::string> const& blobs) {
  std::string bytes = Item("/p") + Item("") + Item("") + Word(0);
  bytes += Word(static_cast<unsigned int>(blobs.size()));
  for (std::string const& blob : blobs) {
    bytes += Item(blob);
  }
  return bytes;
}

TEST(ContainerInfo, DecodesEveryField) {
  ContainerInfo record;
  EXPECT_EQ(FullBytes().size(), ReadFrom(record, FullBytes()));
  EXPECT_STREQ("/some/container", record.Path);
  EXPECT_EQ("first ident", DataOf(record.Ident1));
  EXPECT_EQ("second", DataOf(record.Ident2));
  EXPECT_EQ(0x11223344U, record.Param);
  ASSERT_EQ(3U, record.SubConts.size());
  EXPECT_EQ("sub", DataOf(record.SubConts.front().Ident));
  EXPECT_EQ(5U, record.SubConts.front().Param1);
  EXPECT_EQ(6U, record.SubConts.front().Param2);
  EXPECT_EQ("another", DataOf(record.SubConts.back().Ident));
  EXPECT_EQ(7U, record.SubConts.back().Param1);
  EXPECT_EQ(8U, record.SubConts.back().Param2);
}

TEST(ContainerInfo, EncodedAndDecodedIsTheSameButForTheState) {
  ContainerInfo original;
  ReadFrom(original, FullBytes());
  for (unsigned int const state : {0U, 1U, 3U, 77U}) {
    original.State = state;
    ContainerInfo copy;
    EXPECT_EQ(FullBytes().size(), ReadFrom(copy, DataOf(original.WriteData())));
    EXPECT_EQ(FullBytes(), DataOf(copy.WriteData()));
    EXPECT_EQ(0U, copy.State);
  }
}

TEST(ContainerInfo, DecodesAtEveryAlignment) {
  for (unsigned int length = 0; length < 9; ++length) {
    std::string const path(length, 'p');
    std::string const blob =
        ContainerBytes(path, Pattern(length, 1), "", 0x81828384, {{Pattern(3, 2), 5, 6}});
    ContainerInfo record;
    EXPECT_EQ(blob.size(), ReadFrom(record, blob));
    EXPECT_EQ(0x81828384U, record.Param);
    EXPECT_EQ(blob, DataOf(record.WriteData()));
  }
}

TEST(ContainerInfo, DecodingLeavesTheStateAlone) {
  for (unsigned int const state : {0U, 1U, 3U, 77U}) {
    ContainerInfo record;
    record.State = state;
    ReadFrom(record, FullBytes());
    EXPECT_EQ(state, record.State);
    ExpectMalformed(record, FullBytes().substr(0, FullBytes().size() - 1));
    EXPECT_EQ(state, record.State);
  }
}

TEST(ContainerInfo, DecodingReplacesWhatWasThere) {
  ContainerInfo record;
  record.Path = "/an/older/path/that/is/longer";
  record.Param = 9;
  record.Ident1 = Blob("old");
  record.Ident2 = Blob("old");
  ReadFrom(record, ContainerBytes(""));
  EXPECT_EQ(std::string(20, '\0'), DataOf(record.WriteData()));
}

TEST(ContainerInfo, BytesBehindTheRecordAreAccepted) {
  for (std::string const& blob : {FullBytes(), ContainerBytes("/a"), ContainerBytes("")}) {
    for (unsigned int tail = 1; tail < 10; ++tail) {
      ContainerInfo record;
      EXPECT_EQ(blob.size(), ReadFrom(record, blob + Pattern(tail, 1)));
      EXPECT_EQ(blob, DataOf(record.WriteData()));
    }
  }
}

// Kept on purpose: decoding is meant for a fresh record.
TEST(ContainerInfo, DecodingTwiceDoublesTheSubRecords) {
  ContainerInfo record;
  ReadFrom(record, FullBytes());
  ReadFrom(record, FullBytes());
  EXPECT_EQ(6U, record.SubConts.size());
  EXPECT_EQ(ContainerBytes("/some/container", "first ident", "second", 0x11223344,
                           {{"sub", 5, 6},
                            {"", 0, 0xFFFFFFFF},
                            {"another", 7, 8},
                            {"sub", 5, 6},
                            {"", 0, 0xFFFFFFFF},
                            {"another", 7, 8}}),
            DataOf(record.WriteData()));
}

TEST(ContainerInfo, PathEndsAtItsFirstZeroByte) {
  ContainerInfo record;
  std::string const blob = ContainerBytes(std::string("/a\0b", 4));
  EXPECT_EQ(blob.size(), ReadFrom(record, blob));
  EXPECT_STREQ("/a", record.Path);
}

TEST(ContainerInfo, EmptySubRecordBlobKeepsTheDefaults) {
  ContainerInfo record;
  std::string const blob = WithSubBlobs({"", Item("x") + Word(1) + Word(2), ""});
  EXPECT_EQ(blob.size(), ReadFrom(record, blob));
  EXPECT_EQ(
      ContainerBytes("/p", "", "", 0, {{"", 0, 0xFFFFFFFF}, {"x", 1, 2}, {"", 0, 0xFFFFFFFF}}),
      DataOf(record.WriteData()));
}

TEST(ContainerInfo, TailOfASubRecordBlobIsIgnored) {
  ContainerInfo record;
  std::string const blob =
      WithSubBlobs({Item("x") + Word(1) + Word(2) + "tail", Item("y") + Word(3) + Word(4)});
  EXPECT_EQ(blob.size(), ReadFrom(record, blob));
  EXPECT_EQ(ContainerBytes("/p", "", "", 0, {{"x", 1, 2}, {"y", 3, 4}}),
            DataOf(record.WriteData()));
}

TEST(ContainerInfo, ShortSubRecordBlobIsMalformedAndKeepsTheEarlierOnes) {
  std::string const good = Item("x") + Word(1) + Word(2);
  for (std::size_t size = 1; size < good.size(); ++size) {
    ContainerInfo record;
    ExpectMalformed(record, WithSubBlobs({good, good, good.substr(0, size), good}),
                    "SubContInfo::ReadData");
    EXPECT_EQ(2U, record.SubConts.size());
    EXPECT_STREQ("", record.Path);  // It is set last.
  }
}

TEST(ContainerInfo, RecordCutByOneByteIsMalformed) {
  for (std::string const& blob :
       {FullBytes(), ContainerBytes("/some/container", "a", "b", 1), ContainerBytes("")}) {
    ContainerInfo record;
    ExpectMalformed(record, blob.substr(0, blob.size() - 1));
  }
}

TEST(ContainerInfo, RecordCutAnywhereIsMalformed) {
  for (std::string const& blob :
       {FullBytes(), ContainerBytes("/some/container", "a", "b", 1), ContainerBytes("")}) {
    for (std::size_t size = 0; size < blob.size(); ++size) {
      ContainerInfo record;
      ExpectMalformed(record, blob.substr(0, size));
    }
  }
}

TEST(ContainerInfo, CutRecordKeepsWhatWasDecoded) {
  ContainerInfo record;
  record.Ident2 = Blob("old");
  ExpectMalformed(record, FullBytes().substr(0, 4 + 15 + 4 + 11 + 3));
  EXPECT_STREQ("/some/container", record.Path);
  EXPECT_EQ("first ident", DataOf(record.Ident1));
  EXPECT_EQ("old", DataOf(record.Ident2));
  ContainerInfo almost;
  ExpectMalformed(almost, FullBytes().substr(0, FullBytes().size() - 1));
  EXPECT_STREQ("/some/container", almost.Path);
  EXPECT_EQ(0x11223344U, almost.Param);
  EXPECT_EQ(2U, almost.SubConts.size());
}

TEST(ContainerInfo, CutPathLeavesTheRecordAsItWas) {
  ContainerInfo record;
  ReadFrom(record, FullBytes());
  for (std::size_t size = 0; size < Item("/other/container").size(); ++size) {
    ExpectMalformed(record, Item("/other/container").substr(0, size));
    EXPECT_EQ(ToHex(FullBytes()), ToHex(DataOf(record.WriteData()))) << size;
  }
}

TEST(ContainerInfo, NullOrNoBytesAreMalformed) {
  std::vector<unsigned char> const bytes(20, 0);
  std::vector<std::pair<unsigned char const*, unsigned int>> const inputs{
      {nullptr, 0}, {nullptr, 1}, {nullptr, 20}, {nullptr, 0xFFFFFFFF}, {bytes.data(), 0}};
  for (auto const& [data, length] : inputs) {
    ContainerInfo record;
    try {
      record.ReadData(data, length);
      ADD_FAILURE() << length;
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(37, status.Status());
      EXPECT_STREQ("ContainerInfo::ReadData", status.ErrorMessage());
    }
  }
}

TEST(ContainerInfo, LengthsBeyondTheRecordAreMalformed) {
  for (unsigned int const length : {21U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFECU, 0xFFFFFFFBU,
                                    0xFFFFFFFCU, 0xFFFFFFFDU, 0xFFFFFFFFU}) {
    for (std::size_t field = 0; field < 3; ++field) {
      std::string blob(24, '\0');
      blob.replace(4 * field, 4, Word(length));
      ContainerInfo record;
      ExpectMalformed(record, blob);
    }
  }
}

TEST(ContainerInfo, CountBeyondTheRecordIsMalformed) {
  for (unsigned int const count : {1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    ContainerInfo record;
    ExpectMalformed(record, std::string(16, '\0') + Word(count));
    EXPECT_TRUE(record.SubConts.empty());
  }
}

TEST(ContainerInfo, CountBeyondTheSubRecordsThereAreKeepsThose) {
  ContainerInfo record;
  ExpectMalformed(record, std::string(16, '\0') + Word(0xFFFFFFFF) + std::string(40, '\0'));
  EXPECT_EQ(10U, record.SubConts.size());
}

TEST(ContainerInfo, ThrowsAStatusByValueWithItsFlagFalse) {
  struct Shown : XTOOStatus {
    explicit Shown(XTOOStatus const& status) : XTOOStatus(status) {}
    bool IsRaised() const { return Flag; }
  };
  for (std::string const& blob : {std::string(), WithSubBlobs({"x"})}) {
    ContainerInfo record;
    try {
      ReadFrom(record, blob);
      FAIL();
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(typeid(XTOOStatus), typeid(status));
      EXPECT_FALSE(Shown(status).IsRaised());
    }
  }
}

}  // namespace
