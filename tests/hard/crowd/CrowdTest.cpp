// Many at once on one catalogue: nothing crashes and nobody waits for ever. What one of them adds
// or erases may be lost by another's save, which is counted and no failure.

#include <signal.h>
#include <sys/wait.h>

#include <iterator>
#include <limits>
#include <list>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/hard/crowd/Crowd.h"
#include "tests/hard/kills/Hard.h"

namespace {

constexpr int kProcesses = 8;
constexpr int kThreadedProcesses = 4;
constexpr int kThreads = 8;
constexpr int kSeats = kThreadedProcesses * kThreads;
constexpr int kNoEnd = std::numeric_limits<int>::max();
constexpr int kKillPeriod = 100;  // Milliseconds.

// Runs `body` with the number of each thread.
template <typename Body>
void InThreads(Body const& body) {
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&body, number] { body(number); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// What one process does.
using Part = void (*)(Crowd& crowd, int process, int edits);

void Alone(Crowd& crowd, int process, int edits) {
  ContainerInfoList list(crowd.File().c_str());
  crowd.Edit(process, list, edits, true);
}

void InThreadsWithAListEach(Crowd& crowd, int process, int edits) {
  InThreads([&](int thread) {
    ContainerInfoList list(crowd.File().c_str());
    crowd.Edit(process * kThreads + thread, list, edits, true);
  });
}

// A load of a file that turns out damaged empties the list when it has let its lock go, so nobody
// loads while others use the list.
void InThreadsWithOneList(Crowd& crowd, int process, int edits) {
  ContainerInfoList list(crowd.File().c_str());
  InThreads([&](int thread) { crowd.Edit(process * kThreads + thread, list, edits, false); });
}

std::list<pid_t> StartAll(Crowd& crowd, int count, Part part, int edits) {
  std::list<pid_t> processes;
  for (int number = 0; number < count; ++number) {
    processes.push_back(crowd.Start([&crowd, part, number, edits] { part(crowd, number, edits); }));
  }
  return processes;
}

// Every tenth of a second one of them is killed and another takes its place.
void KillAndStartAgain(Crowd& crowd, std::list<pid_t>& processes, Part part, int kills) {
  std::mt19937 random(20240608);
  for (int kill = 1; kill <= kills; ++kill) {
    crowd.Watch(kKillPeriod);
    int const number = static_cast<int>(random() % processes.size());
    pid_t& process = *std::next(processes.begin(), number);
    ::kill(process, SIGKILL);
    int status = 0;
    EXPECT_EQ(process, ::waitpid(process, &status, 0));
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it had ended: " << status;
    process = crowd.Start([&crowd, part, number] { part(crowd, number, kNoEnd); });
    if (kill % 100 == 0) {
      Progress(std::to_string(kill) + " kills");
    }
  }
}

void RunKilled(std::string const& name, int seats, int count, Part part) {
  Crowd crowd(seats);
  std::list<pid_t> processes = StartAll(crowd, count, part, kNoEnd);
  int const kills = HowMany(40, 600, 10);
  KillAndStartAgain(crowd, processes, part, kills);
  crowd.TellToStop();
  EXPECT_TRUE(crowd.Await(processes));
  crowd.Report(name + ", " + std::to_string(kills) + " kills");
}

void RunToTheEnd(std::string const& name, int seats, int count, Part part, int edits) {
  Crowd crowd(seats);
  EXPECT_TRUE(crowd.Await(StartAll(crowd, count, part, edits)));
  crowd.Report(name);
}

constexpr char kAlone[] = "crowd of 8 processes";
constexpr char kEach[] = "crowd of 4 processes with 8 threads with a list each";
constexpr char kShared[] = "crowd of 4 processes with 8 threads that share a list";

TEST(Crowd, OfProcesses) {
  RunToTheEnd(kAlone, kProcesses, kProcesses, Alone, HowMany(500, 5000, 30));
}

TEST(Crowd, OfThreadsWithAListEach) {
  RunToTheEnd(kEach, kSeats, kThreadedProcesses, InThreadsWithAListEach, HowMany(100, 500, 10));
}

TEST(Crowd, OfThreadsThatShareAList) {
  RunToTheEnd(kShared, kSeats, kThreadedProcesses, InThreadsWithOneList, HowMany(100, 500, 10));
}

TEST(KilledCrowd, OfProcesses) { RunKilled(kAlone, kProcesses, kProcesses, Alone); }

TEST(KilledCrowd, OfThreadsWithAListEach) {
  RunKilled(kEach, kSeats, kThreadedProcesses, InThreadsWithAListEach);
}

TEST(KilledCrowd, OfThreadsThatShareAList) {
  RunKilled(kShared, kSeats, kThreadedProcesses, InThreadsWithOneList);
}

}  // namespace
