// Lookup and repair, with the base services watched.

#include <functional>
#include <list>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "foundation/XTOOStatus.h"
#include "tests/catalogue/seams/Seams.h"
#include "tests/support/Containers.h"
#include "tests/support/Peer.h"

namespace {

using Names = std::vector<std::string>;
using Paths = std::list<std::string>;

class FindSeams : public testing::Test {
 protected:
  void Fill(Paths const& paths) {
    for (std::string const& path : paths) {
      Records().push_back(Record(path));
    }
  }
  std::list<ContainerInfo>& Records() { return m_list.GetSyncList()->Records; }
  // Whether another thread, which has no seams, gets the list's lock for itself.
  bool IsListFree() {
    ThreadPeer peer([&](PeerSide& side) {
      IPC::CWriteLocker const locker(m_list.GetSyncList()->Lock);
      side.Reached();
    });
    return peer.AwaitStep();
  }

  ContainerInfoList m_list;
  Seams m_seams;
};

TEST_F(FindSeams, AsksForFolderAndNameOnly) {
  char const* const argument = "/dir/key";
  int calls = 0;
  m_seams.ParseFullPath = [&](char const* path, bool* flag, CTOOString* folder, CTOOString* name,
                              CTOOString* last) {
    ++calls;
    EXPECT_EQ(argument, path);
    EXPECT_EQ(nullptr, flag);
    EXPECT_NE(nullptr, folder);
    EXPECT_NE(nullptr, name);
    EXPECT_NE(folder, name);
    EXPECT_EQ(nullptr, last);
  };
  m_list.FindRecord(argument, true);
  m_list.FindRecord(argument, false);
  EXPECT_THROW(m_list.GetRecord(argument, true), XTOOStatus);
  EXPECT_EQ(3, calls);
}

TEST_F(FindSeams, JoinsWhatItGotWithAnEmptyLastPart) {
  Fill({"/folder of it/name of it", "/joined"});
  m_seams.ParseFullPath = [](char const*, bool*, CTOOString* folder, CTOOString* name,
                             CTOOString*) {
    *folder = "folder of it";
    *name = "name of it";
  };
  int calls = 0;
  m_seams.MakeFullPath = [&](CTOOString& path, CTOOString const& folder, CTOOString const& name,
                             CTOOString const& last) {
    ++calls;
    EXPECT_STREQ("folder of it", folder);
    EXPECT_STREQ("name of it", name);
    EXPECT_STREQ("", last);
    path = "/Joined";
  };
  EXPECT_EQ(&Records().back(), m_list.FindRecord("/dir/key", true));
  EXPECT_EQ(1, calls);
}

TEST_F(FindSeams, NullIsPassedOn) {
  bool isNull = false;
  m_seams.ParseFullPath = [&](char const* path, bool*, CTOOString*, CTOOString*, CTOOString*) {
    isNull = path == nullptr;
  };
  EXPECT_EQ(nullptr, m_list.FindRecord(nullptr, true));
  EXPECT_TRUE(isNull);
}

TEST_F(FindSeams, LockIsHeldForTheWalkOnly) {
  Fill({"/a", "/b", "/c"});
  m_list.FindRecord("/B", true);
  EXPECT_EQ((Names{"ParseFullPath", "MakeFullPath", "ReadLock", "CollateNoCase", "CollateNoCase",
                   "ReadUnlock"}),
            m_seams.Names());
  IPC::CReadWriteLock* const lock = &m_list.GetSyncList()->Lock;
  EXPECT_EQ(lock, m_seams.Calls[2].object);
  EXPECT_EQ(lock, m_seams.Calls[5].object);
}

TEST_F(FindSeams, WithoutLockThereIsNone) {
  Fill({"/a", "/b"});
  m_list.FindRecord("/absent", false);
  EXPECT_EQ((Names{"ParseFullPath", "MakeFullPath", "CollateNoCase", "CollateNoCase"}),
            m_seams.Names());
}

TEST_F(FindSeams, GetRecordLooksUpOnce) {
  Fill({"/a", "/b"});
  m_list.GetRecord("/b", true);
  EXPECT_EQ((Names{"ParseFullPath", "MakeFullPath", "ReadLock", "CollateNoCase", "CollateNoCase",
                   "ReadUnlock"}),
            m_seams.Names());
}

TEST_F(FindSeams, StoredPathsAreCollated) {
  Fill({"/a", "/b", "/c"});
  Paths own;
  m_seams.CollateNoCase = [&](CTOOString const& text, char const* other) {
    own.emplace_back(text);
    EXPECT_STREQ("/asked", other);
    return own.size() == 1 ? -1 : (own.size() == 2 ? 1 : 0);
  };
  EXPECT_EQ(&Records().back(), m_list.FindRecord("/asked", true));
  EXPECT_EQ((Paths{"/a", "/b", "/c"}), own);
}

TEST_F(FindSeams, ExceptionsPassOutAndLeaveTheLockFree) {
  Fill({"/a", "/b"});
  for (std::string const name : {"ParseFullPath", "MakeFullPath", "ReadLock", "CollateNoCase"}) {
    m_seams.Before = [&](Seams::Call const& call) {
      if (call.name == name) {
        throw XTOOStatus(4711, "from within", false);
      }
    };
    for (bool const get : {false, true}) {
      try {
        if (get) {
          m_list.GetRecord("/b", true);
        } else {
          m_list.FindRecord("/b", true);
        }
        ADD_FAILURE() << name;
      } catch (XTOOStatus const& status) {
        EXPECT_EQ(4711, status.Status()) << name;
        EXPECT_STREQ("from within", status.ErrorMessage());
      }
      EXPECT_TRUE(IsListFree()) << name;
    }
  }
}

TEST_F(FindSeams, ExceptionsOfOtherKindsPassOutToo) {
  Fill({"/a"});
  for (std::string const name : {"ParseFullPath", "MakeFullPath", "ReadLock", "CollateNoCase"}) {
    m_seams.Before = [&](Seams::Call const& call) {
      if (call.name == name) {
        throw std::runtime_error(name);
      }
    };
    EXPECT_THROW(m_list.FindRecord("/a", true), std::runtime_error) << name;
    EXPECT_THROW(m_list.GetRecord("/a", true), std::runtime_error) << name;
    EXPECT_TRUE(IsListFree()) << name;
  }
}

// Fix

TEST_F(FindSeams, FixAsksForEachKeptPathOnceAndTakesNoLock) {
  Fill({"/a", "", "/b", "/a", "/cur_pers"});
  m_seams.IsExists = [](char const*) { return true; };
  ContainerInfoList::Fix(Records(), nullptr);
  EXPECT_EQ((std::vector<std::string>{"IsExists /a", "IsExists /b", "IsExists /cur_pers"}),
            m_seams.Lines());
  EXPECT_EQ((Paths{"/a", "/b", "/cur_pers"}), PathsIn(m_list));
}

TEST_F(FindSeams, FixBelievesWhatIsThere) {
  Fill({"/there", "/gone", "/there.LCK"});
  m_seams.IsExists = [](char const* path) { return std::string(path) != "/gone"; };
  ContainerInfoList::Fix(Records(), nullptr);
  std::vector<unsigned int> states;
  for (ContainerInfo const& record : Records()) {
    states.push_back(record.State);
  }
  EXPECT_EQ((std::vector<unsigned int>{0, 3, 3}), states);
}

// Stops at every record in turn: what stands before it is repaired, the rest is as it was.
TEST_F(FindSeams, ExceptionInFixKeepsWhatWasDone) {
  Paths const before{"", "/gone1", "", "/there", "/gone1", "/gone2", "/there", ""};
  for (std::string const& stop : Paths{"/gone1", "/there", "/gone2"}) {
    Records().clear();
    Fill(before);
    m_seams.IsExists = [&](char const* path) -> bool {
      if (path == stop) {
        throw XTOOStatus(4711, "from within", false);
      }
      return std::string(path) == "/there";
    };
    bool changed = false;
    EXPECT_THROW(ContainerInfoList::Fix(Records(), &changed), XTOOStatus);
    EXPECT_TRUE(changed);
    Paths expected;
    std::set<std::string> kept;
    bool isReached = false;
    for (std::string const& path : before) {
      bool const isRemoved = !isReached && (path.empty() || !kept.insert(path).second);
      isReached = isReached || path == stop;
      if (!isRemoved) {
        expected.push_back(path);
      }
    }
    EXPECT_EQ(expected, PathsIn(m_list)) << stop;
    EXPECT_EQ(stop == "/gone1" ? 0U : 3U, Records().front().State) << stop;
    EXPECT_TRUE(IsListFree());
  }
}

}  // namespace
