// In which order things are destroyed, and that nothing is left behind.

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/catalogue/seams/Seams.h"
#include "tests/support/Allocations.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"

namespace {

class Lifetime : public CatalogueFixture {};

// The objects that `destroy` destroys, of those asked for, in order.
std::vector<void*> Destroyed(std::vector<void*> const& asked,
                             std::function<void()> const& destroy) {
  Seams seams;
  seams.NoteDestructors = true;
  destroy();
  std::vector<void*> objects;
  for (Seams::Call const& call : seams.Calls) {
    for (void* const object : asked) {
      if (call.name[0] == '~' && call.object == object) {
        objects.push_back(object);
      }
    }
  }
  return objects;
}

TEST_F(Lifetime, RecordGoesFromItsLastMemberToItsFirst) {
  auto record = std::make_unique<ContainerInfo>();
  record->SubConts.resize(2);
  std::vector<void*> const members{&record->SubConts.front().Ident, &record->SubConts.back().Ident,
                                   &record->Ident2, &record->Ident1, &record->Path};
  EXPECT_EQ(members, Destroyed(members, [&] { record.reset(); }));
}

TEST_F(Lifetime, LockGoesBeforeTheRecordsItGuards) {
  auto sync = std::make_unique<SyncList>();
  sync->Records.resize(2);
  std::vector<void*> const members{&sync->Lock, &sync->Records.front().Path,
                                   &sync->Records.back().Path};
  EXPECT_EQ(members, Destroyed(members, [&] { sync.reset(); }));
}

TEST_F(Lifetime, ListGoesLockFirstThenRecordsThenName) {
  Write(CatalogueFile(1, {"/a", "/b"}));
  auto list = std::make_unique<ContainerInfoList>(File());
  void* const name = reinterpret_cast<char*>(list.get()) + sizeof(ContainerInfoItrMgr);
  std::vector<void*> const members{&list->GetSyncList()->Lock, &RecordsOf(*list).front().Path,
                                   &RecordsOf(*list).back().Path, name};
  EXPECT_EQ(members, Destroyed(members, [&] { list.reset(); }));
}

TEST_F(Lifetime, DestructionFreesEverything) {
  std::string const path = Container("key");
  Write(RecordFile(0, 1, "head",
                   {ContainerBytes(path, "i", "j", 5, {{"s", 1, 2}, {"t", 3, 4}}),
                    ContainerBytes(m_folder.Path())}));
  { ContainerInfoList const warm(File()); }
  Allocations const allocations;
  auto list = std::make_unique<ContainerInfoList>(File());
  list->GetFirst();
  list->Load(nullptr);
  list->Save(true);
  long const inUse = allocations.Outstanding();
  list.reset();
  long const left = allocations.Outstanding();
  EXPECT_LT(10, inUse);
  EXPECT_EQ(0, left);
}

ContainerInfo FullRecord() {
  ContainerInfo record;
  record.Path = "/some/container";
  record.Ident1 = Blob("first");
  record.Ident2 = Blob("second");
  record.SubConts.resize(3);
  record.SubConts.front().Ident = Blob("sub");
  return record;
}

// Runs `step` with the first allocation failing, then the second and so on until it needs no more,
// once and for ever; `step` must pass std::bad_alloc out and leave nothing behind.
int FailEachAllocation(std::function<void()> const& step) {
  int failures = 0;
  for (Failing const failing : {Failing::Once, Failing::ForEver}) {
    bool hasFailed = true;
    for (long number = 0; hasFailed; ++number) {
      Allocations const allocations;
      bool isThrown = false;
      {
        FailingAllocation const failed(number, failing);
        try {
          step();
        } catch (std::bad_alloc const&) {
          isThrown = true;
        }
        hasFailed = failed.HasFailed();
      }
      EXPECT_EQ(hasFailed, isThrown) << "swallowed " << number;
      EXPECT_EQ(0, allocations.Outstanding()) << number;
      failures += hasFailed ? 1 : 0;
    }
  }
  std::printf("FIGURE memory: %d allocations failed\n", failures);
  return failures;
}

TEST_F(Lifetime, EncodingThatRunsOutOfMemoryLeavesNothing) {
  ContainerInfo record = FullRecord();
  std::string const bytes = DataOf(record.WriteData());
  EXPECT_LE(1, FailEachAllocation([&] { record.WriteData(); }));
  EXPECT_LE(1, FailEachAllocation([&] { record.SubConts.front().WriteData(); }));
  EXPECT_EQ(bytes, DataOf(record.WriteData()));
}

TEST_F(Lifetime, DecodingThatRunsOutOfMemoryLeavesNothing) {
  IdentObj const blob = FullRecord().WriteData();
  EXPECT_LE(5, FailEachAllocation([&] { ContainerInfo().ReadData(blob.Data, blob.Length); }));
}

TEST_F(Lifetime, CopyThatRunsOutOfMemoryLeavesNothing) {
  ContainerInfo const record = FullRecord();
  EXPECT_LE(5, FailEachAllocation([&] { ContainerInfo const copy(record); }));
  EXPECT_LE(5, FailEachAllocation([&] {
              ContainerInfo copy;
              copy = record;
            }));
}

// Whole lists. The names and files of each round are made beforehand: only the list itself meets
// the failures.
class ListWithoutMemory : public Lifetime {
 protected:
  // Runs `use` on a list over the file, which holds `bytes` each time. In a process of its own,
  // whose time is limited: what throws where it must not ends the process, and a lock that is still
  // held makes it wait for ever.
  void FailEach(std::string const& bytes, std::function<void(ContainerInfoList&)> const& use) {
    bool const endedWell = InProcess([&] {
      long failures = 0;
      for (Failing const failing : {Failing::Once, Failing::ForEver}) {
        long number = 0;
        while (FailsLeavingNothing(number, failing, bytes, use) && !HasFailure()) {
          ++number;
        }
        EXPECT_LE(20, number);
        failures += number;
      }
      std::printf("FIGURE memory: %ld allocations failed\n", failures);
      return true;
    });
    EXPECT_TRUE(endedWell);
  }

