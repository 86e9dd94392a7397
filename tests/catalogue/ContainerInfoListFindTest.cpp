// ContainerInfoList: looking records up.

#include <functional>
#include <iterator>
#include <list>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "foundation/XTOOStatus.h"
#include "tests/support/Containers.h"
#include "tests/support/Peer.h"

namespace {

class ContainerInfoListFind : public testing::Test {
 protected:
  void Fill(std::list<std::string> const& paths) {
    for (std::string const& path : paths) {
      Records().push_back(Record(path));
    }
  }
  std::list<ContainerInfo>& Records() { return m_list.GetSyncList()->Records; }
  IPC::CReadWriteLock_pth& ListLock() { return m_list.GetSyncList()->Lock; }
  // The number of the record found; -1 for none.
  long Find(char const* path) {
    ContainerInfo* const found = m_list.FindRecord(path, true);
    long number = 0;
    for (ContainerInfo const& record : Records()) {
      if (&record == found) {
        return number;
      }
      ++number;
    }
    EXPECT_EQ(nullptr, found) << "not in the list";
    return -1;
  }
  // Whether another thread gets the list's lock for itself.
  bool IsListFree() {
    ThreadPeer peer([&](PeerSide& side) {
      IPC::CWriteLocker const locker(ListLock());
      side.Reached();
    });
    return peer.AwaitStep();
  }

