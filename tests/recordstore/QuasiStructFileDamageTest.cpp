// The scan of files that are cut, or whose lengths say more or less than there is, against a walk
// that shares nothing with it.

#include <sys/resource.h>

#include <fstream>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::ElementsAre;

struct Walk {
  unsigned int status = 0;
  std::string words;   // As far as they are there.
  std::string header;  // Likewise.
  unsigned int headerLength = 0;
  std::list<unsigned int> offsets;
};

unsigned long WordAt(std::string const& bytes, std::size_t position) {
  unsigned long value = 0;
  for (std::size_t i = 4; i-- > 0;) {
    value = value * 256 + static_cast<unsigned char>(bytes[position + i]);
  }
  return value;
}

Walk WalkOf(std::string const& bytes) {
  Walk walk;
  walk.words = bytes.substr(0, 12);
  if (bytes.size() < 12) {
    walk.status = 5;
    return walk;
  }
  unsigned long const headerLength = WordAt(bytes, 8);
  if (headerLength > bytes.size()) {
    walk.status = 134;
    return walk;
  }
  walk.headerLength = static_cast<unsigned int>(headerLength);
  walk.header = bytes.substr(12, headerLength);
  if (walk.header.size() < headerLength) {
    walk.status = 5;
    return walk;
  }
  for (std::size_t at = 12 + headerLength; at < bytes.size(); at += 4 + WordAt(bytes, at)) {
    if (bytes.size() - at < 4) {
      walk.status = 5;
      return walk;
    }
    if (WordAt(bytes, at) > bytes.size() - at - 4) {
      walk.status = 134;
      return walk;
    }
    walk.offsets.push_back(static_cast<unsigned int>(at));
  }
  return walk;
}

std::string WordsOf(ExposedStore const& store) {
  return Word(store.Words.Reserved) + Word(store.Words.CleanedMark) +
         Word(store.Words.HeaderLength);
}

// Files of every kind: no header, no records, empty records, lengths that look like others.
std::vector<std::string> ReferenceFiles() {
  std::string const high(9, '\xFF');
  return {
      RecordFile({}),
      RecordFile(1, 2, "h", {}),
      RecordFile(0xFFFFFFFF, 0x80000000, Pattern(20, 1), {}),
      RecordFile({"record"}),
      RecordFile({"", "", ""}),
      RecordFile(3, 4, "head", {"", "a", high, "", Pattern(30, 2), "end"}),
      RecordFile(5, 6, high, {high, high}),
      RecordFile(0, 0, Pattern(13, 3), {Item("a") + Item("bc"), std::string(8, '\0'), "x"}),
  };
}

