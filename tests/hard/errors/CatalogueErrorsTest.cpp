// Every operation of a catalogue under every fault of its file. Neither load nor save reports one;
// what they leave is stated here.

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/hard/errors/Faults.h"
#include "tests/hard/errors/Outcomes.h"
#include "tests/support/Containers.h"

namespace {

// Containers that are there, whatever happens to the catalogue's file.
class Keys {
 public:
  Keys() {
    for (std::string const& path : {First, Second, Other}) {
      WriteFile(path, "");
    }
  }

 private:
  TempFolder m_folder;

 public:
  std::string const First = m_folder / "first";
  std::string const Second = m_folder / "second";
  std::string const Other = m_folder / "other";
};

std::string FileOf(Keys const& keys) { return AlmostOnePage({keys.First, keys.Second}); }

// What became of the list: how many records it has.
std::string CountOf(ContainerInfoList& list) {
  return std::to_string(list.GetSyncList()->Records.size());
}

class ListSubject {
 public:
  ListSubject(Place const& place, Keys const& keys) : Own(keys), List(place.Path.c_str()) {}

  // The file is healthy again.
  void ExpectUsable(Place const& place) {
    List.Load(place.File.c_str());
    EXPECT_EQ((std::list<std::string>{Own.First, Own.Second}), PathsIn(List));
    List.Add(Own.Other.c_str());
    EXPECT_EQ((std::list<std::string>{Own.First, Own.Second, Own.Other}), PathsInFile(place.File));
  }

