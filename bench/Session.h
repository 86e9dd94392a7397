#ifndef QUENDRIL_BENCH_SESSION_H
#define QUENDRIL_BENCH_SESSION_H

#include <benchmark/benchmark.h>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "bench/Ground.h"
#include "bench/Table.h"

// One contender in one workload.
struct Case {
  std::string contender;
  // One repetition; the figure in the workload's unit. Checks what it did outside what it timed.
  std::function<double()> measure;
};

// One run of a benchmark program: its options, the file systems measured on, the table.
//
//   --benchmark_filter=REGEX   cases by WORKLOAD/PLACE/COUNT/CONTENDER
//   --quick                    no 100,000 records or more, no disk
//   --csv=FILE                 appends the figures to a file
class Session {
 public:
  // Throws std::runtime_error.
  Session(int count, char** arguments);
  ~Session();

  bool IsQuick() const { return m_isQuick; }
  std::list<Ground>& Grounds() { return m_grounds; }
  // The first: tmpfs.
  Ground& Memory() { return m_grounds.front(); }
  // 100 to 100,000.
  std::vector<std::size_t> Counts() const;

  // Runs the cases that the filter leaves, their repetitions mixed at random so that what disturbs
  // the machine disturbs them all alike, and prints them.
  void Run(Workload const& workload, std::vector<Case> const& cases,
           int repetitions = kRepetitions);

  bool HasRun() const { return m_hasRun; }
  bool HasFailed() const { return m_hasFailed; }

  static constexpr int kRepetitions = 9;

 private:
  bool m_isQuick = false;
  bool m_hasRun = false;
  bool m_hasFailed = false;
  std::string m_csv;
  std::list<Ground> m_grounds;
  std::unique_ptr<Table> m_table;
};

// The whole of a benchmark program's main: runs `workloads`, tells failures, gives the exit status.
int RunSession(int count, char** arguments, std::vector<void (*)(Session&)> const& workloads);

#endif
