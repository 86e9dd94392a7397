// Many processes that edit one catalogue at once, with ContainerInfoEdit and, to compare, with
// plain Adds: of the former nothing is lost, of the latter it is counted.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <list>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoEdit.h"
#include "foundation/XTOOStatus.h"
#include "tests/hard/kills/Hard.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace {

constexpr int kProcesses = 8;
constexpr int kMostEdits = 500;
constexpr unsigned int kHangs = 600;
constexpr int kKillPeriod = 100;  // Milliseconds.

// What each process has done, told by itself right after it was done.
struct Board {
  std::array<std::atomic<int>, kProcesses> done{};
};

class EditCrowd : public testing::Test {
 protected:
  using Edit = void (*)(ContainerInfoList& list, char const* path);

  static void WithAnEdit(ContainerInfoList& list, char const* path) {
    ContainerInfoEdit edit(list);
    edit.Add(path);
    edit.Commit();
  }
  static void Plainly(ContainerInfoList& list, char const* path) { list.Add(path); }

  EditCrowd() {
    for (int process = 0; process < kProcesses; ++process) {
      for (int number = 0; number < m_edits; ++number) {
        WriteFile(Name(process, number), "");
      }
    }
  }

  std::string Name(int process, int number) const {
    return m_folder / ("key-" + std::to_string(process) + "-" + std::to_string(number));
  }

  // Adds what this process has not yet told to be added.
  pid_t Start(int process, Edit add) {
    pid_t const started = ::fork();
    if (started != 0) {
      return started;
    }
    try {
      ContainerInfoList list(m_file.c_str());
      for (int number = m_board->done[Index(process)]; number < m_edits; ++number) {
        add(list, Name(process, number).c_str());
        m_board->done[Index(process)] = number + 1;
      }
      ::_exit(0);
    } catch (XTOOStatus const& status) {
      std::fprintf(stderr, "one of the crowd: %d %s\n", status.Status(), status.ErrorMessage());
    } catch (...) {
      std::fprintf(stderr, "one of the crowd: an exception of its own kind\n");
    }
    ::_exit(1);
  }

  std::array<pid_t, kProcesses> StartAll(Edit add) {
    std::array<pid_t, kProcesses> processes{};
    for (int process = 0; process < kProcesses; ++process) {
      processes[Index(process)] = Start(process, add);
    }
    return processes;
  }

  void AwaitAll(std::array<pid_t, kProcesses> const& processes) {
    for (pid_t const process : processes) {
      int status = 0;
      EXPECT_EQ(process, ::waitpid(process, &status, 0));
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
  }

  // Looks at the file as it is at this moment, without any lock. Once it was written it is never
  // missing or empty again.
  void ExpectWhole() {
    std::string const content = IsThere(m_file) ? ReadFile(m_file) : "";
    EXPECT_TRUE(!m_wasWritten || !content.empty());
    m_wasWritten = m_wasWritten || !content.empty();
    if (!content.empty()) {
      WriteFile(m_seen, content);
      EXPECT_NO_THROW(PathsInFile(m_seen));
    }
  }

  // Prints how many records there are, of how many that were told to be done.
  void Count(std::string const& name, bool losesNothing) {
    std::map<std::string, int> times;
    for (std::string const& path : PathsInFile(m_file)) {
      ++times[path];
    }
    int told = 0;
    int there = 0;
    int doubled = 0;
    for (int process = 0; process < kProcesses; ++process) {
      int const done = m_board->done[Index(process)];
      told += done;
      for (int number = 0; number < done; ++number) {
        there += times.count(Name(process, number)) != 0 ? 1 : 0;
      }
    }
    for (auto const& [path, count] : times) {
      doubled += count - 1;
    }
    Figure(name + ": " + std::to_string(there) + " of " + std::to_string(told) + " records, " +
           std::to_string(doubled) + " doubled");
    if (losesNothing) {
      EXPECT_EQ(told, there);
      EXPECT_EQ(0, doubled);
    }
  }

  bool IsAllDone() const {
    return std::all_of(m_board->done.begin(), m_board->done.end(),
                       [this](std::atomic<int> const& done) { return done == m_edits; });
  }

  static std::size_t Index(int process) { return static_cast<std::size_t>(process); }

  TempFolder const m_folder;
  std::string const m_file = m_folder / "catalogue";
  std::string const m_seen = m_folder / "seen";
  bool m_wasWritten = false;
  int const m_edits = HowMany(100, kMostEdits, 10);
  SharedObject<Board> const m_board;
};

TEST_F(EditCrowd, LosesAndDoublesNothing) {
  Watchdog const watchdog("a crowd that edits", kHangs);
  AwaitAll(StartAll(&WithAnEdit));
  EXPECT_EQ(static_cast<std::size_t>(kProcesses * m_edits), PathsInFile(m_file).size());
  Count("crowd of 8 processes with an edit each time", true);
}

TEST_F(EditCrowd, WithPlainAddsIsCounted) {
  Watchdog const watchdog("a crowd that adds", kHangs);
  AwaitAll(StartAll(&Plainly));
  try {
    Count("the same with plain Adds", false);
  } catch (std::exception const& error) {
    Figure(std::string("the same with plain Adds: the file is damaged: ") + error.what());
  }
}

// What a process told to be done is there, whoever is killed at whatever moment.
TEST_F(EditCrowd, LosesNothingWhenItsProcessesAreKilled) {
  Watchdog const watchdog("a crowd that edits and is killed", kHangs);
  std::array<pid_t, kProcesses> processes = StartAll(&WithAnEdit);
  std::mt19937 random(20240609);
  int kills = 0;
  while (!IsAllDone()) {
    auto const end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kKillPeriod);
    while (std::chrono::steady_clock::now() < end) {
      ExpectWhole();
      ::usleep(1000);
    }
    int const process = static_cast<int>(random() % kProcesses);
    pid_t& killed = processes[Index(process)];
    ::kill(killed, SIGKILL);
    int status = 0;
    EXPECT_EQ(killed, ::waitpid(killed, &status, 0));
    // Who was through had ended by itself; nothing is left to do for its follower.
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0) << status;
    kills += WIFSIGNALED(status) ? 1 : 0;
    killed = Start(process, &WithAnEdit);
  }
  AwaitAll(processes);
  Count("crowd of 8 processes with an edit each time, " + std::to_string(kills) + " kills", true);
}

}  // namespace
