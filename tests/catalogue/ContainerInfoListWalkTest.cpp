// ContainerInfoList: walking it, each thread with a cursor of its own.

#include <pthread.h>
#include <sys/mman.h>

#include <functional>
#include <list>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

using Cursor = ContainerInfoItrMgr::Cursor;

class ContainerInfoListWalk : public testing::Test {
 protected:
  void Fill(std::list<std::string> const& paths) {
    for (std::string const& path : paths) {
      Records().push_back(Record(path));
    }
  }
  std::list<ContainerInfo>& Records() { return m_list.GetSyncList()->Records; }
  Cursor& OwnCursor() { return m_list.GetItrForThread(static_cast<unsigned>(::pthread_self())); }
  // The cursors' map stands at the start of the object; it is private.
  std::size_t Entries() const {
    return reinterpret_cast<std::map<unsigned int, Cursor> const&>(m_list).size();
  }

  ContainerInfoList m_list;
};

// Each of the three calls, on a list.
std::vector<std::function<char const*(ContainerInfoList&)>> const& Calls() {
  static std::vector<std::function<char const*(ContainerInfoList&)>> const calls{
      &ContainerInfoList::GetFirst, &ContainerInfoList::GetNext, &ContainerInfoList::GetPrevious};
  return calls;
}

TEST_F(ContainerInfoListWalk, EmptyListGivesNull) {
  EXPECT_EQ(nullptr, m_list.GetFirst());
  EXPECT_EQ(nullptr, m_list.GetNext());
  EXPECT_EQ(nullptr, m_list.GetPrevious());
  EXPECT_EQ(nullptr, m_list.GetNext());
  EXPECT_EQ(Records().end(), OwnCursor());
}

TEST_F(ContainerInfoListWalk, ThereAndBack) {
  Fill({"/r1", "/r2", "/r3"});
  EXPECT_STREQ("/r1", m_list.GetFirst());
  EXPECT_STREQ("/r2", m_list.GetNext());
  EXPECT_STREQ("/r3", m_list.GetNext());
  EXPECT_EQ(nullptr, m_list.GetNext());
  EXPECT_EQ(nullptr, m_list.GetNext());
  EXPECT_STREQ("/r3", m_list.GetPrevious());
  EXPECT_STREQ("/r2", m_list.GetPrevious());
  EXPECT_STREQ("/r1", m_list.GetPrevious());
  EXPECT_EQ(nullptr, m_list.GetPrevious());
  EXPECT_STREQ("/r2", m_list.GetNext());
}

TEST_F(ContainerInfoListWalk, FirstStartsAnewFromAnywhere) {
  Fill({"/r1", "/r2"});
  for (int steps = 0; steps < 4; ++steps) {
    EXPECT_STREQ("/r1", m_list.GetFirst());
    for (int step = 0; step < steps; ++step) {
      m_list.GetNext();
    }
  }
}

TEST_F(ContainerInfoListWalk, NextPastTheLastRestsAtTheEnd) {
  Fill({"/r1", "/r2"});
  m_list.GetFirst();
  m_list.GetNext();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(nullptr, m_list.GetNext());
    EXPECT_EQ(Records().end(), OwnCursor());
  }
  EXPECT_STREQ("/r2", m_list.GetPrevious());
}

TEST_F(ContainerInfoListWalk, PreviousOnTheFirstStaysThere) {
  Fill({"/r1", "/r2"});
  m_list.GetFirst();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(nullptr, m_list.GetPrevious());
    EXPECT_EQ(Records().begin(), OwnCursor());
  }
  EXPECT_STREQ("/r2", m_list.GetNext());
}

TEST_F(ContainerInfoListWalk, OneRecord) {
  Fill({"/only"});
  EXPECT_STREQ("/only", m_list.GetFirst());
  EXPECT_EQ(nullptr, m_list.GetNext());
  EXPECT_STREQ("/only", m_list.GetPrevious());
  EXPECT_EQ(nullptr, m_list.GetPrevious());
}

TEST_F(ContainerInfoListWalk, GivesTheRecordsOwnText) {
  Fill({"/r1", "/r2"});
  auto const textOf = [](ContainerInfo const& record) {
    return static_cast<char const*>(record.Path);
  };
  EXPECT_EQ(textOf(Records().front()), m_list.GetFirst());
  EXPECT_EQ(textOf(Records().back()), m_list.GetNext());
  EXPECT_EQ(textOf(Records().front()), m_list.GetPrevious());
}

TEST_F(ContainerInfoListWalk, EmptyPathIsNotNull) {
  Fill({"", "", "/r3"});
  EXPECT_STREQ("", m_list.GetFirst());
  EXPECT_STREQ("", m_list.GetNext());
  EXPECT_STREQ("/r3", m_list.GetNext());
  EXPECT_STREQ("", m_list.GetPrevious());
}

TEST_F(ContainerInfoListWalk, NextAndPreviousWithoutAFirstGiveNull) {
  Fill({"/r1"});
  EXPECT_EQ(nullptr, m_list.GetNext());
  EXPECT_EQ(Cursor(), OwnCursor());
  EXPECT_EQ(nullptr, m_list.GetPrevious());
  EXPECT_EQ(Cursor(), OwnCursor());
  Records().clear();
  EXPECT_EQ(nullptr, m_list.GetNext());
  EXPECT_EQ(nullptr, m_list.GetPrevious());
  EXPECT_EQ(Cursor(), OwnCursor());
}

