// ContainerInfoItrMgr: the map of cursors and its mutex.

#include <pthread.h>

#include <cerrno>
#include <functional>
#include <list>
#include <map>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>

#include "catalogue/ContainerInfoItrMgr.h"
#include "catalogue/ContainerInfoList.h"
#include "tests/support/Containers.h"
#include "tests/support/Peer.h"

namespace {

using Cursor = ContainerInfoItrMgr::Cursor;
using Map = std::map<unsigned int, Cursor>;

// The manager consists of its map and its mutex, in this order; both are private.

Map const& MapOf(ContainerInfoItrMgr const& manager) {
  return reinterpret_cast<Map const&>(manager);
}

boost::mutex& MutexOf(ContainerInfoItrMgr& manager) {
  return *reinterpret_cast<boost::mutex*>(reinterpret_cast<char*>(&manager) + sizeof(Map));
}

bool IsFree(boost::mutex& mutex) {
  bool const taken = mutex.try_lock();
  if (taken) {
    mutex.unlock();
  }
  return taken;
}

// Makes the manager's mutex one that the calling thread holds and that says so when the thread asks
// for it again.
class HeldMutex {
 public:
  explicit HeldMutex(ContainerInfoItrMgr& manager) : m_mutex(MutexOf(manager).native_handle()) {
    pthread_mutexattr_t kind;
    ::pthread_mutexattr_init(&kind);
    ::pthread_mutexattr_settype(&kind, PTHREAD_MUTEX_ERRORCHECK);
    ::pthread_mutex_destroy(m_mutex);
    ::pthread_mutex_init(m_mutex, &kind);
    ::pthread_mutexattr_destroy(&kind);
    ::pthread_mutex_lock(m_mutex);
  }
  HeldMutex(HeldMutex const&) = delete;
  HeldMutex& operator=(HeldMutex const&) = delete;
  ~HeldMutex() { ::pthread_mutex_unlock(m_mutex); }