  Keys const& Own;
  ContainerInfoList List;
};

using ListOperation = OperationOn<ListSubject>;

std::vector<ListOperation> ListOperations() {
  auto counted = [](std::string const& name, auto run) {
    return ListOperation{name, [run](ListSubject& subject, Place const&) {
                           run(subject.List, subject.Own);
                           return CountOf(subject.List);
                         }};
  };
  auto walk = [](ListSubject& subject, Place const&) {
    int count = 0;
    char const* last = nullptr;
    for (char const* path = subject.List.GetFirst(); path != nullptr;
         path = subject.List.GetNext()) {
      last = path;
      ++count;
    }
    EXPECT_EQ(last == nullptr ? "" : subject.Own.Second, last == nullptr ? "" : last);
    EXPECT_EQ(last, subject.List.GetPrevious());
    return std::to_string(count);
  };
  auto find = [](ListSubject& subject, Place const&) {
    bool const isFound = subject.List.FindRecord(subject.Own.Second.c_str(), true) != nullptr;
    return std::string(isFound ? "found" : "none");
  };
  auto construct = [](ListSubject&, Place const& place) {
    ContainerInfoList made(place.Path.c_str());
    return CountOf(made);
  };
  auto assign = [](ListSubject& subject, Place const& place) {
    ContainerInfoList target;
    target.GetSyncList()->Records.resize(1);
    target = subject.List;
    ContainerInfoList other(place.Path.c_str());
    subject.List = other;
    return CountOf(target) + "," + CountOf(subject.List);
  };
  return {
      {"new", construct},
      counted("Load", [](auto& list, Keys const&) { list.Load(nullptr); }),
      counted("Save", [](auto& list, Keys const&) { list.Save(true); }),
      counted("Add", [](auto& list, Keys const& keys) { list.Add(keys.Other.c_str()); }),
      counted("Erase", [](auto& list, Keys const& keys) { list.Erase(keys.First.c_str()); }),
      {"FindRecord", find},
      {"walk", walk},
      {"assignment", assign},
  };
}

using Lines = std::vector<std::string>;

// The records stay as the merge left them, and the file as it was.
Lines NotWritable() {
  return {"2=: new Load Save walk", "3=: Add", "1=: Erase", "found=: FindRecord",
          "1,2=: assignment"};
}

Lines NotInTheWay() {
  return {"2=: new Load Save walk", "3+: Add", "1+: Erase", "found=: FindRecord",
          "1,2=: assignment"};
}

// Without the lock the file is not read, so nothing is merged and nothing written.
Lines WithoutLock() {
  return {"0=: new Load", "2=: Save Erase walk", "3=: Add", "found=: FindRecord",
          "1,2=: assignment"};
}

// A file that cannot be read holds none of the records, so a save drops all but added ones.
Lines NotReadable() {
  return {"0=: new Load Save Erase", "1=: Add", "found=: FindRecord", "2=: walk",
          "1,2=: assignment"};
}

Lines Missing() {
  return {"0=: new Load",       "0*: Save Erase", "1*: Add",
          "found=: FindRecord", "2=: walk",       "1,2=: assignment"};
}

// Lists that never met the file.
Lines NamedWrongly() {
  return {"0=: new Load Save Erase walk", "1=: Add", "none=: FindRecord", "1,0=: assignment"};
}

std::map<std::string, Lines> const& ExpectedOutcomes() {
  static std::map<std::string, Lines> const expected{
      {"full disk",
       {"2=: new Load Save walk", "3<: Add", "1+: Erase", "found=: FindRecord",
        "1,2=: assignment"}},
      {"file size limit",
       {"2=: new Load walk", "2<: Save", "3<: Add", "1<: Erase", "found=: FindRecord",
        "1,2=: assignment"}},
      {"read-only mount", NotWritable()},
      {"no descriptor left", WithoutLock()},
      {"one descriptor left", WithoutLock()},
      {"two descriptors left", NotInTheWay()},
      {"file that may not be read", NotReadable()},
      {"file that may not be written", NotWritable()},
      {"file that may not be used", NotReadable()},
      {"folder that may not be searched", NotReadable()},
      {"folder that may not be written", NotInTheWay()},
      {"folder that may not be used", NotReadable()},
      {"file removed", Missing()},
      {"folder in the file's place",
       {"!EISDIR=: new assignment", "0=: Load", "2=: Save Erase walk", "3=: Add",
        "found=: FindRecord"}},
      {"FIFO in the file's place", NotReadable()},
      {"socket in the file's place", NotReadable()},
      {"link to dev full", NotReadable()},
      {"link to dev null", NotReadable()},
      {"link to dev zero", NotReadable()},
      {"link to itself", NotReadable()},
      {"link to nothing", Missing()},
      {"link into no folder", NotReadable()},
      {"folder removed", NotReadable()},
      {"file in the folder's place", NotReadable()},
      {"folder linked to itself", NotReadable()},
      {"name of 300 bytes", NamedWrongly()},
      {"path of more than 4096 bytes", NamedWrongly()}};
  return expected;
}

class CatalogueErrors : public testing::TestWithParam<Fault> {};

TEST_P(CatalogueErrors, AreQuietAndLeaveNothing) {
  Fault const& fault = GetParam();
  if (!ObstacleOf(fault).empty()) {
    GTEST_SKIP() << ObstacleOf(fault);
  }
  bool const endedWell = RunUnder(fault, [&] {
    Keys const keys;
    auto make = [&](Place const& place) { return std::make_unique<ListSubject>(place, keys); };
    EXPECT_EQ(ExpectedOutcomes().at(fault.name),
              OutcomesOf<ListSubject>(fault, FileOf(keys), make, ListOperations()));
  });
  EXPECT_TRUE(endedWell);
}

INSTANTIATE_TEST_SUITE_P(EveryFault, CatalogueErrors, testing::ValuesIn(Faults()),
                         [](auto const& fault) { return TestNameOf(fault.param); });

// What a full disk leaves of a save, and the way out of it.
TEST(CatalogueOnAFullDisk, CutsTheFileAndKeepsTheRecordsUntilTheNextSave) {
  Fault const& full = Faults().front();
  if (!ObstacleOf(full).empty()) {
    GTEST_SKIP() << ObstacleOf(full);
  }
  bool const endedWell = RunUnder(full, [&] {
    Keys const keys;
    std::list<std::string> const all{keys.First, keys.Second, keys.Other};
    Place place(FileOf(keys));
    full.prepare(place);
    place.Restore();
    ContainerInfoList list(place.Path.c_str());
    {
      Afflicted const afflicted(full, place);
      list.Add(keys.Other.c_str());
      EXPECT_EQ(all, PathsIn(list));
      // The file ends inside the new record, so nobody reads any of it.
      EXPECT_EQ(place.Content(), ReadFile(place.File).substr(0, place.Content().size()));
      EXPECT_EQ(full.room, ReadFile(place.File).size());
      EXPECT_EQ("0", [&] {
        ContainerInfoList other(place.Path.c_str());
        return CountOf(other);
      }());
    }
    // There is room again. What was read from the file counts as added from now on.
    for (ContainerInfo& record : list.GetSyncList()->Records) {
      record.State = ContainerInfo::StateAdded;
    }
    list.Save(true);
    EXPECT_EQ(all, PathsIn(list));
    EXPECT_EQ(all, PathsInFile(place.File));
  });
  EXPECT_TRUE(endedWell);
}

// Without that the damaged file decides, which holds nothing that can be read.
TEST(CatalogueOnAFullDisk, DropsWhatTheCutFileDoesNotHoldAtTheNextSave) {
  Fault const& full = Faults().front();
  if (!ObstacleOf(full).empty()) {
    GTEST_SKIP() << ObstacleOf(full);
  }
  bool const endedWell = RunUnder(full, [&] {
    Keys const keys;
    Place place(FileOf(keys));
    full.prepare(place);
    place.Restore();
    ContainerInfoList list(place.Path.c_str());
    {
      Afflicted const afflicted(full, place);
      list.Add(keys.Other.c_str());
    }
    list.Save(true);
    EXPECT_EQ("0", CountOf(list));
    EXPECT_EQ(std::list<std::string>(), PathsInFile(place.File));
  });
  EXPECT_TRUE(endedWell);
}

}  // namespace
