// An edit under every fault of its file: the file is the old one or the new one, and what hinders
// is told when the edit begins or when it is committed.

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoEdit.h"
#include "tests/hard/errors/Faults.h"
#include "tests/hard/errors/Outcomes.h"
#include "tests/support/Containers.h"

namespace {

// Containers that are there, whatever happens to the catalogue's file.
struct EditKeys {
  EditKeys() {
    WriteFile(Kept, "");
    WriteFile(Added, "");
  }

  TempFolder const Folder;
  std::string const Kept = Folder / "kept";
  std::string const Added = Folder / "added";
};

class EditSubject {
 public:
  EditSubject(Place const& place, EditKeys const& keys) : Keys(keys), List(place.Path.c_str()) {}

  // The file is healthy again.
  void ExpectUsable(Place const& place) {
    List.Load(place.File.c_str());
    Commit();
    EXPECT_EQ((std::list<std::string>{Keys.Kept, Keys.Added}), PathsIn(List));
    EXPECT_EQ((std::list<std::string>{Keys.Kept, Keys.Added}), PathsInFile(place.File));
  }

  void Commit() {
    ContainerInfoEdit edit(List);
    edit.Add(Keys.Added.c_str());
    edit.Commit();
  }

  EditKeys const& Keys;
  ContainerInfoList List;
};

std::vector<OperationOn<EditSubject>> EditOperations() {
  return {{"begin",
           [](EditSubject& subject, Place const&) {
             ContainerInfoEdit const edit(subject.List);
             return std::string("begun");
           }},
          {"commit", [](EditSubject& subject, Place const&) {
             subject.Commit();
             return std::string("done");
           }}};
}

std::map<std::string, std::vector<std::string>> const& ExpectedOutcomes() {
  static std::map<std::string, std::vector<std::string>> const expected{};
  return expected;
}

class EditErrors : public testing::TestWithParam<Fault> {};

TEST_P(EditErrors, AreToldAndLeaveTheOldFileOrTheNewOne) {
  Fault const& fault = GetParam();
  if (!ObstacleOf(fault).empty()) {
    GTEST_SKIP() << ObstacleOf(fault);
  }
  bool const endedWell = RunUnder(fault, [&] {
    EditKeys const keys;
    auto make = [&](Place const& place) { return std::make_unique<EditSubject>(place, keys); };
    EXPECT_EQ(ExpectedOutcomes().at(fault.name),
              OutcomesOf<EditSubject>(fault, AlmostOnePage({keys.Kept}), make, EditOperations()));
  });
  EXPECT_TRUE(endedWell);
}

INSTANTIATE_TEST_SUITE_P(EveryFault, EditErrors, testing::ValuesIn(Faults()),
                         [](auto const& fault) { return TestNameOf(fault.param); });

}  // namespace
