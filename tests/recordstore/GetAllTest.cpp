// QuasiStructFileBase::GetAll on files that others changed or damaged after they were scanned.

#include <filesystem>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/ObservedStore.h"
#include "tests/support/TempFolder.h"

namespace {

std::string const kHeader = "the header";
std::list<std::string> const kRecords{"first record", "", "a", Pattern(30, 1), "the last"};
std::string const kFile = RecordFile(1, 2, kHeader, kRecords);

class GetAll : public testing::Test {
 protected:
  GetAll() { Start(kFile); }

  // Writes the file and makes a store that has scanned it.
  void Start(std::string const& bytes) {
    Damage(bytes);
    AgeFile(m_path);
    m_store = std::make_unique<ObservedStore>(m_path, true);
    int reads = 0;
    m_store->Before = [reads](std::string const& what) mutable {
      if (what == "ReadIdent" && ++reads > 1000) {
        throw std::runtime_error("the walk does not end");
      }
    };
  }

  void Damage(std::string const& bytes) {
    std::filesystem::remove(m_path);
    WriteFile(m_path, bytes);
  }

  // The code that a walk over the file gives, which must be in the status too.
  unsigned int Walk() {
    m_out.clear();
    unsigned int const code = m_store->GetAll(m_out);
    EXPECT_EQ(code, static_cast<unsigned int>(m_store->Status()));
    if (code != 0) {
      EXPECT_EQ(m_path, m_store->ErrorMessage());
    }
    EXPECT_EQ(0, m_store->OpenHandles);
    EXPECT_EQ(Lock::None, FileLockOf(m_path));
    return code;
  }

  // What a walk must give from `position` on: all whole records, then, where the file is cut inside
  // of one, an empty one and the code.
  void ExpectWalk(std::string const& bytes, std::size_t position) {
    std::list<std::string> whole;
    unsigned int code = 0;
    while (position < bytes.size() && code == 0) {
      std::size_t const left = bytes.size() - position;
      std::size_t const length = left < 4 ? 0 : LengthAt(bytes, position);
      if (left < 4 || length > left - 4) {
        code = 134;
        whole.emplace_back();
      } else {
        whole.push_back(bytes.substr(position + 4, length));
        position += 4 + length;
      }
    }
    EXPECT_EQ(code, Walk());
    EXPECT_EQ(whole, DataOf(m_out));
  }

  static std::size_t LengthAt(std::string const& bytes, std::size_t position) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      length |= static_cast<std::size_t>(static_cast<unsigned char>(bytes[position + i]))
                << (8 * i);
    }
    return length;
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  std::unique_ptr<ObservedStore> m_store;
  std::list<IdentObj> m_out;
};

TEST_F(GetAll, SeesWhatOthersWroteWithoutScanningAgain) {
  std::list<unsigned int> const offsets = m_store->Offsets();
  CTOOFileTime const loaded = m_store->LoadTime();
  CQuasiStructFile other(m_path.c_str(), false, false);
  ASSERT_EQ(0U, other.Add(Blob("of another store")));
  ShiftWriteTime(m_path, 10);
  EXPECT_EQ(0U, Walk());
  std::list<std::string> expected = kRecords;
  expected.emplace_back("of another store");
  EXPECT_EQ(expected, DataOf(m_out));
  EXPECT_EQ(offsets, m_store->Offsets());
  EXPECT_FALSE(loaded > m_store->LoadTime() || m_store->LoadTime() > loaded);
  for (std::string const& event : m_store->Names()) {
    EXPECT_NE("GetLastWriteTime", event);
  }
}

TEST_F(GetAll, TakesHeaderWordsAndHeaderOfAnotherFile) {
  Damage(RecordFile(8, 9, "another header", {"x"}));
  EXPECT_EQ(0U, Walk());
  EXPECT_EQ(8U, m_store->Words.Reserved);
  EXPECT_EQ(9U, m_store->Words.CleanedMark);
  EXPECT_EQ(14U, m_store->Words.HeaderLength);
  EXPECT_EQ("another header", DataOf(m_store->Header()));
  EXPECT_EQ(std::list<std::string>{"x"}, DataOf(m_out));
}

TEST_F(GetAll, WithoutFileSets4WhateverMayBeCreated) {
  for (bool const create : {true, false}) {
    Start(kFile);
    m_store->Create() = create;
    Damage("");
    m_store->Events.clear();
    EXPECT_EQ(4U, Walk());
    EXPECT_TRUE(m_out.empty());
    EXPECT_EQ((std::vector<std::string>{"IsExists", "Length of name"}), m_store->Names());
    Start(kFile);
    m_store->Create() = create;
    std::filesystem::remove(m_path);
    EXPECT_EQ(4U, m_store->GetAll(m_out));
    EXPECT_EQ(4, m_store->Status());
    EXPECT_EQ(m_path, m_store->ErrorMessage());
    EXPECT_TRUE(m_folder.Names().empty());
  }
}

