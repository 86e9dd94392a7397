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
  static std::map<std::string, std::vector<std::string>> const expected{
      {"full disk", {"begun=: begin", "!28=: commit"}},
      {"read-only mount", {"!EROFS=: begin commit"}},
      {"file size limit", {"begun=: begin", "!EFBIG=: commit"}},
      {"no descriptor left", {"!EMFILE=: begin commit"}},
      {"one descriptor left", {"!EMFILE=: begin commit"}},
      {"two descriptors left", {"begun=: begin", "!EMFILE=: commit"}},
      {"file that may not be read", {"!EACCES=: begin commit"}},
      {"file that may not be written", {"!EACCES=: begin commit"}},
      {"file that may not be used", {"!EACCES=: begin commit"}},
      {"folder that may not be searched", {"!EACCES=: begin commit"}},
      {"folder that may not be written", {"begun=: begin", "!EACCES=: commit"}},
      {"folder that may not be used", {"!EACCES=: begin commit"}},
      {"file removed", {"begun*: begin", "done*: commit"}},
      {"folder in the file's place", {"!EISDIR=: begin commit"}},
      {"FIFO in the file's place", {"!ESPIPE=: begin commit"}},
      {"socket in the file's place", {"!ENXIO=: begin commit"}},
      {"link to dev full", {"!22=: begin commit"}},
      {"link to dev null", {"!22=: begin commit"}},
      {"link to dev zero", {"!22=: begin commit"}},
      {"link to itself", {"!ELOOP=: begin commit"}},
      {"link to nothing", {"!ENOENT=: begin commit"}},
      {"link into no folder", {"!ENOENT=: begin commit"}},
      {"folder removed", {"!ENOENT=: begin commit"}},
      {"file in the folder's place", {"!ENOTDIR=: begin commit"}},
      {"folder linked to itself", {"!ELOOP=: begin commit"}},
      {"name of 300 bytes", {"!ENAMETOOLONG=: begin commit"}},
      {"path of more than 4096 bytes", {"!ENAMETOOLONG=: begin commit"}}};
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
