// Container records that somebody has spoilt: whatever the bytes are, decoding them gives what an
// independent decoder gives, and never asks for more memory than the record has bytes.

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfo.h"
#include "foundation/XTOOStatus.h"
#include "tests/catalogue/seams/Decoder.h"
#include "tests/support/Allocations.h"
#include "tests/support/Bytes.h"

namespace {

// With an empty sub-record blob and one that has a tail. In the path a flipped bit makes a zero.
std::string Reference() {
  std::string bytes = Item("/p@th") + Item("first") + Item("2") + Word(0x01020304) + Word(4);
  bytes += Item(Item("sub") + Word(5) + Word(6));
  bytes += Item("");
  bytes += Item(Item("") + Word(7) + Word(8) + "tail");
  bytes += Item(Item("another") + Word(9) + Word(10));
  return bytes;
}

// Where the reference has its lengths and its count: of the path, both idents, the count, and of
// the first three sub-records the blob's and, where there is one, the ident's.
std::vector<std::size_t> LengthFields() { return {0, 9, 18, 27, 31, 35, 50, 54, 58}; }

unsigned int WordAt(std::string const& bytes, std::size_t offset) {
  unsigned int word = 0;
  for (std::size_t i = 4; i > 0; --i) {
    word = word << 8 | static_cast<unsigned char>(bytes[offset + i - 1]);
  }
  return word;
}

std::vector<unsigned int> EdgesOf(unsigned int value) {
  return {0, value - 1, value + 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
}

void ExpectDecodesAsItShould(std::string const& bytes) {
  Decoded const expected = Decode(bytes);
  // Ends where the blob does, so that a sanitizer sees a read past its end.
  std::vector<unsigned char> const blob(bytes.begin(), bytes.end());
  ContainerInfo record;
  std::size_t consumed = 0;
  std::string failure;
  int code = 0;
  std::size_t largest = 0;
  {
    Allocations const allocations;
    try {
      consumed = record.ReadData(blob.data(), static_cast<unsigned int>(blob.size()));
    } catch (XTOOStatus const& status) {
      code = status.Status();
      failure = status.ErrorMessage();
    }
    largest = allocations.Largest();
  }
  ASSERT_EQ(expected.failure, failure) << ToHex(bytes);
  ASSERT_EQ(expected.failure.empty() ? 0 : 37, code);
  ASSERT_EQ(expected.consumed, consumed) << ToHex(bytes);
  ASSERT_EQ(ToHex(expected.Bytes()), ToHex(DataOf(record.WriteData()))) << ToHex(bytes);
  ASSERT_EQ(0U, record.State);
  constexpr std::size_t kListNode = 16 + sizeof(SubContInfo);
  ASSERT_LE(largest, std::max(bytes.size() + 1, kListNode)) << ToHex(bytes);
}

TEST(DamagedRecord, ReferenceIsWhole) {
  Decoded const decoded = Decode(Reference());
  EXPECT_EQ("", decoded.failure);
  EXPECT_EQ(Reference().size(), decoded.consumed);
  EXPECT_EQ(4U, decoded.subRecords.size());
  ExpectDecodesAsItShould(Reference());
  std::vector<unsigned int> values;
  for (std::size_t const field : LengthFields()) {
    values.push_back(WordAt(Reference(), field));
  }
  EXPECT_EQ((std::vector<unsigned int>{5, 5, 1, 4, 15, 3, 0, 16, 0}), values);
}

TEST(DamagedRecord, CutAnywhere) {
  std::string const whole = Reference();
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    ASSERT_NO_FATAL_FAILURE(ExpectDecodesAsItShould(whole.substr(0, size)));
  }
}

TEST(DamagedRecord, EachLengthAtItsEdges) {
  for (std::size_t const field : LengthFields()) {
    for (unsigned int const value : EdgesOf(WordAt(Reference(), field))) {
      ASSERT_NO_FATAL_FAILURE(ExpectDecodesAsItShould(Reference().replace(field, 4, Word(value))));
    }
  }
}

TEST(DamagedRecord, EachTwoLengthsAtTheirEdges) {
  for (std::size_t const first : LengthFields()) {
    for (unsigned int const value : EdgesOf(WordAt(Reference(), first))) {
      std::string const spoilt = Reference().replace(first, 4, Word(value));
      for (std::size_t const second : LengthFields()) {
        for (unsigned int const other : EdgesOf(WordAt(Reference(), second))) {
          std::string twice = spoilt;
          ASSERT_NO_FATAL_FAILURE(ExpectDecodesAsItShould(twice.replace(second, 4, Word(other))));
        }
      }
    }
  }
}

TEST(DamagedRecord, EachBitFlipped) {
  std::string const whole = Reference();
  for (std::size_t byte = 0; byte < whole.size(); ++byte) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string spoilt = whole;
      spoilt[byte] = static_cast<char>(spoilt[byte] ^ (1 << bit));
      ASSERT_NO_FATAL_FAILURE(ExpectDecodesAsItShould(spoilt));
    }
  }
}

TEST(DamagedRecord, SpoiltAtRandom) {
  std::mt19937 random(1601);
  for (int round = 0; round < 20000; ++round) {
    std::string spoilt = Reference();
    for (unsigned int times = random() % 4; times > 0; --times) {
      spoilt[random() % spoilt.size()] =
          static_cast<char>(random() % 3 == 0 ? random() : random() % 9);
    }
    spoilt.resize(random() % 3 == 0 ? random() % spoilt.size() : spoilt.size());
    ASSERT_NO_FATAL_FAILURE(ExpectDecodesAsItShould(spoilt));
  }
}

}  // namespace