  std::string const m_path = Container("key");
  std::string const m_other = Container("other");

 private:
  // Lets the allocation with that number fail; false when `use` needs fewer.
  bool FailsLeavingNothing(long number, Failing failing, std::string const& bytes,
                           std::function<void(ContainerInfoList&)> const& use) {
    std::filesystem::remove(m_file);
    ContainerInfoList list(File());
    RecordsOf(list).push_back(Record(m_path, ContainerInfo::StateAdded));
    WriteFile(m_file, bytes);
    int const before = CountDescriptors();
    bool const hasFailed = FailOne(list, number, failing, use);
    EXPECT_EQ(before, CountDescriptors()) << number;
    EXPECT_TRUE(!IsThere(m_file) || FileLockOf(m_file) == Lock::None) << number;
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path()));
    // It works as soon as there is memory again, which needs the list's lock.
    list.Save(true);
    EXPECT_EQ(PathsIn(list), PathsInFile(m_file)) << number;
    return hasFailed;
  }

  static bool FailOne(ContainerInfoList& list, long number, Failing failing,
                      std::function<void(ContainerInfoList&)> const& use) {
    FailingAllocation const failed(number, failing);
    try {
      use(list);
    } catch (std::bad_alloc const&) {
      return true;
    }
    return failed.HasFailed();
  }
};

TEST_F(ListWithoutMemory, LoadLeavesNoLockAndNoDescriptor) {
  FailEach(CatalogueFile(1, {m_path, m_other}),
           [](ContainerInfoList& list) { list.Load(nullptr); });
}

TEST_F(ListWithoutMemory, LoadThatCleansLeavesNoLockAndNoDescriptor) {
  FailEach(CatalogueFile(0, {m_path, "/gone", m_other}),
           [](ContainerInfoList& list) { list.Load(nullptr); });
}

TEST_F(ListWithoutMemory, SaveLeavesNoLockAndNoDescriptor) {
  FailEach(CatalogueFile(0, {m_path, m_other}), [](ContainerInfoList& list) { list.Save(true); });
}

TEST_F(ListWithoutMemory, AddLeavesNoLockAndNoDescriptor) {
  FailEach(CatalogueFile(0, {m_path}), [&](ContainerInfoList& list) { list.Add(m_other.c_str()); });
}

TEST_F(ListWithoutMemory, EraseLeavesNoLockAndNoDescriptor) {
  FailEach(CatalogueFile(0, {m_path, m_other}),
           [&](ContainerInfoList& list) { list.Erase(m_path.c_str()); });
}

}  // namespace
