// ContainerInfoList::Fix, which repairs a list of records, and the order that it compares by.

#include <filesystem>
#include <functional>
#include <list>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/CContainerPathCompare.h"
#include "catalogue/ContainerInfoList.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

using Paths = std::list<std::string>;
using States = std::list<unsigned int>;

constexpr unsigned int kSynced = ContainerInfo::StateSynced;
constexpr unsigned int kAdded = ContainerInfo::StateAdded;
constexpr unsigned int kRemoved = ContainerInfo::StateRemoved;

class ContainerInfoListFix : public testing::Test {
 protected:
  // A container that is there.
  std::string Make(std::string const& name) const {
    std::string const path = m_folder / name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WriteFile(path, "");
    return path;
  }
  void Put(std::string const& path, unsigned int state = kSynced, unsigned int param = 0) {
    m_records.push_back(Record(path, state, param));
  }
  // What Fix tells; it also runs on a copy without being asked, with the same outcome.
  bool Fix() {
    std::list<ContainerInfo> copy(m_records);
    ContainerInfoList::Fix(copy, nullptr);
    bool changed = false;
    ContainerInfoList::Fix(m_records, &changed);
    EXPECT_EQ(PathsIn(m_records), PathsIn(copy));
    EXPECT_EQ(StatesIn(m_records), StatesIn(copy));
    return changed;
  }
  static States StatesIn(std::list<ContainerInfo> const& records) {
    States states;
    for (ContainerInfo const& record : records) {
      states.push_back(record.State);
    }
    return states;
  }

  TempFolder m_folder;
  std::list<ContainerInfo> m_records;
};

TEST_F(ContainerInfoListFix, EmptyListIsUnchanged) {
  bool changed = true;
  ContainerInfoList::Fix(m_records, &changed);
  EXPECT_FALSE(changed);
  ContainerInfoList::Fix(m_records, nullptr);
  EXPECT_TRUE(m_records.empty());
}

TEST_F(ContainerInfoListFix, SoundListIsUnchanged) {
  Put(Make("one"));
  Put(Make("two"));
  bool changed = true;
  ContainerInfoList::Fix(m_records, &changed);
  EXPECT_FALSE(changed);
  EXPECT_EQ((Paths{m_folder / "one", m_folder / "two"}), PathsIn(m_records));
}

TEST_F(ContainerInfoListFix, ChangeIsToldWhateverFollowsIt) {
  for (std::string const& path : {std::string(), m_folder / "gone", Make("cur_pers")}) {
    m_records.clear();
    Put(path);
    Put(Make("sound"));
    EXPECT_TRUE(Fix()) << path;
  }
  m_records.clear();
  Put(Make("sound"));
  Put(Make("sound"));
  Put(Make("other"));
  EXPECT_TRUE(Fix());
}

TEST_F(ContainerInfoListFix, EmptyPathsAreRemoved) {
  for (unsigned int const state : {kSynced, kAdded, kRemoved}) {
    m_records.clear();
    Put("", state);
    Put("", state);
    Put(Make("key"));
    Put("", state);
    EXPECT_TRUE(Fix());
    EXPECT_EQ(Paths{m_folder / "key"}, PathsIn(m_records));
    EXPECT_EQ(States{kSynced}, StatesIn(m_records));
  }
}

TEST_F(ContainerInfoListFix, OfExactDuplicatesTheFirstStays) {
  std::string const key = Make("key");
  Put(key, kSynced, 1);
  Put(Make("other"), kSynced, 2);
  Put(key, kAdded, 3);
  Put(key, kSynced, 4);
  EXPECT_TRUE(Fix());
  EXPECT_EQ((Paths{key, m_folder / "other"}), PathsIn(m_records));
  EXPECT_EQ(1U, m_records.front().Param);
  EXPECT_EQ(kSynced, m_records.front().State);
}

TEST_F(ContainerInfoListFix, PathsThatDifferInCaseAreBothKept) {
  Put(Make("key"));
  Put(Make("KEY"));
  Put(Make("Key"));
  EXPECT_FALSE(Fix());
  EXPECT_EQ(3U, m_records.size());
}

// Paths are compared as they are stored, not normalised.
TEST_F(ContainerInfoListFix, OtherSpellingsOfAPathAreKept) {
  std::string const key = Make("key");
  Put(key);
  Put(m_folder.Path() + "//key");
  Put(m_folder.Path() + "/./key");
  EXPECT_FALSE(Fix());
  EXPECT_EQ(3U, m_records.size());
}

TEST_F(ContainerInfoListFix, MissingContainersAreMarked) {
  for (unsigned int const state : {kSynced, kAdded, 2U}) {
    m_records.clear();
    Put(m_folder / "gone", state);
    Put(m_folder / "no/such/folder", state);
    EXPECT_TRUE(Fix());
    EXPECT_EQ((States{kRemoved, kRemoved}), StatesIn(m_records));
    EXPECT_EQ((Paths{m_folder / "gone", m_folder / "no/such/folder"}), PathsIn(m_records));
  }
}

