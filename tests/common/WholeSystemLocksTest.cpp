// What holds for the locks, whatever the call into the system.

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/SystemCalls.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Peer.h"

namespace {

using Names = std::vector<std::string>;

// "list", "file" or "semaphore".
std::string KindOf(void* object) {
  auto* const lock = static_cast<IPC::CReadWriteLock*>(object);
  if (dynamic_cast<IPC::CReadWriteLock_pth*>(lock) != nullptr) {
    return "list";
  }
  return dynamic_cast<IPC::CReadWriteLock_file*>(lock) != nullptr ? "file" : "semaphore";
}

bool IsLock(Seams::Call const& call) { return call.name == "ReadLock" || call.name == "WriteLock"; }

bool IsUnlock(Seams::Call const& call) {
  return call.name == "ReadUnlock" || call.name == "WriteUnlock";
}

bool MayFail(Seams::Call const& call) {
  return !IsUnlock(call) && call.name[0] != '~' && !IsAboutText(call) && call.name != "_debug";
}

// Follows the locks that this thread holds.
class LockWatch {
 public:
  LockWatch() {
    m_seams.Before = [this](Seams::Call const& call) {
      if (IsUnlock(call)) {
        m_held.erase(std::find(m_held.begin(), m_held.end(), KindOf(call.object)));
      }
      if (Before) {
        Before(call);
      }
    };
    m_seams.After = [this](Seams::Call const& call) {
      if (IsLock(call)) {
        m_held.push_back(KindOf(call.object));
        m_lastFile = m_held.back() == "file" ? call.object : m_lastFile;
      }
      if (After) {
        After(call);
      }
    };
  }

  std::function<void(Seams::Call const&)> Before;
  std::function<void(Seams::Call const&)> After;

  Names const& Held() const { return m_held; }
  long Held(std::string const& kind) const {
    return std::count(m_held.begin(), m_held.end(), kind);
  }
  // The file's lock that was taken last.
  void const* LastFile() const { return m_lastFile; }
  CommonSeams& Seams() { return m_seams; }

