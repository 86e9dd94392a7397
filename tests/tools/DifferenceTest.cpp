// What distinguishes two files.

#include "tools/Difference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/tools/Samples.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> LinesOf(std::string const& before, std::string const& after) {
  inspect::RecordFile const first = inspect::ParseFile(before);
  inspect::RecordFile const second = inspect::ParseFile(after);
  return Describe(Compare(first, second));
}

TEST(Difference, SameFilesHaveNone) {
  for (std::string const& file : WholeFiles()) {
    EXPECT_THAT(LinesOf(file, file), IsEmpty());
  }
}

TEST(Difference, RecordsComeAndGo) {
  std::string const a = RecordFile({ContainerBytes("/a"), ContainerBytes("/b")});
  std::string const b = RecordFile({ContainerBytes("/b"), ContainerBytes("/c")});
  EXPECT_THAT(LinesOf(a, b), ElementsAre("- /a", "+ /c"));
}

TEST(Difference, ChangedPartsAreNamed) {
  std::string const a = RecordFile({ContainerBytes("/a", "x", "y", 1, {{"s", 1, 2}})});
  std::string const b = RecordFile({ContainerBytes("/a", "xy", "y", 2)});
  EXPECT_THAT(LinesOf(a, b), ElementsAre("~ /a: param 1 -> 2, ident 1 1 byte 78 -> 2 bytes 7879, "
                                         "sub-records 1 -> 0"));
}

TEST(Difference, HeadsAreCompared) {
  EXPECT_THAT(LinesOf(RecordFile(1, 0, "", {}), RecordFile(2, 1, "h", {})),
              ElementsAre("~ first reserved word 1 -> 2", "~ cleaned mark 0 -> 1",
                          "~ header 0 bytes  -> 1 byte 68"));
}

TEST(Difference, OrderIsToldOfRecordsThatBothHave) {
  std::string const a = RecordFile({ContainerBytes("/a"), ContainerBytes("/b")});
  std::string const b = RecordFile({ContainerBytes("/b"), ContainerBytes("/a")});
  EXPECT_THAT(LinesOf(a, b), ElementsAre("~ records that both have stand in another order"));
}

TEST(Difference, OfSeveralRecordsWithOnePathEachHasItsPartner) {
  std::string const a = RecordFile({ContainerBytes("/a"), ContainerBytes("/a")});
  std::string const b = RecordFile({ContainerBytes("/a")});
  EXPECT_THAT(LinesOf(a, b), ElementsAre("- /a"));
}

TEST(Difference, WhatStandsBehindTheLastRecordIsCompared) {
  std::string const file = RecordFile({ContainerBytes("/a")});
  EXPECT_THAT(LinesOf(file, file + "x"),
              ElementsAre("~ behind the last whole record: 0 bytes -> 1 byte"));
}

TEST(Difference, OfEveryTwoDifferentFilesSomethingIsSaid) {
  std::string const file = SampleCatalogue();
  for (std::size_t bit = 0; bit < 8 * file.size(); ++bit) {
    std::string wrong = file;
    wrong[bit / 8] = static_cast<char>(wrong[bit / 8] ^ (1 << bit % 8));
    EXPECT_FALSE(LinesOf(file, wrong).empty()) << bit;
  }
}

}  // namespace
