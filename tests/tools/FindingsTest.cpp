// What is said to be wrong with a file.

#include "tools/Findings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace {

using inspect::Finding;
using inspect::Level;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<Finding> FindIn(std::string const& file, bool asksForContainers = true) {
  std::vector<Finding> findings;
  FindAll(
      inspect::ParseFile(file), asksForContainers,
      [&findings](Finding const& finding) { findings.push_back(finding); }, [](std::size_t) {});
  return findings;
}

// The kinds alone.
std::vector<std::string> KindsIn(std::string const& file) {
  std::vector<std::string> kinds;
  for (Finding const& finding : FindIn(file)) {
    kinds.emplace_back(finding.kind);
  }
  return kinds;
}

std::string Catalogue(std::list<std::string> const& records) {
  return RecordFile(0, 1, "", records);
}

TEST(Findings, SoundFileHasNone) {
  EXPECT_THAT(KindsIn(Catalogue({ContainerBytes("/"), ContainerBytes("/proc/self")})), IsEmpty());
}

TEST(Findings, DamagedHeadsAreFound) {
  EXPECT_THAT(KindsIn("abc"), ElementsAre("header-words"));
  EXPECT_THAT(KindsIn(Word(0) + Word(1) + Word(5) + "abc"), ElementsAre("header"));
}

TEST(Findings, DamagedEndsAreFound) {
  EXPECT_THAT(KindsIn(Catalogue({}) + "ab"), ElementsAre("trailing-bytes"));
  EXPECT_THAT(KindsIn(Catalogue({}) + Word(9) + "abc"), ElementsAre("record-past-end"));
}

TEST(Findings, RecordThatIsNoContainerIsFound) {
  EXPECT_THAT(KindsIn(Catalogue({"abc", ContainerBytes("/")})), ElementsAre("no-container"));
}

TEST(Findings, WhatTheNextSaveDropsIsFound) {
  TempFolder const folder;
  WriteFile(folder / "a.LCK", "");
  std::string const word = ContainerBytes(folder / "a.LCK");
  std::string const gone = ContainerBytes(folder / "gone");
  EXPECT_THAT(KindsIn(Catalogue({ContainerBytes("")})), ElementsAre("empty-path"));
  EXPECT_THAT(KindsIn(Catalogue({gone})), ElementsAre("stale-path"));
  EXPECT_THAT(KindsIn(Catalogue({word})), ElementsAre("reserved-word"));
  EXPECT_THAT(KindsIn(Catalogue({ContainerBytes("/"), ContainerBytes("/")})),
              ElementsAre("duplicate-path"));
  EXPECT_EQ(Level::Loss, FindIn(Catalogue({gone}))[0].level);
}

TEST(Findings, OfAnotherMachinesFileContainersAreNotAskedFor) {
  std::string const file = Catalogue({ContainerBytes("/gone"), ContainerBytes("/gone"),
                                      ContainerBytes("/gone/CUR_PERS"), ContainerBytes("")});
  std::vector<std::string> kinds;
  for (Finding const& finding : FindIn(file, false)) {
    kinds.emplace_back(finding.kind);
  }
  EXPECT_THAT(kinds, ElementsAre("duplicate-path", "reserved-word", "empty-path"));
}

// The words are a save's; with and without asking they are the same.
TEST(Findings, ReservedWordsAreThoseThatASaveKnows) {
  TempFolder const folder;
  for (std::string const name :
       {"cur_pers", "CUR_PERS2", "usrguard", "x.LCK.y", "cur-pers", "lck"}) {
    WriteFile(folder / name, "");
    std::string const file = Catalogue({ContainerBytes(folder / name)});
    EXPECT_EQ(FindIn(file).size(), FindIn(file, false).size()) << name;
  }
}

TEST(Findings, BytesThatTheNextSaveLeavesOutAreFound) {
  EXPECT_THAT(KindsIn(Catalogue({ContainerBytes("/") + "tail"})), ElementsAre("record-tail"));
  EXPECT_THAT(KindsIn(Catalogue({ContainerBytes(std::string("/\0x", 3))})),
              ElementsAre("zero-in-path"));
  std::string const subRecord = Item(Item("ident") + Word(1) + Word(2) + "tail");
  std::string blob = ContainerBytes("/");
  blob.replace(blob.size() - 4, 4, Word(1) + subRecord);
  EXPECT_THAT(KindsIn(Catalogue({blob})), ElementsAre("sub-record-tail"));
}

TEST(Findings, HintsAreNoLoss) {
  std::string blob = ContainerBytes("/");
  blob.replace(blob.size() - 4, 4, Word(1) + Word(0));
  EXPECT_THAT(KindsIn(Catalogue({blob})), ElementsAre("empty-sub-record"));
  EXPECT_THAT(KindsIn(Catalogue({ContainerBytes("/proc//self")})), ElementsAre("not-normalised"));
  EXPECT_THAT(KindsIn(RecordFile(0, 0, "", {})), ElementsAre("never-cleaned"));
  EXPECT_THAT(KindsIn(""), ElementsAre("empty-file"));
  EXPECT_EQ(Level::Hint, FindIn("")[0].level);
}

TEST(Findings, EachTellsItsRecordAndItsPlace) {
  std::string const first = ContainerBytes("/");
  std::vector<Finding> const findings = FindIn(Catalogue({first, "abc"}) + "x");
  ASSERT_EQ(2U, findings.size());
  EXPECT_EQ(1U, findings[0].record);
  EXPECT_EQ(12 + 4 + first.size(), findings[0].offset);
  EXPECT_EQ(2U, findings[1].record);
  EXPECT_EQ(12 + 4 + first.size() + 4 + 3, findings[1].offset);
}

}  // namespace
