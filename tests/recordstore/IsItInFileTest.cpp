// QuasiStructFileBase::IsItInFile: where something is searched, a storage whose first record lies
// at its first byte, which neither backend of ours gives; and on disk.

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "recordstore/QuasiStructFileBase.h"
#include "tests/recordstore/WatchedFile.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/ObservedStore.h"

namespace {

// Records from byte 0 on in a string. It reads and never writes.
class HeaderlessStore : public QuasiStructFileBase {
 public:
  explicit HeaderlessStore(std::string content) : m_content(std::move(content)) {
    m_offsets.push_back(0);
  }

  unsigned int stor_Read(CTOOFile* /*file*/, void* buffer, unsigned int count) override {
    std::size_t const moved = m_content.copy(static_cast<char*>(buffer), count, m_position);
    m_position += moved;
    return static_cast<unsigned int>(moved);
  }
  unsigned int stor_Write(CTOOFile* /*file*/, void const* /*buffer*/, unsigned int) override {
    ADD_FAILURE() << "a write";
    return 0;
  }
  unsigned int stor_Seek(CTOOFile* /*file*/, long offset, int origin) override {
    EXPECT_EQ(0, origin);
    m_position = static_cast<std::size_t>(offset);
    return 0;
  }
  // Stands somewhere, not at the start: who wants to begin there must say so.
  CTOOFile* stor_Open(char const* /*name*/, char const* mode, bool flag) override {
    EXPECT_STREQ("rbc", mode);
    EXPECT_FALSE(flag);
    m_position = m_content.size() / 2;
    return nullptr;
  }
  bool stor_IsExists(char const* /*name*/) override { return true; }
  unsigned int stor_Length(CTOOFile* /*file*/) override {
    return static_cast<unsigned int>(m_content.size());
  }
  unsigned int stor_Length(char const* /*name*/) override {
    return static_cast<unsigned int>(m_content.size());
  }
  CTOOFileTime stor_GetLastWriteTime(char const* /*name*/) override { return CTOOFileTime(); }
  unsigned int stor_ReadIdentObject(CTOOFile* file, IdentObj& target,
                                    unsigned int position) override {
    EXPECT_EQ(0xFFFFFFFFU, position);
    ++ReadsTried;
    unsigned int length = 0;
    if (stor_Read(file, &length, 4) != 4 || length > m_content.size() - m_position) {
      return 0;
    }
    target = IdentObj(nullptr, length);
    return 4 + stor_Read(file, target.Data, length);
  }
  unsigned int stor_WriteIdentObject(CTOOFile* /*file*/, IdentObj const& /*source*/,
                                     unsigned int /*position*/) override {
    ADD_FAILURE() << "a write";
    return 0;
  }
  unsigned int stor_CurPos(CTOOFile* /*file*/) override {
    return static_cast<unsigned int>(m_position);
  }
  void stor_Truncate(CTOOFile* /*file*/) override { ADD_FAILURE() << "a truncation"; }
  void stor_Close(CTOOFile* /*file*/) override { ADD_FAILURE() << "a closing"; }

  int ReadsTried = 0;

