// The machine-wide catalogue under every fault of its file, and its creation from a provider's file
// that is none.

#include <sys/resource.h>

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/CommonContInfoFileCreater.h"
#include "common/CommonContInfoList.h"
#include "tests/common/FolderOfTest.h"
#include "tests/common/ProviderAndKey.h"
#include "tests/hard/errors/Faults.h"
#include "tests/hard/errors/Outcomes.h"
#include "tests/support/Containers.h"
#include "tests/support/PrivateRoot.h"

namespace {

// Where the common folder is said to be, and a container that is there.
struct World {
  World() { WriteFile(Key, ""); }

  FolderOfTest Folder;
  std::string const Key = Folder.Path() + "/key";
  std::string const Other = Folder.Path();  // A folder is a container too.
};

class FacadeSubject {
 public:
  FacadeSubject(Place const& place, World& world) : Own(world) {
    Own.Folder.Answer = place.Answer;
    Facade = std::make_unique<CommonContInfoList>();
  }

  void ExpectUsable(Place const& place) {
    Own.Folder.Answer = place.Answer;
    CommonContInfoFileCreater().CreateIfShould();
    Facade->Load();
    EXPECT_FALSE(Facade->bIsChange());
    Facade->Add(Own.Other.c_str());
    EXPECT_TRUE(Facade->bIsChange());
    EXPECT_EQ((std::list<std::string>{Own.Key, Own.Other}), PathsInFile(place.File));
  }

