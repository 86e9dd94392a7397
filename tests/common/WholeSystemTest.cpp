// What holds for the system as a whole: what it leaves behind and what it throws.

#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "common/CommonContInfoFileCreater.h"
#include "foundation/XTOOStatus.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/ProviderAndKey.h"
#include "tests/common/SystemCalls.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/TempFolder.h"

namespace {

using Names = std::vector<std::string>;

// Makes the call; what it throws by itself is of no interest here.
void Make(SystemCall const& call, World& world) {
  try {
    call.run(world);
  } catch (XTOOStatus const&) {
    return;
  }
}

long CountEntries(std::string const& folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

long CountLines(std::string const& file) {
  std::ifstream lines(file);
  return std::count(std::istreambuf_iterator<char>(lines), {}, '\n');
}

// What is left behind.

TEST(WholeSystem, NoDescriptorStaysOpenBetweenCalls) {
  for (SystemCall const& call : SystemCalls()) {
    auto const world = WorldFor(call);
    int const descriptors = CountDescriptors();
    Make(call, *world);
    EXPECT_EQ(descriptors, CountDescriptors()) << call.name;
  }
}

// A record store has a lock from its construction on; the ones that live longer than a call would
// show by theirs.
TEST(WholeSystem, CatalogueKeepsNoRecordStoreBetweenCalls) {
  long made = 0;
  for (SystemCall const& call : SystemCalls()) {
    auto const world = WorldFor(call);
    std::set<void*> locks;
    CommonSeams seams;
    seams.After = [&](Seams::Call const& each) {
      if (each.name == "FileLock") {
        ++made;
        EXPECT_TRUE(locks.insert(each.object).second);
      } else if (each.name == "~FileLock") {
        locks.erase(each.object);
      }
    };
    Make(call, *world);
    // These two give the record store, which stays, a new lock.
    EXPECT_TRUE(locks.empty() || call.name == "Reload" || call.name == "PreInit") << call.name;
  }
  EXPECT_LT(10, made);
}

TEST(WholeSystem, DestroyedCatalogueSavesNothing) {
  TempFolder const folder;
  std::string const file = folder / "catalogue";
  std::string const content = CatalogueFile(1, {folder.Path()});
  WriteFile(file, content);
  timespec written{};
  {
    ContainerInfoList list(file.c_str());
    list.GetSyncList()->Records.front().State = ContainerInfo::StateRemoved;
    list.GetSyncList()->Records.push_back(Record(file, ContainerInfo::StateAdded));
    list.GetFirst();
    written = AgeFile(file);
  }
  EXPECT_EQ(content, ReadFile(file));
  EXPECT_TRUE(StatOf(file).st_mtim == written);
  { ContainerInfoList const list((folder / "missing").c_str()); }
  EXPECT_EQ(Names{"catalogue"}, folder.Names());
}

TEST(WholeSystem, StartsNoThreadTimerOrQueue) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([] {
    long const threads = CountEntries("/proc/self/task");
    for (SystemCall const& call : SystemCalls()) {
      auto const world = WorldFor(call);
      CommonSeams seams;
      auto const look = [&](Seams::Call const& each) {
        if (!IsAboutText(each)) {
          EXPECT_EQ(threads, CountEntries("/proc/self/task")) << call.name;
        }
      };
      seams.Before = look;
      seams.After = look;
      Make(call, *world);
      EXPECT_EQ(threads, CountEntries("/proc/self/task")) << call.name;
    }
    if (IsThere("/proc/self/timers")) {
      EXPECT_EQ("", ReadFile("/proc/self/timers"));
    }
    for (__itimer_which_t const clock : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF}) {
      itimerval timer{};
      ::getitimer(clock, &timer);
      EXPECT_EQ(0, timer.it_value.tv_sec + timer.it_value.tv_usec);
    }
    EXPECT_EQ(1, CountLines("/proc/sysvipc/msg"));  // The heading.
  }));
}

// What is thrown.

struct FlagReader : XTOOStatus {
  static bool FlagOf(XTOOStatus const& status) { return status.*&FlagReader::Flag; }
};

struct Throw {
  std::string name;
  int code;
  std::type_info const& type;
  std::function<void(World&)> call;
};