  ContainerInfoList m_list;
};

void ExpectNoSuchRecord(ContainerInfoList& list, char const* path, char const* text) {
  for (bool const lock : {true, false}) {
    try {
      list.GetRecord(path, lock);
      ADD_FAILURE() << "no exception";
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(194, status.Status());
      EXPECT_STREQ(text, status.ErrorMessage());
    }
  }
}

TEST_F(ContainerInfoListFind, GivesThePointerIntoTheList) {
  Fill({"/dir/one", "/dir/two", "/dir/three"});
  EXPECT_EQ(&Records().front(), m_list.FindRecord("/dir/one", true));
  EXPECT_EQ(&*std::next(Records().begin()), m_list.FindRecord("/dir/two", false));
  EXPECT_EQ(&Records().back(), m_list.FindRecord("/dir/three", true));
}

TEST_F(ContainerInfoListFind, IgnoresCase) {
  Fill({"/other", "/Dir/Key.001"});
  for (char const* const path : {"/Dir/Key.001", "/dir/key.001", "/DIR/KEY.001", "/dIR/kEY.001"}) {
    EXPECT_EQ(1, Find(path)) << path;
  }
}

TEST_F(ContainerInfoListFind, NormalisesTheArgument) {
  Fill({"/other", "/dir/key"});
  for (char const* const path :
       {"//dir/key", "/dir//key", "/dir/key/", "/dir/key///", "/dir/./key", "/./dir/key",
        "/dir/key/.", "/dir/././/key/./", "///DIR//.//KEY//"}) {
    EXPECT_EQ(1, Find(path)) << path;
  }
}

TEST_F(ContainerInfoListFind, OtherPathsAreNotFound) {
  Fill({"/dir/key"});
  for (char const* const path :
       {"", "/", ".", "/dir", "/dir/", "/key", "key", "dir/key", "/dir/ke", "/dir/key2", "/dirkey",
        "/dir/key/sub", "/dir/../dir/key", "/dir /key", " /dir/key", "/dir/key.", "/dir\\key"}) {
    EXPECT_EQ(-1, Find(path)) << path;
  }
}

TEST_F(ContainerInfoListFind, FindsRelativePathsAndTheRoot) {
  Fill({"dir/key", "key", "/", "../key"});
  EXPECT_EQ(0, Find("./DIR//key/"));
  EXPECT_EQ(1, Find("./Key"));
  EXPECT_EQ(2, Find("//."));
  EXPECT_EQ(3, Find(".././KEY"));
}

// A record that was stored in another form than the normalised one has no argument that finds it.
TEST_F(ContainerInfoListFind, StoredPathsAreNotNormalised) {
  std::list<std::string> const stored{"/dir//key",  "//dir/key", "/dir/key/",
                                      "/dir/./key", "./dir/key", "/dir/key/."};
  Fill(stored);
  for (std::string const& path : stored) {
    EXPECT_EQ(-1, Find(path.c_str())) << path;
  }
  EXPECT_EQ(-1, Find("/dir/key"));
}

TEST_F(ContainerInfoListFind, FirstMatchInListOrderWins) {
  Fill({"/x", "/dir/KEY", "/DIR/key", "/dir/key", "/dir/key"});
  for (char const* const path : {"/dir/key", "/DIR/key", "/dir/KEY"}) {
    EXPECT_EQ(1, Find(path)) << path;
  }
}

TEST_F(ContainerInfoListFind, StateDoesNotMatter) {
  for (unsigned int const state :
       {ContainerInfo::StateSynced, ContainerInfo::StateAdded, ContainerInfo::StateRemoved}) {
    Records().assign(1, Record("/key", state));
    EXPECT_EQ(0, Find("/key")) << state;
    EXPECT_EQ(state, Records().front().State);
  }
}

TEST_F(ContainerInfoListFind, AbsentIsNull) {
  EXPECT_EQ(nullptr, m_list.FindRecord("/key", true));
  EXPECT_EQ(nullptr, m_list.FindRecord("/key", false));
  Fill({"/other"});
  EXPECT_EQ(nullptr, m_list.FindRecord("/key", true));
  EXPECT_EQ(nullptr, m_list.FindRecord("/key", false));
}

TEST_F(ContainerInfoListFind, NullIsTheEmptyPath) {
  EXPECT_EQ(nullptr, m_list.FindRecord(nullptr, true));
  Fill({"/key"});
  EXPECT_EQ(nullptr, m_list.FindRecord(nullptr, true));
  EXPECT_EQ(nullptr, m_list.FindRecord(nullptr, false));
  Fill({""});
  EXPECT_EQ(1, Find(nullptr));
  EXPECT_EQ(1, Find(""));
}

TEST_F(ContainerInfoListFind, ChangesNothing) {
  Fill({"/b", "/a", "/a", ""});
  m_list.FindRecord("/a", true);
  m_list.FindRecord("/c", true);
  m_list.GetRecord("/a", true);
  EXPECT_EQ((std::list<std::string>{"/b", "/a", "/a", ""}), PathsIn(m_list));
}

// The list's lock.

TEST_F(ContainerInfoListFind, WithLockWaitsForAWriter) {
  Fill({"/key"});
  for (char const* const path : {"/key", "/absent"}) {
    auto locker = std::make_unique<IPC::CWriteLocker>(ListLock());
    ThreadPeer peer([&](PeerSide& side) {
      m_list.FindRecord(path, true);
      side.Reached();
    });
    EXPECT_TRUE(peer.AwaitBlocked());
    locker.reset();
    EXPECT_TRUE(peer.AwaitStep());
  }
}

TEST_F(ContainerInfoListFind, GetRecordWithLockWaitsForAWriter) {
  Fill({"/key"});
  auto locker = std::make_unique<IPC::CWriteLocker>(ListLock());
  ThreadPeer peer([&](PeerSide& side) {
    m_list.GetRecord("/key", true);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST_F(ContainerInfoListFind, WithLockGoesBesideReaders) {
  Fill({"/key"});
  IPC::CReadLocker const locker(ListLock());
  ThreadPeer peer([&](PeerSide& side) {
    EXPECT_NE(nullptr, m_list.FindRecord("/key", true));
    EXPECT_STREQ("/key", m_list.GetRecord("/key", true).Path);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitStep());
}

TEST_F(ContainerInfoListFind, WithoutLockWorksUnderAWriter) {
  Fill({"/key"});
  IPC::CWriteLocker const locker(ListLock());
  ThreadPeer peer([&](PeerSide& side) {
    EXPECT_NE(nullptr, m_list.FindRecord("/key", false));
    EXPECT_EQ(nullptr, m_list.FindRecord("/absent", false));
    EXPECT_STREQ("/key", m_list.GetRecord("/key", false).Path);
    EXPECT_THROW(m_list.GetRecord("/absent", false), XTOOStatus);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitStep());
}

TEST_F(ContainerInfoListFind, LeavesTheLockFree) {
  Fill({"/key"});
  for (auto const& call : std::list<std::function<void()>>{
           [&] { m_list.FindRecord("/key", true); }, [&] { m_list.FindRecord("/absent", true); },
           [&] { m_list.FindRecord(nullptr, true); }, [&] { m_list.GetRecord("/key", true); },
           [&] { ExpectNoSuchRecord(m_list, "/absent", "/absent"); }}) {
    call();
    EXPECT_TRUE(IsListFree());
  }
}

// GetRecord

TEST_F(ContainerInfoListFind, GetRecordGivesTheListsRecord) {
  Fill({"/other", "/dir/key"});
  EXPECT_EQ(&Records().back(), &m_list.GetRecord("//DIR/key/", true));
  EXPECT_EQ(&Records().back(), &m_list.GetRecord("//DIR/key/", false));
}

TEST_F(ContainerInfoListFind, GetRecordOfAnAbsentPathThrowsTheArgument) {
  ExpectNoSuchRecord(m_list, "/dir/key", "/dir/key");
  Fill({"/other"});
  ExpectNoSuchRecord(m_list, "//Dir//./key/", "//Dir//./key/");  // Not the normalised form.
  ExpectNoSuchRecord(m_list, "", "");
}

TEST_F(ContainerInfoListFind, GetRecordOfNullThrowsTheEmptyText) {
  ExpectNoSuchRecord(m_list, nullptr, "");
  Fill({"/other"});
  ExpectNoSuchRecord(m_list, nullptr, "");
}

}  // namespace