  World& Own;
  std::unique_ptr<CommonContInfoList> Facade;
};

using FacadeOperation = OperationOn<FacadeSubject>;

std::string CountOf(CommonContInfoList& facade) {
  return std::to_string(facade.GetSyncList()->Records.size());
}

std::vector<FacadeOperation> FacadeOperations() {
  auto counted = [](std::string const& name, auto run) {
    return FacadeOperation{name, [run](FacadeSubject& subject, Place const&) {
                             run(*subject.Facade, subject.Own);
                             return CountOf(*subject.Facade);
                           }};
  };
  auto create = [](FacadeSubject&, Place const&) {
    CommonContInfoFileCreater().CreateIfShould();
    return std::string("ok");
  };
  auto construct = [](FacadeSubject&, Place const&) {
    CommonContInfoList made;
    return CountOf(made);
  };
  auto isChange = [](FacadeSubject& subject, Place const&) {
    return std::string(subject.Facade->bIsChange() ? "yes" : "no");
  };
  auto find = [](FacadeSubject& subject, Place const&) {
    bool const isFound = subject.Facade->FindRecord(subject.Own.Key.c_str(), true) != nullptr;
    return std::string(isFound ? "found" : "none");
  };
  return {
      {"CreateIfShould", create},
      {"new", construct},
      {"bIsChange", isChange},
      {"FindRecord", find},
      counted("Load", [](auto& facade, World&) { facade.Load(); }),
      counted("Save", [](auto& facade, World&) { facade.Save(true); }),
      counted("Add", [](auto& facade, World& world) { facade.Add(world.Other.c_str()); }),
      counted("Erase", [](auto& facade, World& world) { facade.Erase(world.Key.c_str()); }),
  };
}

using Lines = std::vector<std::string>;

Lines NotWritable() {
  return {"ok=: CreateIfShould", "1=: new Load Save", "yes=: bIsChange",
          "found=: FindRecord",  "2=: Add",           "0=: Erase"};
}

Lines NotInTheWay() {
  return {"ok=: CreateIfShould", "1=: new Load Save", "yes=: bIsChange",
          "found=: FindRecord",  "2+: Add",           "0+: Erase"};
}

// Creation asks for no lock over the file.
Lines WithoutLock() {
  return {"ok=: CreateIfShould", "0=: new Load",   "yes=: bIsChange",
          "found=: FindRecord",  "1=: Save Erase", "2=: Add"};
}

// Something is there, so nothing is made; it holds no record.
Lines NotReadable() {
  return {"ok=: CreateIfShould", "0=: new Load Save Erase", "yes=: bIsChange", "found=: FindRecord",
          "1=: Add"};
}

// Nothing is there, and nothing can be made.
Lines Nowhere(std::string const& error) {
  return {"!" + error + "=: CreateIfShould new", "no=: bIsChange", "found=: FindRecord",
          "0=: Load Save Erase", "1=: Add"};
}

Lines Missing() {
  return {"ok*: CreateIfShould",
          "0*: new Save",
          "no=: bIsChange",
          "found=: FindRecord",
          "0=: Load",
          "1*: Add",
          "0+: Erase"};
}

Lines NamedWrongly() {
  return {"!ENAMETOOLONG=: CreateIfShould new bIsChange FindRecord Load Save Add Erase"};
}

std::map<std::string, Lines> const& ExpectedOutcomes() {
  static std::map<std::string, Lines> const expected{
      {"full disk",
       {"ok=: CreateIfShould", "1=: new Load Save", "yes=: bIsChange", "found=: FindRecord",
        "2<: Add", "0+: Erase"}},
      {"file size limit",
       {"ok=: CreateIfShould", "1=: new Load", "yes=: bIsChange", "found=: FindRecord", "1<: Save",
        "2<: Add", "0+: Erase"}},
      {"read-only mount", NotWritable()},
      {"no descriptor left", WithoutLock()},
      {"one descriptor left", WithoutLock()},
      {"two descriptors left", NotInTheWay()},
      {"file that may not be read", NotReadable()},
      {"file that may not be written", NotWritable()},
      {"file that may not be used", NotReadable()},
      {"folder that may not be searched", Nowhere("EACCES")},
      {"folder that may not be written", NotInTheWay()},
      {"folder that may not be used", Nowhere("EACCES")},
      {"file removed", Missing()},
      {"folder in the file's place",
       {"ok=: CreateIfShould", "!EISDIR=: new", "yes=: bIsChange", "found=: FindRecord", "0=: Load",
        "1=: Save Erase", "2=: Add"}},
      {"FIFO in the file's place", NotReadable()},
      {"socket in the file's place", NotReadable()},
      {"link to dev full", NotReadable()},
      {"link to dev null", NotReadable()},
      {"link to dev zero", NotReadable()},
      {"link to itself", Nowhere("ELOOP")},
      {"link to nothing", Missing()},
      {"link into no folder", Nowhere("ENOENT")},
      // Only creation makes the folder.
      {"folder removed",
       {"ok*: CreateIfShould", "0*: new", "no=: bIsChange", "found=: FindRecord",
        "0=: Load Save Erase", "1=: Add"}},
      {"file in the folder's place", Nowhere("ENOTDIR")},
      {"folder linked to itself", Nowhere("ELOOP")},
      {"name of 300 bytes", NamedWrongly()},
      {"path of more than 4096 bytes", NamedWrongly()}};
  return expected;
}

class CommonErrors : public testing::TestWithParam<Fault> {};

TEST_P(CommonErrors, AreStatedAndLeaveNothing) {
  Fault const& fault = GetParam();
  if (!ObstacleOf(fault).empty()) {
    GTEST_SKIP() << ObstacleOf(fault);
  }
  bool const endedWell = RunUnder(fault, [&] {
    World world;
    auto make = [&](Place const& place) { return std::make_unique<FacadeSubject>(place, world); };
    EXPECT_EQ(
        ExpectedOutcomes().at(fault.name),
        OutcomesOf<FacadeSubject>(fault, AlmostOnePage({world.Key}), make, FacadeOperations()));
  });
  EXPECT_TRUE(endedWell);
}

INSTANTIATE_TEST_SUITE_P(EveryFault, CommonErrors, testing::ValuesIn(Faults()),
                         [](auto const& fault) { return TestNameOf(fault.param); });

// The provider's file is to be copied. One that cannot be leaves an empty catalogue, and one
// without an end is not copied until the disk is full: the limit would end the process.
TEST(CommonCreation, CopiesNothingThatIsNoFile) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  for (Fault const& fault : Faults()) {
    bool const isOfTheFile =
        fault.name.find("file's place") != std::string::npos || fault.name.find("link ") == 0;
    if (!isOfTheFile) {
      continue;
    }
    SCOPED_TRACE(fault.name);
    EXPECT_TRUE(PrivateRoot::Run([&] {
      MakeProviderFile("");
      Place place("what the provider kept");
      place.Restore();
      std::filesystem::remove(kProviderFile);
      std::filesystem::create_symlink(place.File, kProviderFile);
      FolderOfTest folder;
      int const descriptors = CountDescriptors();
      struct rlimit const limit{1 << 20, 1 << 20};
      ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
      Afflicted const afflicted(fault, place);
      CommonContInfoFileCreater().CreateIfShould();
      EXPECT_EQ(0, StatOf(folder.CommonFile()).st_size);
      EXPECT_EQ((std::set<std::string>{folder.VendorFolder(), folder.CommonFile()}),
                AllIn(folder.Path()));
      EXPECT_EQ(descriptors, CountDescriptors());
    }));
  }
}

}  // namespace
