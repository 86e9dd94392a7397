#include "bench/Table.h"

#include <algorithm>
#include <cstdio>

bool Table::ReportContext(Context const& /*context*/) { return true; }

void Table::ReportRuns(std::vector<Run> const& runs) {
  for (Run const& run : runs) {
    if (run.run_type != Run::RT_Iteration) {
      continue;
    }
    std::string const name = run.run_name.function_name;
    if (run.error_occurred) {
      std::printf("FAILED: %s: %s\n", name.c_str(), run.error_message.c_str());
      m_hasFailed = true;
      continue;
    }
    std::size_t const slash = name.rfind('/');
    std::string const workload = name.substr(0, slash);
    std::string const contender = name.substr(slash + 1);
    std::vector<Contender>& contenders = m_contenders[workload];
    if (contenders.empty()) {
      m_workloads.push_back(workload);
    }
    if (contenders.empty() || contenders.back().name != contender) {
      contenders.push_back(Contender{contender, {}});
    }
    double const iterations = static_cast<double>(run.iterations);
    contenders.back().times.push_back(run.real_accumulated_time / iterations);
  }
  std::fprintf(stderr, ".");
}

void Table::Finalize() {
  std::fprintf(stderr, "\n");
  std::printf("%-44s %-32s %10s %10s %10s %7s\n", "workload", "contender", "median ms", "min ms",
              "max ms", "ratio");
  for (std::string const& workload : m_workloads) {
    double first = 0;
    for (Contender& contender : m_contenders[workload]) {
      std::sort(contender.times.begin(), contender.times.end());
      double const median = contender.times[contender.times.size() / 2] * 1e3;
      first = first == 0 ? median : first;
      std::printf("%-44s %-32s %10.3f %10.3f %10.3f %7.2f\n", workload.c_str(),
                  contender.name.c_str(), median, contender.times.front() * 1e3,
                  contender.times.back() * 1e3, median / first);
    }
  }
}

int RunBenchmarks(int& count, char** arguments) {
  benchmark::Initialize(&count, arguments);
  if (benchmark::ReportUnrecognizedArguments(count, arguments)) {
    return 2;
  }
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  return table.HasFailed() ? 1 : 0;
}
