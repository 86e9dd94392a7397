// A process that saves a catalogue over and over is killed at any moment.

#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <list>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoEdit.h"
#include "catalogue/ContainerInfoList.h"
#include "tests/hard/kills/Hard.h"
#include "tests/hard/kills/LinkedRecord.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace {

constexpr int kRecords = 100;
constexpr unsigned int kHangs = 60;

// Saves are numbered; an even one writes the first content, an odd one the second.
struct Board {
  std::atomic<unsigned int> started{0};
  std::atomic<unsigned int> finished{0};
};

class KillsAtRandom : public testing::Test {
 protected:
  KillsAtRandom() {
    for (int number = 0; number < kRecords; ++number) {
      std::string const path = m_folder / ("linked-" + std::to_string(number));
      WriteFile(path, "");
      m_paths.push_back(path);
    }
    for (unsigned int param = 0; param < 2; ++param) {
      std::list<std::string> blobs;
      for (std::string const& path : m_paths) {
        m_records[param].push_back(LinkedRecord(path, param));
        blobs.push_back(LinkedBytes(path, param));
      }
      m_contents[param] = RecordFile(0, 1, "", blobs);
    }
    WriteFile(m_file, m_contents[0]);
  }

  using Save = void (*)(ContainerInfoList& list, std::list<ContainerInfo> const& records);

  static void Plainly(ContainerInfoList& list, std::list<ContainerInfo> const& records) {
    list.GetSyncList()->Records = records;
    list.Save(true);
  }
  static void WithAnEdit(ContainerInfoList& list, std::list<ContainerInfo> const& records) {
    ContainerInfoEdit edit(list);
    for (ContainerInfo const& record : records) {
      edit.Erase(record.Path);
      edit.Add(record);
    }
    edit.Commit();
  }

  // Until the process is killed.
  [[noreturn]] void SaveOverAndOver(Save save) {
    try {
      ContainerInfoList list(m_file.c_str());
      for (;;) {
        unsigned int const number = m_board->started + 1;
        m_board->started = number;
        save(list, m_records[number % 2]);
        m_board->finished = number;
      }
    } catch (...) {
      ::_exit(1);  // The test finds that it did not kill the process.
    }
  }

  // Kills a new process at some moment and looks at what is left. False when nothing can follow.
  bool KillOnce(Save save) {
    unsigned int const before = m_board->started;
    pid_t const process = ::fork();
    if (process == 0) {
      SaveOverAndOver(save);
    }
    Watchdog const watchdog("a process that saves, or the recovery from its end", kHangs);
    while (m_board->started == before) {
      if (process < 0 || ::waitpid(process, nullptr, WNOHANG) != 0) {
        ADD_FAILURE() << "ended by itself";
        return false;
      }
      ::sched_yield();
    }
    ::usleep(static_cast<unsigned int>(m_pause(m_random)));
    ::kill(process, SIGKILL);
    EXPECT_TRUE(m_locks.Take(m_file));
    int status = 0;
    EXPECT_EQ(process, ::waitpid(process, &status, 0));
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    std::string const left = Classify();
    ++m_left[left];
    EXPECT_NE("else", left);
    Recover(left);
    return !HasFailure();
  }

  void KillAll(std::string const& name, int kills, Save save) {
    for (int number = 1; number <= kills && KillOnce(save); ++number) {
      if (number % 1000 == 0) {
        Progress(std::to_string(number) + " kills");
      }
    }
    Figure(name + ": " + std::to_string(m_locks.Taken()) + " kills, " +
           std::to_string(m_board->started) + " saves begun; left: " + Listed(m_left) +
           "; locks later than 100 ms: " + std::to_string(m_locks.Late()));
  }

  std::string Classify() const {
    unsigned int const last = m_board->started;
    if (!IsThere(m_file)) {
      return "missing";
    }
    std::string const content = ReadFile(m_file);
    std::string const& written = m_contents[last % 2];
    if (content == written) {
      return "new";
    }
    if (m_board->finished == last) {
      return "else";  // A save that returned has written everything.
    }
    if (content == m_contents[1 - last % 2]) {
      return "old";
    }
    if (content.empty()) {
      return "empty";
    }
    return written.compare(0, content.size(), content) == 0 ? "cut" : "else";
  }

  // Another process goes on with the file.
  void Recover(std::string const& left) {
    ContainerInfoList list(m_file.c_str());
    std::list<ContainerInfo>& records = list.GetSyncList()->Records;
    for (ContainerInfo const& record : records) {
      EXPECT_TRUE(IsLinked(record)) << record.Path;
    }
    if (left == "new" || left == "old") {
      EXPECT_EQ(m_paths, PathsIn(records));
    } else if (left != "cut") {
      EXPECT_TRUE(records.empty());
    }
    records = m_records[0];
    list.Save(true);
    EXPECT_TRUE(m_contents[0] == ReadFile(m_file));
    m_board->started = m_board->started + m_board->started % 2;
    m_board->finished = m_board->started.load();
  }

  TempFolder const m_folder;
  std::string const m_file = m_folder / "catalogue";
  std::list<std::string> m_paths;
  std::array<std::list<ContainerInfo>, 2> m_records;
  std::array<std::string, 2> m_contents;
  SharedObject<Board> const m_board;
  std::mt19937 m_random{20240607};
  // In microseconds: several saves' time.
  std::uniform_int_distribution<int> m_pause{0, HowMany(4000, 4000, 40000)};
  LockTimes m_locks;
  std::map<std::string, int> m_left;
};

TEST_F(KillsAtRandom, WhileItSavesLeavesAFileThatOthersGoOnWith) {
  KillAll("kills at random", HowMany(2000, 10000, 200), &Plainly);
}

TEST_F(KillsAtRandom, WhileItEditsLeavesTheOldOrTheNewFile) {
  KillAll("kills at random, with an edit", HowMany(500, 10000, 50), &WithAnEdit);
  EXPECT_EQ(m_locks.Taken(), m_left["old"] + m_left["new"]);
}

}  // namespace