TEST_F(ContainerInfoListFix, ReservedWordsAreMarked) {
  for (std::string const name :
       {"cur_pers", "CUR_PERS", "Cur_Pers", "usrguard", "USRGUARD", "UsrGuard", ".lck", ".LCK",
        "key.lck", "key.Lck", "key.lck.old", "my_cur_pers_2", "xusrguardx", "cur_pers/key",
        "a.LCKb/key", "usrGUARD/deep/key", "cur_pers.d/x"}) {
    for (unsigned int const state : {kSynced, kAdded}) {
      TempFolder const folder;  // Some of the names are folders of others.
      std::string const path = folder / name;
      std::filesystem::create_directories(std::filesystem::path(path).parent_path());
      WriteFile(path, "");
      m_records.assign(1, Record(path, state));
      EXPECT_TRUE(Fix()) << name;
      EXPECT_EQ(States{kRemoved}, StatesIn(m_records)) << name;
    }
  }
}

TEST_F(ContainerInfoListFix, SimilarWordsAreNotMarked) {
  for (std::string const name :
       {"curpers", "cur-pers", "cur_per", "ur_pers", "usrguar", "usr_guard", "srguard", "lck",
        "xlck", ".lc", "..lc", ".l.ck", "cur_/pers", "usr/guard"}) {
    TempFolder const folder;
    std::string const path = folder / name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WriteFile(path, "");
    m_records.assign(1, Record(path));
    EXPECT_FALSE(Fix()) << name;
    EXPECT_EQ(States{kSynced}, StatesIn(m_records)) << name;
  }
}

TEST_F(ContainerInfoListFix, PlainContainerKeepsItsState) {
  std::string const key = Make("key");
  for (unsigned int const state : {0U, 1U, 2U, 3U, 4U, 0xFFFFFFFFU}) {
    m_records.assign(1, Record(key, state, 9));
    EXPECT_FALSE(Fix()) << state;
    EXPECT_EQ(States{state}, StatesIn(m_records));
    EXPECT_EQ(9U, m_records.front().Param);
  }
}

TEST_F(ContainerInfoListFix, MarkedAgainIsAChange) {
  Put(m_folder / "gone", kRemoved);
  EXPECT_TRUE(Fix());
  EXPECT_TRUE(Fix());
  m_records.assign(1, Record(Make("cur_pers"), kRemoved));
  EXPECT_TRUE(Fix());
  EXPECT_EQ(States{kRemoved}, StatesIn(m_records));
}

TEST_F(ContainerInfoListFix, DuplicateOfAMarkedRecordIsRemoved) {
  Put(m_folder / "gone", kSynced, 1);
  Put(m_folder / "gone", kAdded, 2);
  EXPECT_TRUE(Fix());
  EXPECT_EQ(States{kRemoved}, StatesIn(m_records));
  EXPECT_EQ(1U, m_records.front().Param);
}

TEST_F(ContainerInfoListFix, RestKeepsItsOrder) {
  Paths expected;
  for (char const* const name : {"z", "m", "a", "q", "B", "b"}) {
    Put("");
    Put(Make(name));
    expected.push_back(m_folder / name);
    Put(m_folder / (std::string("gone-") + name));
    expected.push_back(m_folder / (std::string("gone-") + name));
    Put(m_folder / "z");
    Put(m_folder / name);
  }
  EXPECT_TRUE(Fix());
  EXPECT_EQ(expected, PathsIn(m_records));
}

TEST_F(ContainerInfoListFix, KeptRecordsStayWhereTheyAre) {
  Put("");
  Put(Make("key"));
  Put(m_folder / "key");
  Put(m_folder / "gone");
  ContainerInfo const* const key = &*std::next(m_records.begin());
  ContainerInfo const* const gone = &m_records.back();
  EXPECT_TRUE(Fix());
  EXPECT_EQ(key, &m_records.front());
  EXPECT_EQ(gone, &m_records.back());
}

TEST_F(ContainerInfoListFix, FolderIsAContainerToo) {
  std::filesystem::create_directory(m_folder / "container");
  Put(m_folder / "container");
  Put(m_folder / "container/");
  EXPECT_FALSE(Fix());
  EXPECT_EQ((States{kSynced, kSynced}), StatesIn(m_records));
}

TEST_F(ContainerInfoListFix, WorksUnderTheCallersLock) {
  static_assert(std::is_same_v<decltype(&ContainerInfoList::Fix),
                               void (*)(std::list<ContainerInfo>&, bool*)>);
  ContainerInfoList list;
  list.GetSyncList()->Records.assign(1, Record(""));
  IPC::CWriteLocker const locker(list.GetSyncList()->Lock);
  ThreadPeer peer([&](PeerSide& side) {
    ContainerInfoList::Fix(list.GetSyncList()->Records, nullptr);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_TRUE(peer.Finish());
  EXPECT_TRUE(list.GetSyncList()->Records.empty());
}

TEST(CContainerPathCompare, OrdersByBytes) {
  std::vector<char const*> const ascending{"",     "/",   "/A", "/B",   "/Z",   "/Za", "/a",
                                           "/a/b", "/ab", "/b", "\x7f", "\x80", "\xff"};
  CContainerPathCompare const isBefore;
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      EXPECT_EQ(i < j, isBefore(ascending[i], ascending[j])) << ascending[i] << " " << ascending[j];
    }
  }
}

}  // namespace