 private:
  pthread_mutex_t* m_mutex;
};

void ExpectLockError(std::function<void()> const& call) {
  try {
    call();
    ADD_FAILURE() << "no exception";
  } catch (boost::lock_error const& error) {
    EXPECT_EQ(EDEADLK, error.native_error());
  }
}

TEST(ContainerInfoItrMgr, ConsistsOfItsMapAndItsMutex) {
  static_assert(sizeof(ContainerInfoItrMgr) == sizeof(Map) + sizeof(boost::mutex));
  static_assert(!std::is_polymorphic_v<ContainerInfoItrMgr>);
  ContainerInfoItrMgr manager;
  manager.AddItrForThread(7);
  EXPECT_EQ(1U, MapOf(manager).count(7));
  // Whoever holds what lies behind the map keeps the operations waiting.
  boost::unique_lock<boost::mutex> lock(MutexOf(manager));
  ThreadPeer peer([&](PeerSide& side) {
    manager.AddItrForThread(8);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitBlocked());
  EXPECT_EQ(0U, MapOf(manager).count(8));
  lock.unlock();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST(ContainerInfoItrMgr, IsOrderedByUnsignedKey) {
  ContainerInfoItrMgr manager;
  for (unsigned int const key : {0x80000000U, 1U, 0xFFFFFFFFU, 0U}) {
    manager.AddItrForThread(key);
  }
  std::vector<unsigned int> keys;
  for (auto const& entry : MapOf(manager)) {
    keys.push_back(entry.first);
  }
  EXPECT_EQ((std::vector<unsigned int>{0, 1, 0x80000000U, 0xFFFFFFFFU}), keys);
}

TEST(ContainerInfoItrMgr, StartsEmpty) {
  ContainerInfoItrMgr manager;
  EXPECT_TRUE(MapOf(manager).empty());
  EXPECT_TRUE(IsFree(MutexOf(manager)));
}

TEST(ContainerInfoItrMgr, GetMakesAMissingEntry) {
  ContainerInfoItrMgr manager;
  EXPECT_EQ(Cursor(), manager.GetItrForThread(5));
  EXPECT_EQ(1U, MapOf(manager).size());
  EXPECT_EQ(1U, MapOf(manager).count(5));
}

TEST(ContainerInfoItrMgr, GetGivesTheSameReferenceEachTime) {
  std::list<ContainerInfo> records(1);
  ContainerInfoItrMgr manager;
  Cursor& cursor = manager.GetItrForThread(5);
  cursor = records.begin();
  EXPECT_EQ(&cursor, &manager.GetItrForThread(5));
  EXPECT_EQ(records.begin(), manager.GetItrForThread(5));
  EXPECT_EQ(1U, MapOf(manager).size());
}

TEST(ContainerInfoItrMgr, KeysHaveCursorsOfTheirOwn) {
  std::list<ContainerInfo> records(2);
  ContainerInfoItrMgr manager;
  manager.GetItrForThread(5) = records.begin();
  manager.GetItrForThread(6) = records.end();
  EXPECT_EQ(records.begin(), manager.GetItrForThread(5));
  EXPECT_EQ(records.end(), manager.GetItrForThread(6));
}

TEST(ContainerInfoItrMgr, ReferenceOutlastsOtherEntries) {
  std::list<ContainerInfo> records(1);
  ContainerInfoItrMgr manager;
  Cursor& cursor = manager.GetItrForThread(500);
  cursor = records.begin();
  for (unsigned int key = 0; key < 1000; ++key) {
    manager.AddItrForThread(key);
  }
  for (unsigned int key = 0; key < 1000; ++key) {
    if (key != 500) {
      manager.RemoveItrForThread(key);
    }
  }
  EXPECT_EQ(&cursor, &manager.GetItrForThread(500));
  EXPECT_EQ(records.begin(), cursor);
  EXPECT_EQ(1U, MapOf(manager).size());
}

TEST(ContainerInfoItrMgr, AddLeavesACursorThatIsThere) {
  std::list<ContainerInfo> records(1);
  ContainerInfoItrMgr manager;
  Cursor& cursor = manager.GetItrForThread(5);
  cursor = records.begin();
  manager.AddItrForThread(5);
  EXPECT_EQ(records.begin(), cursor);
  EXPECT_EQ(&cursor, &manager.GetItrForThread(5));
}

TEST(ContainerInfoItrMgr, AddedEntryRefersToNoRecord) {
  ContainerInfoItrMgr manager;
  manager.AddItrForThread(5);
  ASSERT_EQ(1U, MapOf(manager).size());
  EXPECT_EQ(5U, MapOf(manager).begin()->first);
  EXPECT_EQ(Cursor(), MapOf(manager).begin()->second);
  EXPECT_EQ(&MapOf(manager).begin()->second, &manager.GetItrForThread(5));
}

TEST(ContainerInfoItrMgr, RemoveTakesOnlyItsOwnEntry) {
  ContainerInfoItrMgr manager;
  for (unsigned int const key : {4U, 5U, 6U}) {
    manager.AddItrForThread(key);
  }
  manager.RemoveItrForThread(5);
  EXPECT_EQ(2U, MapOf(manager).size());
  EXPECT_EQ(0U, MapOf(manager).count(5));
}

TEST(ContainerInfoItrMgr, RemovedEntryComesBackWithoutARecord) {
  std::list<ContainerInfo> records(1);
  ContainerInfoItrMgr manager;
  manager.GetItrForThread(5) = records.begin();
  manager.RemoveItrForThread(5);
  EXPECT_EQ(Cursor(), manager.GetItrForThread(5));
}

TEST(ContainerInfoItrMgr, RemoveOfAnUnknownKeyDoesNothing) {
  std::list<ContainerInfo> records(1);
  ContainerInfoItrMgr manager;
  manager.RemoveItrForThread(5);
  EXPECT_TRUE(MapOf(manager).empty());
  Cursor& cursor = manager.GetItrForThread(4);
  cursor = records.begin();
  manager.RemoveItrForThread(5);
  EXPECT_EQ(1U, MapOf(manager).size());
  EXPECT_EQ(records.begin(), cursor);
}

TEST(ContainerInfoItrMgr, MutexIsFreeAfterEachCall) {
  ContainerInfoList list;
  list.GetSyncList()->Records.push_back(Record("/a"));
  for (auto const& call : std::vector<std::function<void()>>{
           [&] { list.AddItrForThread(5); }, [&] { list.AddItrForThread(5); },
           [&] { list.GetItrForThread(6); }, [&] { list.GetItrForThread(6); },
           [&] { list.RemoveItrForThread(6); }, [&] { list.RemoveItrForThread(6); },
           [&] { list.GetFirst(); }, [&] { list.GetNext(); }, [&] { list.GetPrevious(); }}) {
    call();
    EXPECT_TRUE(IsFree(MutexOf(list)));
  }
}

TEST(ContainerInfoItrMgr, OperationsPassLockErrorOut) {
  ContainerInfoItrMgr manager;
  manager.AddItrForThread(5);
  {
    HeldMutex const held(manager);
    ExpectLockError([&] { manager.AddItrForThread(6); });
    ExpectLockError([&] { manager.GetItrForThread(5); });
    ExpectLockError([&] { manager.GetItrForThread(6); });
    ExpectLockError([&] { manager.RemoveItrForThread(5); });
  }
  EXPECT_EQ(1U, MapOf(manager).size());
  EXPECT_EQ(1U, MapOf(manager).count(5));
}

TEST(ContainerInfoItrMgr, WalksPassLockErrorOut) {
  ContainerInfoList list;
  list.GetSyncList()->Records.push_back(Record("/a"));
  list.GetSyncList()->Records.push_back(Record("/b"));
  list.GetFirst();
  {
    HeldMutex const held(list);
    ExpectLockError([&] { list.GetFirst(); });
    ExpectLockError([&] { list.GetNext(); });
    ExpectLockError([&] { list.GetPrevious(); });
  }
  EXPECT_STREQ("/b", list.GetNext());  // The cursor stayed where it was.
}

TEST(ContainerInfoItrMgr, ThreadsMayAddAndRemoveAtOnce) {
  ContainerInfoItrMgr manager;
  auto const work = [&manager](unsigned int first) {
    return [&manager, first](PeerSide&) {
      for (unsigned int key = first; key < first + 500; ++key) {
        Cursor& cursor = manager.GetItrForThread(key);
        manager.AddItrForThread(key);
        EXPECT_EQ(&cursor, &manager.GetItrForThread(key));
        if (key % 2 == 0) {
          manager.RemoveItrForThread(key);
        }
      }
    };
  };
  {
    ThreadPeer one(work(0));
    ThreadPeer two(work(1000));
    EXPECT_TRUE(one.Finish());
    EXPECT_TRUE(two.Finish());
  }
  EXPECT_EQ(500U, MapOf(manager).size());
}

}  // namespace
