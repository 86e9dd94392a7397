// ContainerInfoList: loading what is damaged or may not be read.

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"

namespace {

class ContainerInfoListDamage : public CatalogueFixture {
 protected:
  // Into a list that holds something.
  void ExpectLoadsNothing(std::string const& bytes) {
    Write(bytes);
    ContainerInfoList list;
    RecordsOf(list).push_back(Record("/old", ContainerInfo::StateAdded));
    int const before = CountDescriptors();
    list.Load(File());
    EXPECT_TRUE(RecordsOf(list).empty()) << ToHex(bytes);
    EXPECT_EQ(before, CountDescriptors());
    EXPECT_EQ(Lock::None, FileLockOf(m_file));
    EXPECT_TRUE(IsLockFree(list));
    ExpectUntouched();
  }
};

TEST_F(ContainerInfoListDamage, RecordPastTheEndLeavesTheListEmpty) {
  for (unsigned int const mark : {0U, 1U}) {
    std::string const good = CatalogueFile(mark, {m_folder.Path(), "/gone"});
    ExpectLoadsNothing(good + Word(5) + "1234");
    ExpectLoadsNothing(good + Word(0xFFFFFFFF) + "1234");
    ExpectLoadsNothing(good + "12");
    ExpectLoadsNothing(good.substr(0, good.size() - 1));
  }
}

TEST_F(ContainerInfoListDamage, DamagedHeaderLeavesTheListEmpty) {
  for (unsigned int const mark : {0U, 1U}) {
    std::string const words = Word(0) + Word(mark);
    ExpectLoadsNothing(words + Word(20) + "123");  // Longer than the file.
    ExpectLoadsNothing(words + Word(8) + "123");   // Longer than what remains.
    ExpectLoadsNothing(words + Word(0xFFFFFFFF) + "123");
    ExpectLoadsNothing(words.substr(0, 5));
  }
}

TEST_F(ContainerInfoListDamage, FileShorterThanItsWordsLeavesTheListEmpty) {
  std::string const words = CatalogueFile(1, {});
  for (std::size_t size = 1; size < words.size(); ++size) {
    ExpectLoadsNothing(words.substr(0, size));
  }
}

TEST_F(ContainerInfoListDamage, MalformedBlobLeavesTheListEmpty) {
  std::string const good = ContainerBytes(m_folder.Path());
  std::string const stale = ContainerBytes("/gone");
  for (unsigned int const mark : {0U, 1U}) {
    for (std::string const& bad : {std::string(), std::string("x"), good.substr(0, good.size() - 1),
                                   ContainerBytes("/p").substr(0, 18) + Word(1) + Item("short")}) {
      ExpectLoadsNothing(RecordFile(0, mark, "", {bad, good, stale}));
      ExpectLoadsNothing(RecordFile(0, mark, "", {good, stale, bad, good}));
      ExpectLoadsNothing(RecordFile(0, mark, "", {good, stale, bad}));
    }
  }
}

// With a time limit of its own: a load that runs on for ever is a failure.
TEST_F(ContainerInfoListDamage, FileCutAnywhereEnds) {
  std::string const whole = RecordFile(7, 1, "head",
                                       {ContainerBytes("/a", "i", "j", 5, {{"s", 1, 2}}),
                                        ContainerBytes("/b"), ContainerBytes("/c", "iii")});
  std::size_t const firstEnd = 12 + 4 + 4 + ContainerBytes("/a", "i", "j", 5, {{"s", 1, 2}}).size();
  std::size_t const secondEnd = firstEnd + 4 + ContainerBytes("/b").size();
  EXPECT_TRUE(InProcess([&] {
    for (std::size_t size = 1; size <= whole.size(); ++size) {
      Paths expected;
      if (size == firstEnd || size == secondEnd || size == whole.size()) {
        expected = {"/a", "/b", "/c"};
        expected.resize(size == firstEnd ? 1 : size == secondEnd ? 2 : 3);
      }
      Write(whole.substr(0, size));
      ContainerInfoList list(File());
      EXPECT_EQ(expected, PathsIn(list)) << size;
      ExpectUntouched();
    }
    return true;
  }));
}

TEST_F(ContainerInfoListDamage, RepairedFileLoads) {
  std::string const good = CatalogueFile(1, {"/a", "/b"});
  for (std::string const& bad : {good.substr(0, good.size() - 1), good.substr(0, 5),
                                 RecordFile(0, 1, "", {ContainerBytes("/a"), "x"})}) {
    Write(bad);
    ContainerInfoList list(File());
    ASSERT_TRUE(RecordsOf(list).empty());
    Write(good);
    list.Load(nullptr);
    EXPECT_EQ((Paths{"/a", "/b"}), PathsIn(list));
  }
}

TEST_F(ContainerInfoListDamage, WalkAfterADamagedLoadIsEmpty) {
  Write(CatalogueFile(1, {"/a"}));
  ContainerInfoList list(File());
  list.GetFirst();
  Write("damaged");
  list.Load(nullptr);
  EXPECT_EQ(nullptr, list.GetFirst());
  EXPECT_EQ(nullptr, list.GetNext());
}

// As an ordinary user.
TEST_F(ContainerInfoListDamage, UnreadableFileLeavesTheListEmpty) {
  Write(CatalogueFile(1, {"/a"}));
  ASSERT_EQ(0, ::chmod(m_folder.Path().c_str(), 0755));
  ASSERT_EQ(0, ::chmod(File(), 0));
  EXPECT_TRUE(AsOrdinaryUser([&] {
    int const before = CountDescriptors();
    ContainerInfoList list;
    RecordsOf(list).push_back(Record("/old"));
    list.Load(File());
    EXPECT_TRUE(RecordsOf(list).empty());
    EXPECT_EQ(before, CountDescriptors());
    EXPECT_TRUE(IsLockFree(list));
  }));
  ASSERT_EQ(0, ::chmod(File(), 0600));
  ExpectUntouched();
}

}  // namespace
