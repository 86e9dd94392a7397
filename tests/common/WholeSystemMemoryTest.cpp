// What can only be seen by the program's own operators new and delete: that nothing leaks, that
// running out of memory breaks nothing, and in which order objects end.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/SystemCalls.h"
#include "tests/support/Allocations.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Peer.h"

namespace {

using Names = std::vector<std::string>;
using Cursor = ContainerInfoItrMgr::Cursor;

// The private map of cursors stands at the start of its manager.
std::map<unsigned int, Cursor> const& MapOf(ContainerInfoItrMgr const& manager) {
  return reinterpret_cast<std::map<unsigned int, Cursor> const&>(manager);
}

bool IsFree(boost::mutex& mutex) {
  bool const taken = mutex.try_lock();
  if (taken) {
    mutex.unlock();
  }
  return taken;
}

// Whether the object lies in a map's node that starts there.
bool IsNodeOf(void const* block, void const* object) {
  constexpr std::size_t kNodeSize = 48;
  return reinterpret_cast<std::uintptr_t>(object) - reinterpret_cast<std::uintptr_t>(block) <
         kNodeSize;
}

// The order of ends.

TEST(Ends, ManagersMutexThenItsMap) {
  alignas(ContainerInfoItrMgr) unsigned char place[sizeof(ContainerInfoItrMgr)];
  auto* const manager = new (place) ContainerInfoItrMgr;
  void const* const cursor = &manager->GetItrForThread(1);
  pthread_mutex_t const* const mutex = MutexOf(*manager).native_handle();
  ASSERT_NE(-1, mutex->__data.__kind);
  int nodes = 0;
  {
    WatchedDeletes const watched([&](void const* block) {
      if (IsNodeOf(block, cursor)) {
        ++nodes;
        EXPECT_EQ(-1, mutex->__data.__kind);  // What the C library leaves of a destroyed mutex.
      }
    });
    manager->~ContainerInfoItrMgr();
  }
  EXPECT_EQ(1, nodes);
}

TEST(Ends, CataloguesLockThenRecordsThenNameThenCursors) {
  Names ends;
  auto list = std::make_unique<ContainerInfoList>("/name");
  list->GetSyncList()->Records.push_back(Record("/record1"));
  list->GetSyncList()->Records.push_back(Record("/record2"));
  void const* const cursor = &list->GetItrForThread(1);
  {
    CommonSeams seams;
    seams.Before = [&](Seams::Call const& call) {
      if (call.name == "~CReadWriteLock_pth" ||
          (call.name == "~CTOOString" && !call.text.empty())) {
        ends.push_back(call.name + " " + call.text);
      }
    };
    WatchedDeletes const watched([&](void const* block) {
      if (IsNodeOf(block, cursor)) {
        ends.emplace_back("cursor");
      }
    });
    list.reset();
  }
  EXPECT_EQ((Names{"~CReadWriteLock_pth ", "~CTOOString /record1", "~CTOOString /record2",
                   "~CTOOString /name", "cursor"}),
            ends);
}

// Running out of memory.

TEST(OutOfMemory, CursorThatCannotBeMadeChangesNothing) {
  ContainerInfoList list;
  Cursor& cursor = list.GetItrForThread(1);
  for (auto const& call : std::vector<std::function<void()>>{
           [&] { list.AddItrForThread(2); }, [&] { list.GetItrForThread(2); },
           [&] { list.GetFirst(); }, [&] { list.GetNext(); }, [&] { list.GetPrevious(); }}) {
    bool isThrown = false;
    {
      FailingAllocation const failing(0);
      try {
        call();
      } catch (std::bad_alloc const&) {
        isThrown = true;
      }
    }
    EXPECT_TRUE(isThrown);
    EXPECT_TRUE(IsFree(MutexOf(list)));
    EXPECT_EQ(1U, MapOf(list).size());
    EXPECT_EQ(&cursor, &list.GetItrForThread(1));
  }
}

TEST(OutOfMemory, CursorThatIsThereNeedsNone) {
  ContainerInfoList list;
  list.GetSyncList()->Records.push_back(Record("/a"));
  list.GetFirst();
  list.AddItrForThread(1);
  FailingAllocation const failing(0);
  list.GetFirst();
  list.GetNext();
  list.GetPrevious();
  list.AddItrForThread(1);
  list.GetItrForThread(1);
  list.RemoveItrForThread(1);
  EXPECT_FALSE(failing.HasFailed());
}

// Makes the call with that allocation failing; false when it has fewer of them.
bool MakeWithout(long allocation, SystemCall const& call, World& world) {
  FailingAllocation const failing(allocation);
  try {
    call.run(world);
  } catch (XTOOStatus const&) {
    return failing.HasFailed();
  } catch (std::bad_alloc const&) {
    return true;
  }
  return failing.HasFailed();
}

void ExpectNothingHeld(World& world, std::string const& what) {
  for (std::string const& file : {world.File, world.RecordFile}) {
    EXPECT_TRUE(!IsThere(file) || FileLockOf(file) == Lock::None) << what;
  }
  EXPECT_EQ(Lock::None, FolderLockOf(world.Folder.Path())) << what;
  EXPECT_TRUE(IsFree(MutexOf(world.List))) << what;
  ThreadPeer peer([&](PeerSide& side) {
    IPC::CWriteLocker const locker(world.List.GetSyncList()->Lock);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitStep()) << what;
}

void MakeAllOnce() {
  for (SystemCall const& call : SystemCalls()) {
    auto const world = WorldFor(call);
    MakeWithout(-1, call, *world);
    ExpectNothingHeld(*world, call.name);
  }
}

// Makes the call with each of its allocations failing in turn.
void MakeWithoutEach(SystemCall const& call) {
  bool isReached = true;
  for (long allocation = 0; isReached; ++allocation) {
    std::string const what = call.name + " " + std::to_string(allocation);
    long const blocks = LiveBlocks();
    int const descriptors = CountDescriptors();
    {
      auto const world = WorldFor(call);
      isReached = MakeWithout(allocation, call, *world);
      ExpectNothingHeld(*world, what);
    }
    EXPECT_EQ(blocks, LiveBlocks()) << what;
    EXPECT_EQ(descriptors, CountDescriptors()) << what;
  }
}

// In processes of their own: one that ends for lack of memory must not take the others with it.
TEST(OutOfMemory, LeaksNothingAndHoldsNothing) {
  MakeAllOnce();  // What is made once for the whole program is made now.
  Names unsound;
  for (SystemCall const& call : SystemCalls()) {
    bool const isSound = InProcess([&] {
      MakeWithoutEach(call);
      return true;
    });
    if (!isSound) {
      unsound.push_back(call.name);
    }
  }
  EXPECT_EQ(Names{}, unsound);
}

// Every base service that a call asks fails in turn.
TEST(Leaks, FailingServicesLeaveNothing) {
  MakeAllOnce();
  for (SystemCall const& call : SystemCalls()) {
    bool isReached = true;
    for (long failing = 0; isReached; ++failing) {
      long const blocks = LiveBlocks();
      {
        auto const world = WorldFor(call);
        CommonSeams seams;
        long number = 0;
        isReached = false;
        seams.Before = [&](Seams::Call const& made) {
          bool const mayFail = made.name[0] != '~' && made.name.find("Unlock") == std::string::npos;
          if (mayFail && !IsAboutText(made) && made.name != "_debug" && number++ == failing) {
            isReached = true;
            throw std::runtime_error("from within");
          }
        };
        try {
          call.run(*world);
        } catch (XTOOStatus const&) {
          EXPECT_FALSE(isReached);
        } catch (std::runtime_error const&) {
          EXPECT_TRUE(isReached);
        }
      }
      EXPECT_EQ(blocks, LiveBlocks()) << call.name << " " << failing;
    }
  }
}

TEST(Leaks, DestroyedFacadeLeavesNothing) {
  MakeAllOnce();
  long const blocks = LiveBlocks();
  {
    World world;
    CommonContInfoList facade;
    facade.Add(world.Other.c_str());
    facade.GetFirst();
    facade.Load();
  }
  EXPECT_EQ(blocks, LiveBlocks());
}

}  // namespace
