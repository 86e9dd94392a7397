// A file that is removed, or replaced by another under its name, at every step of an operation.

#include <cerrno>
#include <filesystem>
#include <functional>
#include <list>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/catalogue/seams/Seams.h"
#include "tests/hard/errors/Faults.h"
#include "tests/hard/errors/Outcomes.h"
#include "tests/recordstore/Operations.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"
#include "tests/support/ObservedStore.h"

namespace {

constexpr long kNever = 1000000;
constexpr std::size_t kHeaderWords = 12;

// What the file becomes: another content, or nothing.
struct Exchange {
  bool isRemoval;
  std::string content;

  void Make(Place const& place) const {
    if (isRemoval) {
      std::filesystem::remove(place.File);
      return;
    }
    WriteFile(place.Aside, content);
    ShiftWriteTime(place.Aside, 2);  // Newer than what was read before.
    std::filesystem::rename(place.Aside, place.File);
  }
};

// What a run with the exchange before step number `step` came to.
struct Run {
  bool isReached;  // Whether there was such a step.
  std::string content;
};

void ExpectNothingHeld(Place const& place, int descriptors) {
  EXPECT_EQ(descriptors, CountDescriptors());
  EXPECT_TRUE(!IsThere(place.File) || FileLockOf(place.File) == Lock::None);
  EXPECT_EQ(Lock::None, FolderLockOf(place.Folder));
}

// Exchanges the file before each step in turn. Afterwards it is one of: what came in its place,
// what the operation leaves of that, what it leaves of what was there before, and `also`.
void ExchangeAtEachStep(Exchange const& exchange, std::set<std::string> const& also,
                        std::function<Run(Exchange const&, long)> const& run) {
  std::set<std::string> allowed{run(exchange, kNever).content, run(exchange, 0).content,
                                exchange.isRemoval ? ContentOf("") : exchange.content};
  allowed.insert(also.begin(), also.end());
  bool isReached = true;
  for (long step = 0; isReached; ++step) {
    SCOPED_TRACE((exchange.isRemoval ? "removed at " : "replaced at ") + std::to_string(step));
    Run const made = run(exchange, step);
    isReached = made.isReached;
    EXPECT_EQ(1U, allowed.count(made.content)) << ToHex(made.content);
  }
}

// The record store.

std::string const kHeader = "head";
std::string const kFile = RecordFile(1, 2, kHeader, kOperationRecords);

// Another file with records of the same lengths.
std::string OtherFile() {
  std::list<std::string> records;
  for (std::string const& record : kOperationRecords) {
    records.push_back(Pattern(static_cast<unsigned int>(record.size()), 9));
  }
  return RecordFile(1, 2, kHeader, records);
}

void ExpectUsable(ObservedStore& store, Place const& place) {
  store.Before = nullptr;
  store.Clear();
  place.Restore();
  EXPECT_EQ(0U, store.Reload(nullptr, true, false));
  EXPECT_EQ(0U, store.Add(Blob("added")));
  EXPECT_EQ(kFile + Item("added"), ReadFile(place.File));
}

Run RunOnStore(Operation const& operation, Exchange const& exchange, long step) {
  Place place(kFile);
  place.Restore();
  int const descriptors = CountDescriptors();
  ObservedStore store(place.File, true);
  long steps = 0;
  store.Before = [&](std::string const& name) {
    // Not an operation of the storage, and made where nothing may throw.
    if (name != "delete handle" && steps++ == step) {
      exchange.Make(place);
    }
  };
  try {
    std::set<unsigned int> const known{0, 1, 4, ENOENT};
    EXPECT_EQ(1U, known.count(operation.run(store)));
  } catch (XTOOStatus const& thrown) {
    EXPECT_EQ(ENOENT, thrown.Status());  // It went between two questions.
  }
  EXPECT_EQ(0, store.OpenHandles);
  ExpectNothingHeld(place, descriptors);
  Run const run{steps > step, ContentOf(place.File)};
  ExpectUsable(store, place);
  return run;
}

class ExchangedFile : public testing::TestWithParam<bool> {};

TEST_P(ExchangedFile, UnderARecordStore) {
  Exchange const exchange{GetParam(), OtherFile()};
  std::vector<Operation> operations = Operations();
  operations.push_back({"PutHeader",
                        [](auto& store) { return store.PutHeader(Blob("longer head")); },
                        Lock::Exclusive, true, true});
  operations.push_back(
      {"Init", [](auto& store) { return store.Init(); }, Lock::Shared, false, false});
  operations.push_back({"Reload", [](auto& store) { return store.Reload(nullptr, true, false); },
                        Lock::Shared, false, false});
  for (Operation const& operation : operations) {
    SCOPED_TRACE(operation.name);
    ExchangeAtEachStep(exchange, {}, [&](Exchange const& made, long step) {
      return RunOnStore(operation, made, step);
    });
  }
}

// The catalogue. Its steps are the base services that it asks.

struct ListOperation {
  std::string name;
  std::function<void(ContainerInfoList&, Place const&)> run;
};

std::vector<ListOperation> ListOperations(std::string const& key, std::string const& other) {
  return {
      {"new", [](auto&, Place const& place) { ContainerInfoList const made(place.Path.c_str()); }},
      {"Load", [](auto& list, Place const&) { list.Load(nullptr); }},
      {"Save", [](auto& list, Place const&) { list.Save(true); }},
      {"Add", [other](auto& list, Place const&) { list.Add(other.c_str()); }},
      {"Erase", [key](auto& list, Place const&) { list.Erase(key.c_str()); }},
  };
}

Run RunOnList(ListOperation const& operation, std::string const& content, Exchange const& exchange,
              long step) {
  Place place(content);
  place.Restore();
  int const descriptors = CountDescriptors();
  ContainerInfoList list;
  list.Load(place.File.c_str());
  place.Restore();  // A load that cleans has written.
  long steps = 0;
  {
    Seams seams;
    seams.Before = [&](Seams::Call const& call) {
      bool const isEnd = call.name == "ReadUnlock" || call.name == "WriteUnlock";
      if (!isEnd && steps++ == step) {
        exchange.Make(place);
      }
    };
    try {
      operation.run(list, place);
    } catch (XTOOStatus const& thrown) {
      EXPECT_EQ("new", operation.name);
      EXPECT_EQ(ENOENT, thrown.Status());
    }
  }
  ExpectNothingHeld(place, descriptors);
  Run const run{steps > step, ContentOf(place.File)};
  place.Restore();
  list.Load(place.File.c_str());
  EXPECT_FALSE(PathsIn(list).empty());
  list.Save(true);
  EXPECT_EQ(PathsIn(list), PathsInFile(place.File));
  return run;
}

TEST_P(ExchangedFile, UnderACatalogue) {
  TempFolder const containers;
  std::string const key = containers / "key";
  std::string const second = containers / "second";
  std::string const other = containers / "other";
  for (std::string const& path : {key, second, other}) {
    WriteFile(path, "");
  }
  for (unsigned int const mark : {0U, 1U}) {
    SCOPED_TRACE(mark == 0 ? "never cleaned" : "cleaned");
    std::string const content = CatalogueFile(mark, {key, containers / "gone", second});
    Exchange const exchange{GetParam(), CatalogueFile(mark, {second, containers / "lost"})};
    for (ListOperation const& operation : ListOperations(key, other)) {
      SCOPED_TRACE(operation.name);
      auto run = [&](Exchange const& made, long step) {
        return RunOnList(operation, content, made, step);
      };
      // Between the removal, or the emptying, and the writing nothing is locked: what comes in the
      // file's place just then is appended to.
      std::string const own = run(exchange, kNever).content;
      ExchangeAtEachStep(exchange, {exchange.content + own.substr(kHeaderWords)}, run);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(RemovedOrReplaced, ExchangedFile, testing::Bool(),
                         [](auto const& isRemoval) {
                           return isRemoval.param ? "Removed" : "Replaced";
                         });

}  // namespace
