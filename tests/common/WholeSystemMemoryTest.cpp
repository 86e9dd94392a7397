// What can only be seen by the program's own operators new and delete: that nothing leaks, that
// running out of memory breaks nothing, and in which order objects end.

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
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
#include "tests/support/Bytes.h"
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
bool MakeWithout(long allocation, Failing failing, SystemCall const& call, World& world) {
  FailingAllocation const failed(allocation, failing);
  try {
    call.run(world);
  } catch (XTOOStatus const&) {
    return failed.HasFailed();
  } catch (std::bad_alloc const&) {
    return true;
  }
  return failed.HasFailed();
}

void ExpectNothingHeld(World& world, std::string const& what) {
  for (std::string const& file : {world.File, world.RecordFile, world.Folder.CommonFile()}) {
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

// The same objects go on working once there is memory again.
void ExpectUsable(World& world, std::string const& what) {
  world.Store.Clear();
  WriteFile(world.RecordFile, RecordFile({"one"}));
  EXPECT_EQ(0U, world.Store.Reload(world.RecordFile.c_str(), true, false)) << what;
  EXPECT_EQ(0U, world.Store.Add(Blob("added"))) << what;
  IdentObj record;
  EXPECT_EQ(0U, world.Store.Get(1, record)) << what;
  EXPECT_EQ("added", DataOf(record)) << what;
  world.List.Load(world.File.c_str());
  world.List.Add(world.Other.c_str());
  EXPECT_NE(nullptr, world.List.FindRecord(world.Other.c_str(), true)) << what;
  EXPECT_EQ(PathsIn(world.List), PathsInFile(world.File)) << what;
  if (world.Facade) {
    world.Facade->Load();
    EXPECT_FALSE(world.Facade->bIsChange()) << what;
    world.Facade->Save(true);
    EXPECT_TRUE(world.Facade->bIsChange()) << what;
  }
}

void MakeAllOnce() {
  for (SystemCall const& call : SystemCalls()) {
    auto const world = WorldFor(call);
    MakeWithout(-1, Failing::Once, call, *world);
    ExpectNothingHeld(*world, call.name);
    ExpectUsable(*world, call.name);
  }
}

// Makes the call with each of its allocations failing in turn. Returns how many that were.
long MakeWithoutEach(SystemCall const& call, Failing failing) {
  bool isReached = true;
  long allocation = 0;
  for (; isReached; ++allocation) {
    std::string const what = call.name + (failing == Failing::Once ? " " : " for ever from ") +
                             std::to_string(allocation);
    long const blocks = LiveBlocks();
    int const descriptors = CountDescriptors();
    {
      auto const world = WorldFor(call);
      isReached = MakeWithout(allocation, failing, call, *world);
      ExpectNothingHeld(*world, what);
      ExpectUsable(*world, what);
    }
    EXPECT_EQ(blocks, LiveBlocks()) << what;
    EXPECT_EQ(descriptors, CountDescriptors()) << what;
  }
  return allocation - 1;
}

// A number that forked processes add to.
class SharedCount {
 public:
  SharedCount()
      : m_memory(::mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                        -1, 0)) {
    if (m_memory == MAP_FAILED) {
      throw std::runtime_error("no shared memory");
    }
  }
  SharedCount(SharedCount const&) = delete;
  SharedCount& operator=(SharedCount const&) = delete;
  ~SharedCount() { ::munmap(m_memory, sizeof(long)); }
  long& Value() { return *static_cast<long*>(m_memory); }

 private:
  void* m_memory;
};

// In processes of their own: one that ends for lack of memory must not take the others with it.
void ExpectSoundWithout(Failing failing) {
  MakeAllOnce();  // What is made once for the whole program is made now.
  SharedCount failures;
  Names unsound;
  for (SystemCall const& call : SystemCalls()) {
    bool const isSound = InProcess([&] {
      failures.Value() += MakeWithoutEach(call, failing);
      return true;
    });
    if (!isSound) {
      unsound.push_back(call.name);
    }
  }
  EXPECT_EQ(Names{}, unsound);
  EXPECT_LT(200, failures.Value());
  std::printf("FIGURE memory: %ld allocations failed in all calls%s\n", failures.Value(),
              failing == Failing::Once ? "" : ", and all behind each");
}

TEST(OutOfMemory, LeaksNothingAndHoldsNothing) { ExpectSoundWithout(Failing::Once); }

TEST(OutOfMemory, ThatLastsLeaksNothingAndHoldsNothing) { ExpectSoundWithout(Failing::ForEver); }

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