 private:
  CommonSeams m_seams;
  Names m_held;
  void const* m_lastFile = nullptr;
};

// Makes the call; what it throws by itself is of no interest here.
void Make(SystemCall const& call, World& world) {
  try {
    call.run(world);
  } catch (XTOOStatus const&) {
    return;
  }
}

bool IsFree(boost::mutex& mutex) {
  bool const taken = mutex.try_lock();
  if (taken) {
    mutex.unlock();
  }
  return taken;
}

// Whether other threads and processes get every lock of the world.
bool AreLocksFree(World& world) {
  for (std::string const& file : {world.File, world.RecordFile, world.Folder.CommonFile()}) {
    if (IsThere(file) && StatOf(file).st_size >= 0 && S_ISREG(StatOf(file).st_mode) &&
        FileLockOf(file) != Lock::None) {
      return false;
    }
  }
  ThreadPeer peer([&](PeerSide& side) {
    IPC::CWriteLocker const list(world.List.GetSyncList()->Lock);
    if (world.Facade) {
      IPC::CWriteLocker const facade(world.Facade->GetSyncList()->Lock);
    }
    side.Reached();
  });
  return FolderLockOf(world.Folder.Path()) == Lock::None && peer.AwaitStep();
}

TEST(Locks, EveryCallReleasesWhatItTook) {
  for (SystemCall const& call : SystemCalls()) {
    auto const world = WorldFor(call);
    LockWatch watch;
    Make(call, *world);
    EXPECT_EQ(Names{}, watch.Held()) << call.name;
    EXPECT_TRUE(AreLocksFree(*world)) << call.name;
  }
}

// Every base service that a call asks fails in turn, in two ways.
TEST(Locks, EveryCallReleasesWhatItTookWhateverFails) {
  for (SystemCall const& call : SystemCalls()) {
    bool isReached = true;
    for (long failing = 0; isReached; ++failing) {
      auto const world = WorldFor(call);
      int const descriptors = CountDescriptors();
      LockWatch watch;
      long number = 0;
      isReached = false;
      watch.Before = [&](Seams::Call const& made) {
        if (!MayFail(made) || number++ != failing) {
          return;
        }
        isReached = true;
        if (failing % 2 == 0) {
          throw XTOOStatus(4711, "from within", false);
        }
        throw std::runtime_error("from within");
      };
      try {
        Make(call, *world);
      } catch (std::runtime_error const&) {
        EXPECT_TRUE(isReached);
      }
      EXPECT_EQ(Names{}, watch.Held()) << call.name << " " << failing;
      EXPECT_EQ(descriptors, CountDescriptors()) << call.name << " " << failing;
      EXPECT_TRUE(IsFree(MutexOf(world->List)));
    }
  }
}

TEST(Locks, ListsLockIsNeverTakenUnderAFilesLock) {
  for (SystemCall const& call : SystemCalls()) {
    auto const world = WorldFor(call);
    LockWatch watch;
    watch.Before = [&](Seams::Call const& made) {
      if (IsLock(made) && KindOf(made.object) == "list") {
        EXPECT_EQ(0, watch.Held("file")) << call.name;
        EXPECT_EQ(0, watch.Held("list")) << call.name;
      }
    };
    Make(call, *world);
  }
}

TEST(Locks, FilesLocksAreHeldOneAtATime) {
  long taken = 0;
  for (SystemCall const& call : SystemCalls()) {
    auto const world = WorldFor(call);
    LockWatch watch;
    watch.Before = [&](Seams::Call const& made) {
      if (IsLock(made) && KindOf(made.object) == "file") {
        ++taken;
        // An edit takes the one that it holds again, through its store.
        EXPECT_TRUE(watch.Held("file") == 0 || watch.LastFile() == made.object) << call.name;
      }
    };
    Make(call, *world);
  }
  EXPECT_LT(20, taken);
}

TEST(Locks, SemaphoresLockIsHeldAlone) {
  long taken = 0;
  for (SystemCall const& call : SystemCalls()) {
    auto const world = WorldFor(call);
    LockWatch watch;
    watch.Before = [&](Seams::Call const& made) {
      if (IsLock(made)) {
        taken += KindOf(made.object) == "semaphore" ? 1 : 0;
        EXPECT_TRUE(KindOf(made.object) != "semaphore" || watch.Held().empty()) << call.name;
        EXPECT_EQ(0, watch.Held("semaphore")) << call.name;
      }
    };
    Make(call, *world);
  }
  EXPECT_EQ(4, taken);
}

// Texts that are asked for included: a walk asks for nothing else.
TEST(Locks, CursorMutexIsFreeWheneverABaseServiceIsAsked) {
  for (SystemCall const& call : SystemCalls()) {
    auto const world = WorldFor(call);
    long asked = 0;
    LockWatch watch;
    auto const look = [&](Seams::Call const&) {
      ++asked;
      EXPECT_TRUE(IsFree(MutexOf(world->List))) << call.name;
      EXPECT_TRUE(!world->Facade || IsFree(MutexOf(*world->Facade->GetListItrMgr()))) << call.name;
    };
    watch.Before = look;
    watch.After = look;
    Make(call, *world);
    EXPECT_TRUE(asked > 0 || call.name.find("ItrForThread") != std::string::npos ||
                call.name == "GetNext" || call.name == "GetPrevious")
        << call.name;
  }
}

// The walk from the first record to the last and back.
TEST(Locks, CursorMutexIsFreeWhileACursorMoves) {
  World world;
  world.List.GetSyncList()->Records.push_back(Record("/last"));
  LockWatch watch;
  long texts = 0;
  watch.Before = [&](Seams::Call const& made) {
    texts += made.name == "Text" ? 1 : 0;
    EXPECT_TRUE(IsFree(MutexOf(world.List)));
  };
  EXPECT_STREQ("/last", world.List.GetNext());
  EXPECT_EQ(nullptr, world.List.GetNext());
  EXPECT_STREQ("/last", world.List.GetPrevious());
  EXPECT_STREQ(world.Key.c_str(), world.List.GetPrevious());
  EXPECT_EQ(nullptr, world.List.GetPrevious());
  EXPECT_EQ(3, texts);
}

// The header words of the store that a save makes on the stack, seen through the store's file name:
// the two stand at a fixed distance.
class SeenStore {
 public:
  // Every call that is made from now on, until the store was found.
  void Look(Seams::Call const& call, std::string const& fileName) {
    if (m_name == nullptr && call.name == "Text" && IsOnStack(call.object) &&
        fileName == static_cast<char const*>(*static_cast<CTOOString*>(call.object))) {
      m_name = static_cast<char const*>(call.object);
    }
  }
  unsigned int Mark() const {
    struct Distance : CQuasiStructFile {
      long InBytes() const {
        return reinterpret_cast<char const*>(&m_fileName) - reinterpret_cast<char const*>(&Words);
      }
    };
    if (m_name == nullptr) {
      return 0;
    }
    char const* const words = m_name - Distance().InBytes();
    return reinterpret_cast<QuasiStructFileBase::HeaderWords const*>(words)->CleanedMark;
  }

 private:
  static bool IsOnStack(void const* object) {
    char const here = 0;
    long const distance = static_cast<char const*>(object) - &here;
    return distance > 0 && distance < 65536;
  }