TEST_F(ContainerInfoListWalk, NextAndPreviousOnAnAddedEntryGiveNull) {
  Fill({"/r1"});
  m_list.AddItrForThread(static_cast<unsigned>(::pthread_self()));
  EXPECT_EQ(nullptr, m_list.GetNext());
  EXPECT_EQ(nullptr, m_list.GetPrevious());
  EXPECT_STREQ("/r1", m_list.GetFirst());
}

TEST_F(ContainerInfoListWalk, AppendedRecordLiesBehindACursorAtTheEnd) {
  Fill({"/r1"});
  m_list.GetFirst();
  m_list.GetNext();
  Fill({"/r2"});
  EXPECT_EQ(nullptr, m_list.GetNext());
  EXPECT_STREQ("/r2", m_list.GetPrevious());
}

TEST_F(ContainerInfoListWalk, AppendedRecordIsReachedFromTheLast) {
  Fill({"/r1"});
  m_list.GetFirst();
  Fill({"/r2"});
  EXPECT_STREQ("/r2", m_list.GetNext());
}

// Whose cursor it is.

TEST_F(ContainerInfoListWalk, EachCallMovesTheEntryOfTheThreadsKey) {
  Fill({"/r1", "/r2"});
  for (auto const& call : Calls()) {
    ContainerInfoList list;
    call(list);
    auto const& entries = reinterpret_cast<std::map<unsigned int, Cursor> const&>(list);
    ASSERT_EQ(1U, entries.size());
    EXPECT_EQ(static_cast<unsigned int>(::pthread_self() & 0xFFFFFFFF), entries.begin()->first);
  }
  m_list.GetFirst();
  OwnCursor() = std::prev(Records().end());
  EXPECT_STREQ("/r1", m_list.GetPrevious());
  EXPECT_EQ(Records().begin(), OwnCursor());
}

// Runs `body` on a thread whose stack, and with it whose identity, lies there.
class ThreadAt {
 public:
  static constexpr std::size_t kStackSize = 8UL << 20;

  ThreadAt(void* stack, std::function<void()> const& body) : m_body(body) {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstack(&attributes, stack, kStackSize);
    m_isRunning = ::pthread_create(&Identity, &attributes, &ThreadAt::Run, this) == 0;
    ::pthread_attr_destroy(&attributes);
  }
  ThreadAt(ThreadAt const&) = delete;
  ThreadAt& operator=(ThreadAt const&) = delete;
  ~ThreadAt() { Join(); }

  void Join() {
    if (m_isRunning) {
      ::pthread_join(Identity, nullptr);
      m_isRunning = false;
    }
  }

  pthread_t Identity{};

 private:
  static void* Run(void* self) {
    static_cast<ThreadAt*>(self)->m_body();
    return nullptr;
  }

  std::function<void()> m_body;
  bool m_isRunning = false;
};