TEST_F(GetAll, OfAFileThatEndsInsideTheHeaderWordsSets5) {
  for (std::size_t length = 1; length < 12; ++length) {
    Start(kFile);
    Damage(kFile.substr(0, length));
    EXPECT_EQ(5U, Walk()) << length;
    EXPECT_TRUE(m_out.empty());
  }
}

TEST_F(GetAll, OfAFileThatEndsInsideTheHeaderSets5) {
  for (std::size_t length = 12; length < 12 + kHeader.size(); ++length) {
    Start(kFile);
    Damage(kFile.substr(0, length));
    EXPECT_EQ(5U, Walk()) << length;
    EXPECT_TRUE(m_out.empty());
  }
}

TEST_F(GetAll, OfAHeaderLongerThanTheFileSets134) {
  std::string const rest(8, 'x');
  for (unsigned int const length : {21U, 22U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    Start(kFile);
    Damage(Word(1) + Word(2) + Word(length) + rest);
    EXPECT_EQ(134U, Walk()) << length;
    EXPECT_TRUE(m_out.empty());
  }
  // No longer than the file, but more than what is left of it.
  Start(kFile);
  Damage(Word(1) + Word(2) + Word(20) + rest);
  EXPECT_EQ(5U, Walk());
}

TEST_F(GetAll, EndsOnAFileThatIsCutAnywhere) {
  std::size_t const first = 12 + kHeader.size();
  for (std::size_t length = first; length <= kFile.size(); ++length) {
    SCOPED_TRACE(length);
    Start(kFile);
    Damage(kFile.substr(0, length));
    ExpectWalk(kFile.substr(0, length), first);
  }
}

TEST_F(GetAll, EndsOnEveryWrongLength) {
  std::size_t position = 12 + kHeader.size();
  for (std::string const& record : kRecords) {
    auto const length = static_cast<unsigned int>(record.size());
    for (unsigned int const wrong :
         {0U, length - 1, length + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
      SCOPED_TRACE(std::to_string(wrong) + " for " + std::to_string(length));
      std::string damaged = kFile;
      damaged.replace(position, 4, Word(wrong));
      Start(kFile);
      Damage(damaged);
      ExpectWalk(damaged, 12 + kHeader.size());
    }
    position += 4 + record.size();
  }
}

// A file that others go on changing while it is walked ends too.
TEST_F(GetAll, EndsOnAFileThatIsCutDuringTheWalk) {
  std::list<std::string> const records(400, Pattern(1000, 7));  // More than is read at once.
  Start(RecordFile(records));
  int reads = 0;
  m_store->Before = [&](std::string const& what) {
    if (what == "ReadIdent" && ++reads == 100) {
      std::filesystem::resize_file(m_path, 200000);
    }
    if (reads > 1000) {
      throw std::runtime_error("the walk does not end");
    }
  };
  EXPECT_EQ(134U, Walk());
  EXPECT_LT(m_out.size(), records.size());
}

TEST_F(GetAll, ReturnsAnEarlierStatusWhereItMeetsNoneOfItsOwn) {
  m_store->SetError(77);
  EXPECT_EQ(77U, m_store->GetAll(m_out));
  EXPECT_EQ(kRecords, DataOf(m_out));
  Damage(kFile.substr(0, 5));
  EXPECT_EQ(5U, m_store->GetAll(m_out));
}

TEST_F(GetAll, GetEachGivesTheSameRecordsUnderTheSharedLock) {
  std::list<std::string> taken;
  EXPECT_EQ(0U, m_store->GetEach([&](IdentObj&& record) {
    EXPECT_EQ(Lock::Shared, FileLockOf(m_path));
    taken.push_back(DataOf(record));
  }));
  EXPECT_EQ(kRecords, taken);
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
  EXPECT_EQ(0, m_store->OpenHandles);
}

TEST_F(GetAll, GetEachOfACutRecordGivesAnEmptyOneBehindALongOneThatWasLeft) {
  Damage(kFile.substr(0, kFile.size() - 1));
  std::list<std::string> taken;
  EXPECT_EQ(134U,
            m_store->GetEach([&](IdentObj const& record) { taken.push_back(DataOf(record)); }));
  std::list<std::string> expected = kRecords;
  expected.back().clear();
  EXPECT_EQ(expected, taken);
}

TEST_F(GetAll, WhatGetEachIsGivenMayThrowAndNothingStaysOpenOrLocked) {
  int taken = 0;
  EXPECT_THROW(m_store->GetEach([&](IdentObj const& /*record*/) {
    if (++taken == 2) {
      throw std::runtime_error("enough");
    }
  }),
               std::runtime_error);
  EXPECT_EQ(2, taken);
  EXPECT_EQ(0, m_store->OpenHandles);
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
  EXPECT_EQ(0U, Walk());
  EXPECT_EQ(kRecords, DataOf(m_out));
}

}  // namespace