class DamagedRecordFile : public testing::Test {
 protected:
  // Whether the store that reads `bytes` comes to what the walk does.
  void ExpectAsWalked(std::string const& bytes, std::string const& what) {
    MakeOldFile(m_path, bytes);
    Walk const walk = WalkOf(bytes);
    int const descriptors = CountDescriptors();
    ExposedStore store;
    unsigned int const result = store.Reload(m_path.c_str(), true, false);
    EXPECT_EQ(walk.status, result) << what;
    EXPECT_EQ(static_cast<int>(walk.status), store.Status()) << what;
    EXPECT_EQ(walk.status == 0 ? "" : m_path, store.ErrorMessage()) << what;
    EXPECT_EQ(walk.offsets, store.Offsets()) << what;
    EXPECT_EQ(walk.words, WordsOf(store).substr(0, walk.words.size())) << what;
    EXPECT_EQ(walk.headerLength, store.Header().Length) << what;
    EXPECT_EQ(walk.header, DataOf(store.Header()).substr(0, walk.header.size())) << what;
    EXPECT_EQ(0, store.OpenHandles) << what;
    EXPECT_EQ(descriptors, CountDescriptors()) << what;
    EXPECT_EQ(Lock::None, FileLockOf(m_path)) << what;
    EXPECT_EQ(bytes, ReadFile(m_path)) << what;
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
};

// In a process of its own, which ends when it takes too long.
TEST_F(DamagedRecordFile, FilesThatAreCutAnywhereAreReadAsFarAsTheyGo) {
  EXPECT_TRUE(InProcess([&] {
    for (std::string const& file : ReferenceFiles()) {
      for (std::size_t length = 1; length <= file.size(); ++length) {
        ExpectAsWalked(file.substr(0, length), ToHex(file.substr(0, length)));
      }
    }
    return true;
  }));
}

TEST_F(DamagedRecordFile, LengthsThatAreWrongAreReadAsFarAsTheyGo) {
  EXPECT_TRUE(InProcess([&] {
    for (std::string const& file : ReferenceFiles()) {
      std::vector<std::size_t> places{8};
      for (unsigned int const offset : WalkOf(file).offsets) {
        places.push_back(offset);
      }
      for (std::size_t const place : places) {
        auto const right = static_cast<unsigned int>(WordAt(file, place));
        auto const left = static_cast<unsigned int>(file.size() - place - 4);
        auto const size = static_cast<unsigned int>(file.size());
        for (unsigned int const wrong :
             {0U, right - 1, right + 1, left - 1, left, left + 1, size - 12, size - 11, size,
              size + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U - size, 0xFFFFFFFBU, 0xFFFFFFFCU,
              0xFFFFFFFFU - size, 0xFFFFFFFFU}) {
          std::string bytes = file;
          bytes.replace(place, 4, Word(wrong));
          ExpectAsWalked(bytes, ToHex(bytes));
        }
      }
    }
    return true;
  }));
}

TEST_F(DamagedRecordFile, EveryByteMayBeWrong) {
  EXPECT_TRUE(InProcess([&] {
    std::string const file = RecordFile(3, 4, "head", {"", "a", Pattern(9, 2), "end"});
    for (std::size_t place = 0; place < file.size(); ++place) {
      for (int const byte : {0x00, 0x01, 0x04, 0x7F, 0x80, 0xFF}) {
        std::string bytes = file;
        bytes[place] = static_cast<char>(byte);
        ExpectAsWalked(bytes, ToHex(bytes));
      }
    }
    return true;
  }));
}

// The same by hand for the cases that matter most.

class DamagedRecordFileByHand : public DamagedRecordFile {
 protected:
  void ExpectStatus(unsigned int expected, std::string const& bytes,
                    std::list<unsigned int> const& offsets) {
    MakeOldFile(m_path, bytes);
    for (bool const flag : {false, true}) {
      ExposedStore store;
      EXPECT_EQ(expected, store.Reload(m_path.c_str(), false, flag)) << ToHex(bytes);
      EXPECT_EQ(static_cast<int>(expected), store.Status());
      EXPECT_EQ(expected == 0 ? "" : m_path, store.ErrorMessage());
      EXPECT_EQ(offsets, store.Offsets()) << ToHex(bytes);
    }
  }
};

TEST_F(DamagedRecordFileByHand, FewerThan12BytesAreStatus5) {
  for (unsigned int length = 1; length < 12; ++length) {
    ExpectStatus(5, Pattern(length, 1), {});
  }
}

TEST_F(DamagedRecordFileByHand, HeaderLongerThanTheFileIsStatus134) {
  ExpectStatus(134, Word(0) + Word(0) + Word(20) + "abc", {});
  ExpectStatus(134, Word(0) + Word(0) + Word(16) + "abc", {});
}

TEST_F(DamagedRecordFileByHand, HeaderThatIsCutIsStatus5) {
  ExpectStatus(5, Word(0) + Word(0) + Word(8) + "abc", {});
  ExpectStatus(5, Word(0) + Word(0) + Word(15) + "abc", {});
  ExpectStatus(5, Word(0) + Word(0) + Word(4) + "abc", {});
}

TEST_F(DamagedRecordFileByHand, RecordThatRunsPastTheEndIsStatus134) {
  ExpectStatus(134, RecordFile({"one", "two"}) + Word(4) + "abc", {12, 19});
  ExpectStatus(134, RecordFile({"one", "two"}) + Word(1), {12, 19});
}

TEST_F(DamagedRecordFileByHand, LengthThatIsCutIsStatus5) {
  ExpectStatus(5, RecordFile({"one", "two"}) + std::string(1, '\0'), {12, 19});
  ExpectStatus(5, RecordFile({"one", "two"}) + std::string(2, '\0'), {12, 19});
  ExpectStatus(5, RecordFile({"one", "two"}) + std::string(3, '\0'), {12, 19});
  ExpectStatus(0, RecordFile({"one", "two"}) + std::string(4, '\0'), {12, 19, 26});
}

// In 32 bits these positions would come out before the end.
TEST_F(DamagedRecordFileByHand, RecordLengthsThatWrapAreStatus134) {
  for (unsigned int back = 1; back <= 40; ++back) {
    ExpectStatus(134, RecordFile({"one", "two"}) + Word(0U - back) + "abc", {12, 19});
  }
}

TEST_F(DamagedRecordFileByHand, HeaderLengthsThatWrapAreStatus134) {
  for (unsigned int back = 1; back <= 40; ++back) {
    ExpectStatus(134, Word(0) + Word(0) + Word(0U - back) + Item("record"), {});
  }
}

TEST_F(DamagedRecordFileByHand, FailedScanKeepsWordsAndHeaderAsFarAsRead) {
  MakeOldFile(m_path, Hex("01 02 03 04 05 06"));
  ExposedStore store;
  store.FileName() = m_path.c_str();
  store.Words = {0xAAAAAAAA, 0xBBBBBBBB, 0xCCCCCCCC};
  store.Header() = Blob("before");
  EXPECT_EQ(5U, store.Init());
  EXPECT_EQ(ToHex(Hex("01 02 03 04 05 06 bb bb cc cc cc cc")), ToHex(WordsOf(store)));
  EXPECT_EQ("before", DataOf(store.Header()));

  store.Clear();
  MakeOldFile(m_path, Word(1) + Word(2) + Word(20) + "abc");
  EXPECT_EQ(134U, store.Init());
  EXPECT_EQ(Word(1) + Word(2) + Word(20), WordsOf(store));
  EXPECT_EQ("before", DataOf(store.Header()));

  store.Clear();
  MakeOldFile(m_path, Word(3) + Word(4) + Word(8) + "abc");
  EXPECT_EQ(5U, store.Init());
  EXPECT_EQ(Word(3) + Word(4) + Word(8), WordsOf(store));
  EXPECT_EQ(8U, store.Header().Length);
  EXPECT_EQ("abc", DataOf(store.Header()).substr(0, 3));

  store.Clear();
  MakeOldFile(m_path, RecordFile(5, 6, "new", {"one"}) + "x");
  EXPECT_EQ(5U, store.Init());
  EXPECT_EQ(Word(5) + Word(6) + Word(3), WordsOf(store));
  EXPECT_EQ("new", DataOf(store.Header()));
  EXPECT_THAT(store.Offsets(), ElementsAre(15));
}

// Gives one byte of the header less than there is, as a disk that fails does.
class HalfReadStore : public ExposedStore {
 public:
  unsigned int stor_Read(CTOOFile* file, void* buffer, unsigned int count) override {
    unsigned int const moved = ExposedStore::stor_Read(file, buffer, count);
    return count == SomeHeader().size() ? moved - 1 : moved;
  }
};

TEST_F(DamagedRecordFileByHand, HeaderThatCannotBeReadEndsTheReading) {
  MakeOldFile(m_path, SomeFile());
  HalfReadStore store;
  store.FileName() = m_path.c_str();
  EXPECT_EQ(5U, store.Init());
  EXPECT_TRUE(store.Offsets().empty());
  std::list<IdentObj> records;
  EXPECT_EQ(5U, store.GetAll(records));
  EXPECT_TRUE(records.empty());
}

// Memory.

unsigned long AddressSpaceInUse() {
  std::ifstream file("/proc/self/statm");
  unsigned long pages = 0;
  file >> pages;
  return pages * 4096;
}

TEST_F(DamagedRecordFile, LengthsThatCannotBeTrueTakeNoMemory) {
  EXPECT_TRUE(InProcess([&] {
    if (!kIsSanitized) {  // Those reserve more address space than any limit would leave them.
      rlim_t const most = AddressSpaceInUse() + 100000000;
      struct rlimit const limit{most, most};
      EXPECT_EQ(0, ::setrlimit(RLIMIT_AS, &limit));
    }
    std::string const file = RecordFile(0, 0, "head", {"one", "two"});
    for (std::size_t const place : {8UL, 16UL, 23UL}) {
      for (unsigned int const length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        std::string bytes = file;
        bytes.replace(place, 4, Word(length));
        WriteFile(m_path, bytes);
        ExposedStore store;
        EXPECT_EQ(134U, store.Reload(m_path.c_str(), true, false));
        EXPECT_EQ(place == 8 ? 0U : 4U, store.Header().Length);
      }
    }
    return true;
  }));
}

}  // namespace
