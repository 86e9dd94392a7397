#ifndef QUENDRIL_BENCH_TABLE_H
#define QUENDRIL_BENCH_TABLE_H

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

// Gathers the repetitions of every benchmark "WORKLOAD/CONTENDER" and prints, workload by workload,
// each contender's median, minimum and maximum and the ratio of its median to the first one's.
class Table : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(Context const& context) override;
  void ReportRuns(std::vector<Run> const& runs) override;
  void Finalize() override;

  bool HasFailed() const { return m_hasFailed; }

 private:
  struct Contender {
    std::string name;
    std::vector<double> times;  // Seconds.
  };

  std::vector<std::string> m_workloads;
  std::map<std::string, std::vector<Contender>> m_contenders;
  bool m_hasFailed = false;
};

// Runs what is registered, each of it `repetitions` times; the program's exit status.
int RunBenchmarks(int& count, char** arguments);

#endif
