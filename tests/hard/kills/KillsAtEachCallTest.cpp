// A process that changes a catalogue is killed at the entry and at the exit of each of its system
// calls.

#include <functional>
#include <iterator>
#include <list>
#include <map>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoEdit.h"
#include "catalogue/ContainerInfoList.h"
#include "tests/hard/kills/Hard.h"
#include "tests/hard/kills/LinkedRecord.h"
#include "tests/hard/kills/TracedProcess.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace {

using Paths = std::list<std::string>;

constexpr int kRecords = 8;
constexpr unsigned int kHangs = 60;
// More stops than any of the operations has.
constexpr int kMostStops = 20000;

// What is done to a catalogue.
struct Operation {
  std::string name;
  std::string oldContent;
  std::string newContent;
  std::set<std::string> others;  // What may be left of it beside the old and the new content.
  std::function<void(ContainerInfoList&)> prepare;
  std::function<void(ContainerInfoList&)> run;  // What is killed.
};

class KillsAtEachCall : public testing::Test {
 protected:
  KillsAtEachCall() {
    for (int number = 0; number < kRecords; ++number) {
      m_paths.push_back(m_folder / ("linked-" + std::to_string(number)));
      WriteFile(m_paths.back(), "");
    }
    WriteFile(m_added, "");
    WriteFile(m_later, "");
  }

  std::string Content(unsigned int mark, Paths const& paths, unsigned int param) const {
    std::list<std::string> blobs;
    for (std::string const& path : paths) {
      blobs.push_back(LinkedBytes(path, param));
    }
    return RecordFile(0, mark, "", blobs);
  }

  // Kills at each stop in turn.
  void KillAll(Operation const& operation) {
    std::map<std::string, int> left;
    LockTimes locks;
    for (int stop = 1; stop < kMostStops; ++stop) {
      Watchdog const watchdog("a process that is traced, or the recovery from its end", kHangs);
      TracedEnd const end = KillOnce(stop, operation, locks);
      if (end == TracedEnd::RanThrough) {
        EXPECT_TRUE(operation.newContent == ReadFile(m_file));
        break;
      }
      ASSERT_EQ(TracedEnd::Killed, end) << "at stop " << stop;
      std::string const state = Classify(operation);
      ++left[state];
      EXPECT_TRUE(state == "old" || state == "new" || operation.others.count(state) != 0)
          << state << " at stop " << stop;
      Recover(operation, state);
      ASSERT_FALSE(HasFailure()) << operation.name << ", stop " << stop << ", " << state;
    }
    // As much is written last, and the first calls only read.
    EXPECT_GT(left["old"], 0);
    EXPECT_GT(left["new"], 0);
    Figure("kills at each call of " + operation.name + ": " + std::to_string(locks.Taken()) +
           " kills; left: " + Listed(left) +
           "; locks later than 100 ms: " + std::to_string(locks.Late()));
  }

  TracedEnd KillOnce(int stop, Operation const& operation, LockTimes& locks) {
    WriteFile(m_file, operation.oldContent);
    ContainerInfoList list;
    return KillAtStop(
        stop, [&] { operation.prepare(list); }, [&] { operation.run(list); },
        [&] { EXPECT_TRUE(locks.Take(m_file)); });
  }

  std::string Classify(Operation const& operation) const {
    if (!IsThere(m_file)) {
      return "missing";
    }
    std::string const content = ReadFile(m_file);
    if (content == operation.oldContent) {
      return "old";
    }
    if (content == operation.newContent) {
      return "new";
    }
    if (content.empty()) {
      return "empty";
    }
    return operation.newContent.compare(0, content.size(), content) == 0 ? "cut" : "else";
  }

  // Another process goes on with the file.
  void Recover(Operation const& operation, std::string const& state) const {
    Paths expected;
    if (state == "old" || state == "new") {
      for (std::string const& path : PathsInFile(m_file)) {
        if (IsThere(path)) {
          expected.push_back(path);
        }
      }
    }
    ContainerInfoList list(m_file.c_str());
    for (ContainerInfo const& record : list.GetSyncList()->Records) {
      EXPECT_TRUE(IsLinked(record)) << record.Path;
    }
    list.Add(m_later.c_str());
    EXPECT_NE(nullptr, list.FindRecord(m_later.c_str(), true));
    expected.push_back(m_later);
    if (state == "cut") {  // Cut between two records, some of them may still be there.
      expected = PathsIn(list);
    }
    EXPECT_EQ(expected, PathsInFile(m_file)) << operation.name;
  }

  TempFolder const m_folder;
  std::string const m_file = m_folder / "catalogue";
  std::string const m_added = m_folder / "plain-added";
  std::string const m_later = m_folder / "plain-later";
  Paths m_paths;
};

#define SKIP_WITHOUT_TRACE()         \
  if (!TraceObstacle().empty()) {    \
    GTEST_SKIP() << TraceObstacle(); \
  }                                  \
  static_assert(true, "a semicolon follows")

TEST_F(KillsAtEachCall, OfASave) {
  SKIP_WITHOUT_TRACE();
  KillAll({"a Save",
           Content(1, m_paths, 0),
           Content(1, m_paths, 1),
           {"empty", "cut"},
           [&](ContainerInfoList& list) {
             list.Load(m_file.c_str());
             for (ContainerInfo& record : list.GetSyncList()->Records) {
               record = LinkedRecord(std::string(record.Path), 1);
             }
           },
           [](ContainerInfoList& list) { list.Save(true); }});
}

TEST_F(KillsAtEachCall, OfAnAdd) {
  SKIP_WITHOUT_TRACE();
  Paths after = m_paths;
  after.push_back(m_added);
  KillAll({"an Add",
           Content(1, m_paths, 0),
           Content(1, after, 0),
           {"empty", "cut"},
           [&](ContainerInfoList& list) { list.Load(m_file.c_str()); },
           [&](ContainerInfoList& list) { list.Add(m_added.c_str()); }});
}

TEST_F(KillsAtEachCall, OfAnErase) {
  SKIP_WITHOUT_TRACE();
  Paths const after(std::next(m_paths.begin()), m_paths.end());
  KillAll({"an Erase",
           Content(1, m_paths, 0),
           Content(1, after, 0),
           {"empty", "cut"},
           [&](ContainerInfoList& list) { list.Load(m_file.c_str()); },
           [&](ContainerInfoList& list) { list.Erase(m_paths.front().c_str()); }});
}

TEST_F(KillsAtEachCall, OfAnEditThatIsCommitted) {
  SKIP_WITHOUT_TRACE();
  Paths after(std::next(m_paths.begin()), m_paths.end());
  after.push_back(m_added);
  KillAll({"a ContainerInfoEdit",
           Content(1, m_paths, 0),
           Content(1, after, 0),
           {},
           [&](ContainerInfoList& list) { list.Load(m_file.c_str()); },
           [&](ContainerInfoList& list) {
             ContainerInfoEdit edit(list);
             edit.Erase(m_paths.front().c_str());
             edit.Add(m_added.c_str());
             edit.Commit();
           }});
}

TEST_F(KillsAtEachCall, OfALoadThatCleans) {
  SKIP_WITHOUT_TRACE();
  Paths before = m_paths;
  before.insert(std::next(before.begin(), 3), m_folder / "linked-gone");
  KillAll({"a Load that cleans",
           Content(0, before, 0),
           Content(1, m_paths, 0),
           {"empty", "cut", "missing"},
           [](ContainerInfoList&) {},
           [&](ContainerInfoList& list) { list.Load(m_file.c_str()); }});
}

}  // namespace