// Stacks whose addresses are alike in their low 32 bits.
TEST_F(ContainerInfoListWalk, ThreadsAlikeInTheLowHalfShareACursor) {
  constexpr std::size_t kDistance = 1UL << 32;
  constexpr std::size_t kSize = kDistance + ThreadAt::kStackSize;
  void* const space =
      ::mmap(nullptr, kSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (space == MAP_FAILED) {
    GTEST_SKIP() << "no address space for two such threads";
  }
  void* const stacks[] = {space, static_cast<char*>(space) + kDistance};
  for (void* const stack : stacks) {
    ASSERT_EQ(0, ::mprotect(stack, ThreadAt::kStackSize, PROT_READ | PROT_WRITE));
  }
  Fill({"/r1", "/r2", "/r3"});
  std::vector<pthread_t> identities;
  std::vector<std::string> seen;
  for (void* const stack : stacks) {
    ThreadAt thread(stack, [&] {
      char const* const path = seen.empty() ? m_list.GetFirst() : m_list.GetNext();
      seen.emplace_back(path != nullptr ? path : "null");
    });
    identities.push_back(thread.Identity);
  }
  ::munmap(space, kSize);
  ASSERT_NE(identities[0], identities[1]);
  ASSERT_EQ(static_cast<unsigned>(identities[0]), static_cast<unsigned>(identities[1]));
  EXPECT_EQ((std::vector<std::string>{"/r1", "/r2"}), seen);
  EXPECT_EQ(1U, Entries());
}

TEST_F(ContainerInfoListWalk, ThreadsDoNotMoveEachOthersCursors) {
  Fill({"/r1", "/r2", "/r3"});
  ThreadPeer peer([&](PeerSide& side) {
    EXPECT_STREQ("/r1", m_list.GetFirst());
    for (char const* const path : {"/r2", "/r3"}) {
      side.Reached();
      side.AwaitGo();
      EXPECT_STREQ(path, m_list.GetNext());
    }
    side.Reached();
    side.AwaitGo();
    EXPECT_EQ(nullptr, m_list.GetNext());
  });
  ASSERT_TRUE(peer.AwaitStep());
  EXPECT_STREQ("/r1", m_list.GetFirst());
  for (char const* const path : {"/r2", "/r3"}) {
    peer.Go();
    ASSERT_TRUE(peer.AwaitStep());
    EXPECT_STREQ(path, m_list.GetNext());
  }
  peer.Go();
  EXPECT_TRUE(peer.Finish());
  EXPECT_STREQ("/r2", m_list.GetPrevious());
  EXPECT_EQ(2U, Entries());
}

TEST_F(ContainerInfoListWalk, ListsDoNotShareCursors) {
  Fill({"/r1", "/r2"});
  ContainerInfoList other;
  other.GetSyncList()->Records.push_back(Record("/other"));
  m_list.GetFirst();
  other.GetFirst();
  EXPECT_STREQ("/r2", m_list.GetNext());
  EXPECT_EQ(nullptr, other.GetNext());
}

// How long an entry stays.

TEST_F(ContainerInfoListWalk, RemovedEntryIsMadeAgainByFirst) {
  Fill({"/r1", "/r2"});
  m_list.GetFirst();
  m_list.GetNext();
  m_list.RemoveItrForThread(static_cast<unsigned>(::pthread_self()));
  EXPECT_EQ(0U, Entries());
  EXPECT_STREQ("/r1", m_list.GetFirst());
  EXPECT_STREQ("/r2", m_list.GetNext());
  EXPECT_EQ(nullptr, m_list.GetNext());
  EXPECT_EQ(1U, Entries());
}

TEST_F(ContainerInfoListWalk, EntryOfAFinishedThreadStays) {
  Fill({"/r1"});
  unsigned int key = 0;
  {
    ThreadPeer peer([&](PeerSide&) {
      m_list.GetFirst();
      key = static_cast<unsigned>(::pthread_self());
    });
    EXPECT_TRUE(peer.Finish());
  }
  EXPECT_EQ(1U, Entries());
  EXPECT_EQ(Records().begin(), m_list.GetItrForThread(key));
}

TEST_F(ContainerInfoListWalk, CatalogueRemovesNoEntry) {
  TempFolder const folder;
  std::string const file = folder / "catalogue";
  WriteFile(file, CatalogueFile(0, {folder.Path(), folder / "gone"}));
  m_list.AddItrForThread(1);
  m_list.AddItrForThread(2);
  ContainerInfoList other;
  for (auto const& call : std::vector<std::function<void()>>{
           [&] { m_list.Load(file.c_str()); }, [&] { m_list.Save(true); },
           [&] { m_list.Add(file.c_str()); }, [&] { m_list.Erase(file.c_str()); },
           [&] { m_list.Erase(nullptr); }, [&] { m_list = other; }, [&] { m_list.Load(""); },
           [&] { m_list.FindRecord("/r1", true); },
           [&] { ContainerInfoList::Fix(Records(), nullptr); }}) {
    call();
    EXPECT_EQ(2U, Entries());
  }
}

// What a walk has to do with the list's lock.

TEST_F(ContainerInfoListWalk, TakesNoLockOnTheList) {
  Fill({"/r1", "/r2"});
  IPC::CWriteLocker const locker(m_list.GetSyncList()->Lock);
  ThreadPeer peer([&](PeerSide& side) {
    EXPECT_STREQ("/r1", m_list.GetFirst());
    side.Reached();
    EXPECT_STREQ("/r2", m_list.GetNext());
    side.Reached();
    EXPECT_STREQ("/r1", m_list.GetPrevious());
    side.Reached();
  });
  for (int call = 0; call < 3; ++call) {
    EXPECT_TRUE(peer.AwaitStep());
  }
}

TEST_F(ContainerInfoListWalk, ThreadsWalkWhileOthersLookUp) {
  std::list<std::string> paths;
  for (int i = 0; i < 50; ++i) {
    paths.push_back("/folder/record" + std::to_string(i));
  }
  Fill(paths);
  auto const walk = [&](PeerSide&) {
    for (int round = 0; round < 20; ++round) {
      auto expected = paths.begin();
      for (char const* path = m_list.GetFirst(); path != nullptr; path = m_list.GetNext()) {
        EXPECT_EQ(*expected++, path);
      }
      EXPECT_EQ(paths.end(), expected);
      while (m_list.GetPrevious() != nullptr) {
        --expected;
      }
      EXPECT_EQ(paths.begin(), expected);
    }
  };
  auto const lookUp = [&](PeerSide&) {
    for (int round = 0; round < 4; ++round) {
      for (std::string const& path : paths) {
        EXPECT_EQ(path, static_cast<char const*>(m_list.GetRecord(path.c_str(), true).Path));
      }
    }
  };
  ThreadPeer walker1(walk);
  ThreadPeer walker2(walk);
  ThreadPeer finder1(lookUp);
  ThreadPeer finder2(lookUp);
  for (Peer* const peer : {&walker1, &walker2, &finder1, &finder2}) {
    EXPECT_TRUE(peer->Finish());
  }
}

}  // namespace