 private:
  std::string m_content;
  std::size_t m_position = 0;
};

std::string const kContent = Item("first") + Item("") + Item("third") + Item("fourth");

TEST(IsItInFile, FindsEveryRecordAndGivesItsIndex) {
  HeaderlessStore store(kContent);
  long expected = 0;
  for (char const* const record : {"first", "", "third", "fourth"}) {
    long index = 77;
    EXPECT_TRUE(store.IsItInFile(Blob(record), &index)) << record;
    EXPECT_EQ(expected++, index);
    EXPECT_EQ(0, store.Status());
  }
}

TEST(IsItInFile, WorksWithoutAnIndex) {
  HeaderlessStore store(kContent);
  EXPECT_TRUE(store.IsItInFile(Blob("third"), nullptr));
  EXPECT_FALSE(store.IsItInFile(Blob("no such record"), nullptr));
  EXPECT_EQ(0, store.Status());
}

TEST(IsItInFile, GivesTheFirstOfSeveralEqualRecords) {
  HeaderlessStore store(Item("other") + Item("same") + Item("same"));
  long index = 77;
  EXPECT_TRUE(store.IsItInFile(Blob("same"), &index));
  EXPECT_EQ(1, index);
  EXPECT_EQ(2, store.ReadsTried);
}

TEST(IsItInFile, GivesMinusOneWithoutAMatch) {
  HeaderlessStore store(kContent);
  for (char const* const record : {"no such record", "fourt", "fourth ", "FIRST"}) {
    long index = 77;
    EXPECT_FALSE(store.IsItInFile(Blob(record), &index)) << record;
    EXPECT_EQ(-1, index);
    EXPECT_EQ(0, store.Status());
  }
}

TEST(IsItInFile, ReadsEachRecordOnceAndStopsAtTheEnd) {
  HeaderlessStore store(kContent);
  EXPECT_FALSE(store.IsItInFile(Blob("no such record"), nullptr));
  EXPECT_EQ(4, store.ReadsTried);
}

TEST(IsItInFile, ARecordThatCannotBeReadEndsTheSearch) {
  for (std::string const& rest : {Hex("05"), Hex("05 00 00 00 61"), Hex("ff ff ff ff 61")}) {
    HeaderlessStore store(Item("first") + rest);
    long index = 77;
    EXPECT_FALSE(store.IsItInFile(Blob("a"), &index));
    EXPECT_EQ(-1, index);
    EXPECT_EQ(2, store.ReadsTried);
    EXPECT_TRUE(store.IsItInFile(Blob("first"), &index));
    EXPECT_EQ(0, index);
  }
}

TEST(IsItInFile, SearchesNothingWithAStatusSet) {
  HeaderlessStore store(kContent);
  store.SetError(77);
  long index = 77;
  EXPECT_FALSE(store.IsItInFile(Blob("first"), &index));
  EXPECT_EQ(77, index);
  EXPECT_EQ(0, store.ReadsTried);
}

// On disk.

using IsItInFileOnDisk = WatchedFile;

TEST_F(IsItInFileOnDisk, OpensNothingWithAStatusSet) {
  ObservedStore& store = Start(kFile);
  store.SetError(kEarlierFailure);
  long index = 77;
  EXPECT_FALSE(store.IsItInFile(Blob("first record"), &index));
  EXPECT_FALSE(store.IsItInFile(Blob("first record"), nullptr));
  EXPECT_EQ(77, index);
  EXPECT_EQ(kEarlierFailure, store.Status());
  EXPECT_EQ(0, CountOpens());
}

TEST_F(IsItInFileOnDisk, OfAMissingFileLeavesIndexAndStatusAlone) {
  for (bool const create : {true, false}) {
    ObservedStore& store = StartWithoutFile(create);
    long index = 77;
    EXPECT_FALSE(store.IsItInFile(Blob("first record"), &index));
    EXPECT_FALSE(store.IsItInFile(Blob("first record"), nullptr));
    EXPECT_EQ(77, index);
    EXPECT_EQ(0, store.Status());
    EXPECT_EQ(0, CountOpens());
  }
}

TEST_F(IsItInFileOnDisk, OfAVanishedFileLeavesIndexAndStatusAlone) {
  ObservedStore& store = Start(kFile);
  std::filesystem::remove(m_path);
  long index = 77;
  EXPECT_FALSE(store.IsItInFile(Blob("first record"), &index));
  EXPECT_EQ(77, index);
  EXPECT_EQ(0, store.Status());
  EXPECT_EQ(0, CountOpens());
}

TEST_F(IsItInFileOnDisk, OfAnEmptyFileGivesMinusOne) {
  WriteFile(m_path, "");
  m_store = std::make_unique<ObservedStore>(m_path, true);
  long index = 77;
  EXPECT_FALSE(m_store->IsItInFile(Blob("first record"), &index));
  EXPECT_EQ(-1, index);
  EXPECT_EQ(0, m_store->Status());
  ExpectAllLetGo();
}

TEST_F(IsItInFileOnDisk, NamesTheFileWhereItRefuses) {
  ObservedStore& store = Start(kFile);
  EXPECT_FALSE(store.IsItInFile(Blob("first record"), nullptr));
  EXPECT_EQ(22, store.Status());
  EXPECT_EQ(m_path, store.ErrorMessage());
}

TEST_F(IsItInFileOnDisk, DeletesItsHandleOnEveryPath) {
  for (std::string const& bytes : {RecordFile({}), kFile}) {
    for (int const code : {0, EACCES}) {
      ObservedStore& store = Start(bytes);
      store.FailOpenWith = code;
      EXPECT_FALSE(store.IsItInFile(Blob("first record"), nullptr));
      EXPECT_EQ(1, CountOpens());
      ExpectAllLetGo();
    }
  }
}

TEST_F(IsItInFileOnDisk, SearchesARecordAtTheFirstByte) {
  ObservedStore& store = Start(Item("first") + Item("second") + Item("third"));
  store.Clear();  // That was no record file.
  store.Offsets() = {0};
  long index = 77;
  EXPECT_TRUE(store.IsItInFile(Blob("third"), &index));
  EXPECT_EQ(2, index);
  EXPECT_FALSE(store.IsItInFile(Blob("fourth"), &index));
  EXPECT_EQ(-1, index);
  EXPECT_EQ(0, store.Status());
  EXPECT_EQ(2, CountOpens());
  ExpectAllLetGo();
}

}  // namespace
