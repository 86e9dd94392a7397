// What a repair tells of records one by one, also of more than were announced.

#include "catalogue/RecordRepair.h"

#include <list>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace {

using Verdict = RecordRepair::Verdict;

ContainerInfo RecordOf(std::string const& path) {
  ContainerInfo record;
  record.Path = path.c_str();
  return record;
}

TEST(RecordRepair, FindsEachDoubleAmongMoreRecordsThanWereAnnounced) {
  TempFolder const folder;
  RecordRepair repair(0);
  std::list<ContainerInfo> records;
  std::string path = folder.Path();
  for (int number = 0; number < 300; ++number) {
    path += '/';  // Another text for the same folder.
    records.push_back(RecordOf(path));
    ASSERT_EQ(Verdict::Keep, repair.Judge(records.back())) << number;
  }
  for (ContainerInfo const& record : records) {
    EXPECT_EQ(Verdict::Remove, repair.Judge(record));
  }
  ContainerInfo const another = RecordOf(path + "/");
  EXPECT_EQ(Verdict::Keep, repair.Judge(another));
}

TEST(RecordRepair, CaseTellsPathsApart) {
  RecordRepair repair(2);
  ContainerInfo const small = RecordOf("/gone/key");
  ContainerInfo const capital = RecordOf("/gone/KEY");
  EXPECT_EQ(Verdict::Mark, repair.Judge(small));
  EXPECT_EQ(Verdict::Mark, repair.Judge(capital));
  EXPECT_EQ(Verdict::Remove, repair.Judge(small));
}

}  // namespace