std::vector<Throw> Throws() {
  std::type_info const& status = typeid(XTOOStatus);
  std::type_info const& ofFile = typeid(XTOOFile);
  unsigned char const byte = 1;
  return {
      {"SubContInfo::ReadData", 37, status, [byte](World&) { SubContInfo().ReadData(&byte, 1); }},
      {"ContainerInfo::ReadData", 37, status,
       [byte](World&) { ContainerInfo().ReadData(&byte, 1); }},
      {"Save", 28, status, [](World&) { ContainerInfoList().Save(true); }},
      {"Save", 28, status, [](World&) { ContainerInfoList().Save(false); }},
      {"Add", 28, status, [](World& world) { ContainerInfoList().Add(world.Key.c_str()); }},
      {"GetRecord", 194, status, [](World&) { ContainerInfoList().GetRecord("/a", true); }},
      {"CQuasiStructFile", 4, status,
       [](World& world) { CQuasiStructFile(world.Gone.c_str(), false, true); }},
      {"stor_Length", ENOENT, ofFile,
       [](World& world) { world.Store.stor_Length(world.Gone.c_str()); }},
      {"ContainerInfoList", EISDIR, ofFile,
       [](World& world) { ContainerInfoList(world.Folder.Path().c_str()); }},
      {"GetCommonAppDataDir", 194, status,
       [](World& world) {
         CommonContInfoFileCreater const creater;
         world.Folder.Result = 1;
         static_cast<void>(creater.GetCommonAppDataDir());
       }},
      {"CommonContInfoFileCreater", 194, status,
       [](World& world) {
         world.Folder.Result = 1;
         CommonContInfoFileCreater const creater;
       }},
      {"CommonContInfoList", 194, status,
       [](World& world) {
         world.Folder.Result = 1;
         CommonContInfoList const facade;
       }},
      {"CreateFolderForCommonContInfoFile", ENOTDIR, ofFile,
       [](World& world) {
         world.Folder.Answer = world.Key;
         CommonContInfoFileCreater().CreateFolderForCommonContInfoFile();
       }},
      {"CreateCommonContInfoFile", EISDIR, ofFile, [](World& world) {
         std::filesystem::remove(world.Folder.CommonFile());
         std::filesystem::create_directory(world.Folder.CommonFile());
         CommonContInfoFileCreater().CreateCommonContInfoFile();
       }}};
}

TEST(WholeSystem, EverythingThrownIsAStatusWithItsFlagFalse) {
  for (Throw const& each : Throws()) {
    World world;
    try {
      each.call(world);
      ADD_FAILURE() << each.name << " throws nothing";
    } catch (XTOOStatus& status) {
      EXPECT_EQ(each.code, status.Status()) << each.name;
      EXPECT_TRUE(typeid(status) == each.type) << each.name;
      EXPECT_FALSE(FlagReader::FlagOf(status)) << each.name;
      EXPECT_EQ(4711, status.SetError(4711)) << "raises nothing any more";
    }
  }
}

// When there is no room, or no right.

TEST(WholeSystem, FullDiskFailsQuietly) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  FolderOfTest const folder;  // Out here: in there it cannot be removed in the end.
  TempFolder const containers;
  EXPECT_TRUE(PrivateRoot::Run([&] {
    WriteFile(containers / "key", "");
    ASSERT_EQ(0, ::mount("tmpfs", folder.Path().c_str(), "tmpfs", 0, "size=16384"));
    CommonContInfoList facade;
    WriteFile(folder.Path() + "/ballast", Pattern(16384, 1));
    int const descriptors = CountDescriptors();
    EXPECT_NO_THROW(facade.Add((containers / "key").c_str()));
    EXPECT_EQ("", ReadFile(folder.CommonFile()));
    EXPECT_EQ(descriptors, CountDescriptors());
    facade.Load();
    EXPECT_EQ(nullptr, facade.GetFirst());
    std::filesystem::remove(folder.Path() + "/ballast");
    facade.Add((containers / "key").c_str());
    EXPECT_EQ(std::list<std::string>{containers / "key"}, PathsInFile(folder.CommonFile()));
  }));
}

TEST(WholeSystem, UnreadableCommonFileIsLeftAsItIs) {
  FolderOfTest const folder;
  std::string const key = folder.Path() + "/key";
  WriteFile(key, "");
  folder.MakeCommonFile(CatalogueFile(1, {key}));
  ::chmod(folder.Path().c_str(), 0755);
  ::chmod(folder.CommonFile().c_str(), 0);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    int const descriptors = CountDescriptors();
    CommonContInfoList facade;
    EXPECT_EQ(nullptr, facade.GetFirst());
    EXPECT_NO_THROW(facade.Add(key.c_str()));
    EXPECT_NO_THROW(facade.Load());
    EXPECT_EQ(nullptr, facade.GetFirst());
    EXPECT_EQ(descriptors, CountDescriptors());
  }));
  ::chmod(folder.CommonFile().c_str(), 0600);
  EXPECT_EQ(CatalogueFile(1, {key}), ReadFile(folder.CommonFile()));
}

}  // namespace
