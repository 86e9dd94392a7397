// Catalogues over the second base: loading, merging, edits, several processes and threads.

#include <sys/resource.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoEdit.h"
#include "foundation/XTOOStatus.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

using Paths = std::list<std::string>;

class CatalogueOnSecondBase : public testing::Test {
 protected:
  // A container that exists.
  std::string Container(std::string const& name) const {
    std::string path = m_folder / name;
    WriteFile(path, "");
    return path;
  }

  TempFolder const m_folder;
  std::string const m_file = m_folder / "catalogue";
  std::string const m_one = Container("one");
  std::string const m_two = Container("two");
  ContainerInfoList m_list{m_file.c_str()};
};

TEST_F(CatalogueOnSecondBase, AddsFindsAndErases) {
  m_list.Add(m_one.c_str());
  m_list.Add(m_two.c_str());
  m_list.Add(m_one.c_str());
  m_list.Add((m_folder / "missing").c_str());
  EXPECT_EQ((Paths{m_one, m_two}), PathsIn(m_list));
  EXPECT_STREQ(m_one.c_str(), m_list.GetRecord((m_folder / "ONE").c_str(), true).Path);
  m_list.Erase(m_one.c_str());
  EXPECT_EQ(Paths{m_two}, PathsIn(m_list));
  EXPECT_EQ(Paths{m_two}, PathsInFile(m_file));
  EXPECT_THROW(m_list.GetRecord(m_one.c_str(), true), XTOOStatus);
}

TEST_F(CatalogueOnSecondBase, SavesMergeWhatTwoListsChanged) {
  ContainerInfoList other(m_file.c_str());
  m_list.Add(m_one.c_str());
  other.Add(m_two.c_str());
  other.FindRecord(m_two.c_str(), false)->Param = 9;
  other.FindRecord(m_two.c_str(), false)->State = ContainerInfo::StateAdded;
  other.Save(true);
  m_list.Save(true);
  EXPECT_EQ((Paths{m_one, m_two}), PathsIn(m_list));
  EXPECT_EQ(9U, m_list.GetRecord(m_two.c_str(), true).Param);
}

TEST_F(CatalogueOnSecondBase, FirstLoadCleansTheFile) {
  WriteFile(m_file, CatalogueFile(0, {m_one, m_folder / "gone", m_two}));
  m_list.Load(nullptr);
  EXPECT_EQ((Paths{m_one, m_two}), PathsIn(m_list));
  EXPECT_EQ(CatalogueFile(1, {m_one, m_two}), ReadFile(m_file));
}

TEST_F(CatalogueOnSecondBase, DamagedFileLoadsAsEmpty) {
  std::string const good = CatalogueFile(1, {m_one, m_two});
  for (std::size_t size = 0; size < good.size(); ++size) {
    WriteFile(m_file, good.substr(0, size));
    m_list.Load(nullptr);
    EXPECT_GE(1U, PathsIn(m_list).size()) << size;
  }
}

TEST_F(CatalogueOnSecondBase, NullPathsCountAsEmpty) {
  ContainerInfoList nameless(nullptr);
  EXPECT_THROW(nameless.Save(true), XTOOStatus);
  m_list.Add(nullptr);
  m_list.Erase(nullptr);
  EXPECT_EQ(nullptr, m_list.FindRecord(nullptr, true));
  EXPECT_THROW(m_list.GetRecord(nullptr, true), XTOOStatus);
  ContainerInfoEdit edit(m_list);
  EXPECT_FALSE(edit.Add(nullptr));
  EXPECT_FALSE(edit.Erase(nullptr));
}

TEST_F(CatalogueOnSecondBase, EditIsCommittedWhole) {
  m_list.Add(m_one.c_str());
  ContainerInfo record;
  record.Path = m_two.c_str();
  record.Ident1 = Blob("blob");
  record.SubConts.resize(2);
  ContainerInfoEdit edit(m_list);
  EXPECT_TRUE(edit.Erase(m_one.c_str()));
  EXPECT_TRUE(edit.Add(record));
  EXPECT_FALSE(edit.Add(m_two.c_str()));
  edit.Commit();
  ContainerInfoList again(m_file.c_str());
  EXPECT_EQ(Paths{m_two}, PathsIn(again));
  EXPECT_EQ("blob", DataOf(again.GetRecord(m_two.c_str(), true).Ident1));
  EXPECT_EQ(2U, again.GetRecord(m_two.c_str(), true).SubConts.size());
}

// The base's handles say nothing about it.
TEST_F(CatalogueOnSecondBase, EditThatDoesNotReachTheDiskIsNotPutInPlace) {
  m_list.Add(m_one.c_str());
  std::string const before = ReadFile(m_file);
  EXPECT_TRUE(InProcess([&] {
    rlimit const limit{before.size() + 10, before.size() + 10};
    std::signal(SIGXFSZ, SIG_IGN);
    EXPECT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    ContainerInfoEdit edit(m_list);
    EXPECT_TRUE(edit.Add(m_two.c_str()));
    try {
      edit.Commit();
    } catch (XTOOStatus const& status) {
      return status.Status() == EIO;
    }
    return false;
  }));
  EXPECT_EQ(before, ReadFile(m_file));
}

TEST_F(CatalogueOnSecondBase, EditsOfTwoProcessesLoseNothing) {
  constexpr int kEdits = 50;
  auto const work = [&](std::string const& name) {
    ContainerInfoList list(m_file.c_str());
    for (int number = 0; number < kEdits; ++number) {
      ContainerInfoEdit edit(list);
      EXPECT_TRUE(edit.Add(Container(name + std::to_string(number)).c_str()));
      edit.Commit();
    }
  };
  ProcessPeer first([&](PeerSide& /*side*/) { work("first"); });
  ProcessPeer second([&](PeerSide& /*side*/) { work("second"); });
  EXPECT_TRUE(first.Finish());
  EXPECT_TRUE(second.Finish());
  m_list.Load(nullptr);
  EXPECT_EQ(2UL * kEdits, PathsIn(m_list).size());
}

TEST_F(CatalogueOnSecondBase, ThreadsShareAList) {
  constexpr int kAdds = 20;
  std::vector<std::thread> threads;
  std::atomic<int> found{0};
  for (std::string const name : {"a", "b", "c"}) {
    threads.emplace_back([&, name] {
      for (int number = 0; number < kAdds; ++number) {
        std::string const path = Container(name + std::to_string(number));
        m_list.Add(path.c_str());
        found += m_list.FindRecord(path.c_str(), true) != nullptr ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(3 * kAdds, found.load());
  EXPECT_EQ(3UL * kAdds, PathsIn(m_list).size());
}

}  // namespace