  char const* m_name = nullptr;
};

// One call end to end, in the order that all others rely on.
class AddEndToEnd : public testing::Test {
 protected:
  AddEndToEnd() { WriteFile(m_world.Folder.CommonFile(), CatalogueFile(0, {m_world.Key})); }

  // What marks a step, locks with their kinds; empty for the rest: whether the file is there is
  // asked again and again. Steps that are repeated count once.
  std::string StepOf(Seams::Call const& call) const {
    if (IsLock(call) || IsUnlock(call)) {
      return KindOf(call.object) + " " + call.name;
    }
    bool const isAboutFile = call.text == m_world.Folder.CommonFile();
    bool const isOtherEnd = call.name[0] == '~' && call.name != "~FileLock";
    if (IsAboutText(call) || call.name == "Length" || isOtherEnd ||
        (isAboutFile && call.name != "FileLock")) {
      return "";
    }
    return call.name + " " + Short(call.text);
  }

  World m_world;

 private:
  // Without the folder.
  std::string Short(std::string const& text) const {
    std::string const& folder = m_world.Folder.Path();
    std::size_t const found = text.find(folder);
    return found == std::string::npos ? text
                                      : text.substr(0, found) + text.substr(found + folder.size());
  }
};

TEST_F(AddEndToEnd, RunsItsStepsInOrder) {
  CommonContInfoList facade;
  Names steps;
  {
    CommonSeams seams;
    seams.Before = [&](Seams::Call const& call) {
      std::string const step = StepOf(call);
      if (!step.empty() && (steps.empty() || steps.back() != step)) {
        steps.push_back(step);
      }
    };
    facade.Add(m_world.Other.c_str());
  }
  std::string text;
  for (std::string const& step : steps) {
    text += step + "\n";
  }
  EXPECT_EQ(
      "ParseFullPath /other\n"
      "MakeFullPath \n"
      "list ReadLock\n"
      "CollateNoCase /key\n"
      "list ReadUnlock\n"
      "list WriteLock\n"
      "FileLock /quendril/cont_info.dat\n"
      "file ReadLock\n"
      "Open rbc /quendril/cont_info.dat\n"
      "file ReadUnlock\n"
      "IsExists /key\n"
      "IsExists /other\n"
      "file ReadLock\n"
      "Open rbc /quendril/cont_info.dat\n"
      "ReadBlob \n"
      "file ReadUnlock\n"
      "file WriteLock\n"
      "Open r+bc /quendril/cont_info.dat\n"
      "Truncate \n"
      "Close \n"
      "file WriteUnlock\n"
      "Open wbc /quendril/cont_info.dat\n"
      "Write \n"
      "WriteBlob \n"
      "~FileLock \n"
      "list WriteUnlock\n",
      text);
}

TEST_F(AddEndToEnd, EachStepFindsWhatTheOneBeforeLeft) {
  CommonContInfoList facade;
  std::list<ContainerInfo>& records = facade.GetSyncList()->Records;
  std::string const file = m_world.Folder.CommonFile();
  SeenStore store;
  Names seen;
  CommonSeams seams;
  seams.Before = [&](Seams::Call const& call) {
    store.Look(call, file);
    if (call.name == "WriteLock" && KindOf(call.object) == "list") {
      EXPECT_EQ(1U, records.size());  // The record is appended under the lock.
    } else if (call.name == "FileLock") {
      EXPECT_EQ(2U, records.size());
      EXPECT_EQ(ContainerInfo::StateAdded + 0U, records.back().State);
    } else if (call.name == "IsExists" && call.text == m_world.Key) {
      EXPECT_EQ(1U, store.Mark());  // Set before the list is repaired.
      EXPECT_EQ(CatalogueFile(0, {m_world.Key}), ReadFile(file));
    } else if (call.name == "ReadBlob") {
      EXPECT_EQ(ContainerInfo::StateAdded + 0U, records.back().State);
    } else if (call.name == "Truncate") {
      EXPECT_EQ(ContainerInfo::StateSynced + 0U, records.back().State);  // Merged.
      EXPECT_EQ(CatalogueFile(0, {m_world.Key}), ReadFile(file));
    } else if (call.name == "Write") {
      EXPECT_EQ("", ReadFile(file));
    } else {
      return;
    }
    if (seen.empty() || seen.back() != call.name) {
      seen.push_back(call.name);
    }
  };
  facade.Add(m_world.Other.c_str());
  EXPECT_EQ((Names{"WriteLock", "FileLock", "IsExists", "ReadBlob", "Truncate", "Write"}), seen);
  EXPECT_EQ(CatalogueFile(1, {m_world.Key, m_world.Other}), ReadFile(file));
}

}  // namespace
