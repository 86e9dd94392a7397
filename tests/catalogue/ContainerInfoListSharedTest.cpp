// ContainerInfoList: several processes over one file, several threads over one list, many records.

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"

namespace {

class ContainerInfoListShared : public CatalogueFixture {
 protected:
  // The paths of `count` containers that are there.
  std::vector<std::string> Containers(std::string const& prefix, int count) const {
    std::vector<std::string> paths;
    for (int i = 0; i < count; ++i) {
      paths.push_back(Container(prefix + std::to_string(i)));
    }
    return paths;
  }

  // In a process of its own, with a list of its own.
  void InAnotherProcess(std::function<void(ContainerInfoList&)> const& edit) const {
    EXPECT_TRUE(InProcess([&] {
      ContainerInfoList list(File());
      edit(list);
      return true;
    }));
  }
};

TEST_F(ContainerInfoListShared, ProcessesThatAddInTurnBothAppearInTheFile) {
  std::string const own = Container("own");
  std::string const other = Container("other");
  ContainerInfoList list(File());
  InAnotherProcess([&](ContainerInfoList& others) { others.Add(other.c_str()); });
  list.Add(own.c_str());
  EXPECT_EQ((Paths{own, other}), PathsInFile(m_file));
  EXPECT_EQ((Paths{own, other}), PathsIn(list));
}

TEST_F(ContainerInfoListShared, RecordErasedByAnotherProcessGoesAtTheNextSave) {
  std::string const path = Container("key");
  std::string const kept = Container("kept");
  Write(CatalogueFile(1, {path, kept}));
  ContainerInfoList list(File());
  InAnotherProcess([&](ContainerInfoList& others) { others.Erase(path.c_str()); });
  EXPECT_EQ((Paths{path, kept}), PathsIn(list));
  list.Save(true);
  EXPECT_EQ(Paths{kept}, PathsIn(list));
  EXPECT_EQ(CatalogueFile(1, {kept}), FileBytes());
}

TEST_F(ContainerInfoListShared, RecordAddedByAnotherProcessAppearsAtTheNextSave) {
  std::string const path = Container("key");
  std::string const kept = Container("kept");
  Write(CatalogueFile(1, {kept}));
  ContainerInfoList list(File());
  InAnotherProcess([&](ContainerInfoList& others) { others.Add(path.c_str()); });
  EXPECT_EQ(Paths{kept}, PathsIn(list));
  list.Save(true);
  EXPECT_EQ((Paths{kept, path}), PathsIn(list));
  EXPECT_EQ((std::vector<unsigned int>{0, 0}), StatesIn(list));
}

TEST_F(ContainerInfoListShared, RecordErasedHereAndChangedThereGoes) {
  std::string const path = Container("key");
  Write(CatalogueFile(1, {path}));
  ContainerInfoList list(File());
  InAnotherProcess([&](ContainerInfoList& others) {
    RecordsOf(others).front().Param = 7;
    RecordsOf(others).front().State = ContainerInfo::StateAdded;
    others.Save(true);
  });
  EXPECT_EQ(RecordFile(0, 1, "", {ContainerBytes(path, "", "", 7)}), FileBytes());
  list.Erase(path.c_str());
  EXPECT_EQ(CatalogueFile(1, {}), FileBytes());
}

// Each keeps its list for the whole time and never loads it again.
TEST_F(ContainerInfoListShared, ProcessesThatEditInTurnAgreeAboutTheFile) {
  constexpr int kRounds = 200;
  std::vector<std::string> const paths = Containers("key", 12);
  // What happens, decided before the processes part.
  struct Edit {
    bool adds;
    std::string path;
  };
  std::vector<Edit> edits;
  std::mt19937 random(4711);
  for (int round = 0; round < kRounds; ++round) {
    edits.push_back({random() % 3 != 0, paths[random() % paths.size()]});
  }
  auto const apply = [](ContainerInfoList& list, Edit const& edit) {
    if (edit.adds) {
      list.Add(edit.path.c_str());
    } else {
      list.Erase(edit.path.c_str());
    }
  };
  ContainerInfoList list(File());
  list.Save(true);
  ProcessPeer peer([&](PeerSide& side) {
    for (int round = 1; round < kRounds; round += 2) {
      side.AwaitGo();
      list.Save(true);
      apply(list, edits[static_cast<std::size_t>(round)]);
      side.Reached();
    }
  });
  std::set<std::string> expected;
  for (int round = 0; round < kRounds; ++round) {
    Edit const& edit = edits[static_cast<std::size_t>(round)];
    if (round % 2 == 0) {
      list.Save(true);
      apply(list, edit);
    } else {
      peer.Go();
      ASSERT_TRUE(peer.AwaitStep());
    }
    if (edit.adds) {
      expected.insert(edit.path);
    } else {
      expected.erase(edit.path);
    }
    Paths found = PathsInFile(m_file);
    found.sort();
    ASSERT_EQ(Paths(expected.begin(), expected.end()), found) << "round " << round;
  }
  EXPECT_TRUE(peer.Finish());
}

// Lets all of them start at once.
void RunThreads(std::vector<std::function<void()>> const& bodies) {
  std::vector<std::unique_ptr<ThreadPeer>> peers;
  for (auto const& body : bodies) {
    peers.push_back(std::make_unique<ThreadPeer>([body](PeerSide& side) {
      side.AwaitGo();
      body();
    }));
  }
  for (auto& peer : peers) {
    peer->Go();
  }
  for (auto& peer : peers) {
    EXPECT_TRUE(peer->Finish());
  }
}

TEST_F(ContainerInfoListShared, ThreadsThatAddAtOnceLoseNothing) {
  constexpr int kThreads = 4;
  constexpr int kEach = 15;
  std::vector<std::string> const paths = Containers("key", kThreads * kEach);
  ContainerInfoList list(File());
  std::vector<std::function<void()>> bodies;
  for (int thread = 0; thread < kThreads; ++thread) {
    bodies.emplace_back([&, thread] {
      for (int i = 0; i < kEach; ++i) {
        list.Add(paths[static_cast<std::size_t>(thread * kEach + i)].c_str());
      }
    });
  }
  RunThreads(bodies);
  Paths found = PathsIn(list);
  EXPECT_EQ(found, PathsInFile(m_file));
  EXPECT_EQ(std::vector<unsigned int>(paths.size(), 0), StatesIn(list));
  found.sort();
  Paths expected(paths.begin(), paths.end());
  expected.sort();
  EXPECT_EQ(expected, found);
}

// Between looking for a record and appending one another thread may append the same.
TEST_F(ContainerInfoListShared, ThreadsThatAddTheSamePathAtOnceAddItOnce) {
  for (int round = 0; round < 20; ++round) {
    std::string const path = Container("key" + std::to_string(round));
    WriteFile(m_file, "");
    ContainerInfoList list(File());
    RunThreads(std::vector<std::function<void()>>(4, [&] { list.Add(path.c_str()); }));
    EXPECT_EQ(Paths{path}, PathsIn(list));
    EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
  }
}

TEST_F(ContainerInfoListShared, ThreadsMayDoEverythingAtOnce) {
  std::vector<std::string> const paths = Containers("key", 6);
  ContainerInfoList list(File());
  constexpr int kRounds = 10;
  RunThreads({[&] {
                for (int i = 0; i < kRounds; ++i) {
                  list.Add(paths[static_cast<std::size_t>(i % 6)].c_str());
                }
              },
              [&] {
                for (int i = 0; i < kRounds; ++i) {
                  list.Erase(paths[static_cast<std::size_t>(i % 4)].c_str());
                }
              },
              [&] {
                for (int i = 0; i < kRounds; ++i) {
                  list.Load(nullptr);
                }
              },
              [&] {
                for (int i = 0; i < kRounds; ++i) {
                  list.FindRecord(paths[static_cast<std::size_t>(i % 6)].c_str(), true);
                  IPC::CReadLocker const locker(list.GetSyncList()->Lock);
                  for (char const* path = list.GetFirst(); path != nullptr; path = list.GetNext()) {
                    EXPECT_NE(paths.end(), std::find(paths.begin(), paths.end(), path));
                  }
                }
              }});
  list.Save(true);
  EXPECT_EQ(PathsIn(list), PathsInFile(m_file));
}

// Many paths of one container: it is there under each of them.
std::list<std::string> ManyPaths(std::string const& folder, unsigned int count) {
  std::list<std::string> paths;
  for (unsigned int number = 0; number < count; ++number) {
    std::string path = folder + "/";
    for (unsigned int bit = 1; bit < count; bit *= 2) {
      path += (number & bit) != 0 ? "./" : "/";
    }
    paths.push_back(path + "key");
  }
  return paths;
}

TEST_F(ContainerInfoListShared, TwentyThousandRecordsLoadAndSave) {
  Container("key");
  Paths const paths = ManyPaths(m_folder.Path(), 20000);
  Write(CatalogueFile(0, paths));
  ContainerInfoList list(File());
  EXPECT_TRUE(paths == PathsIn(list));
  ExpectUntouched();
  list.Save(true);
  EXPECT_TRUE(CatalogueFile(1, paths) == FileBytes());
  std::string const added = Container("added");
  list.Add(added.c_str());
  EXPECT_EQ(20001U, RecordsOf(list).size());
  Paths all = paths;
  all.push_back(added);
  EXPECT_TRUE(CatalogueFile(1, all) == FileBytes());
  EXPECT_EQ(std::vector<unsigned int>(20001, 0), StatesIn(list));
}

TEST_F(ContainerInfoListShared, TwentyThousandRecordsOfTheFileAreMergedInOrder) {
  Container("key");
  Paths const paths = ManyPaths(m_folder.Path(), 20000);
  ContainerInfoList list(File());
  for (std::string const& path : paths) {
    RecordsOf(list).push_front(Record(path, ContainerInfo::StateAdded, 1));
  }
  // The same ones in the other order.
  WriteFile(m_file, CatalogueFile(1, paths));
  list.Save(true);
  Paths reversed = paths;
  reversed.reverse();
  EXPECT_TRUE(reversed == PathsIn(list));
  EXPECT_EQ(std::vector<unsigned int>(20000, 1), ParamsIn(list));
  EXPECT_EQ(std::vector<unsigned int>(20000, ContainerInfo::StateAdded), StatesIn(list));
}

}  // namespace
