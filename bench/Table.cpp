#include "bench/Table.h"

#include <algorithm>
#include <stdexcept>

namespace {

struct Summary {
  double median;
  double least;
  double most;
};

Summary Summarise(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return {values[values.size() / 2], values.front(), values.back()};
}

double MedianOf(std::string const& contender, std::vector<Figures> const& contenders) {
  for (Figures const& figures : contenders) {
    if (figures.contender == contender) {
      return Summarise(figures.values).median;
    }
  }
  return 0;
}

void PrintRatio(double value, double to) {
  if (value == 0 || to == 0) {
    std::printf(" %10s", "");
  } else {
    std::printf(" %10.2f", value / to);
  }
}

}  // namespace

Table::Table(std::string const& file) {
  if (file.empty()) {
    return;
  }
  m_file.open(file, std::ios::app | std::ios::ate);
  if (!m_file) {
    throw std::runtime_error("cannot write " + file);
  }
  if (m_file.tellp() == 0) {
    m_file << "workload,n,place,contender,unit,median,min,max,repetitions\n";
  }
}

void Table::Print(Workload const& workload, std::vector<Figures> contenders) {
  double const floor = MedianOf("floor", contenders);
  double const own = MedianOf("quendril", contenders);
  std::printf("\n%s, %zu records%s%s\n", workload.name.c_str(), workload.count,
              workload.place.empty() ? "" : ", ", workload.place.c_str());
  std::printf("  %-26s %12s %12s %12s %4s %10s %10s\n", "", ("median " + workload.unit).c_str(),
              "min", "max", "of", "to floor", "quendril:");
  for (Figures const& figures : contenders) {
    Summary const summary = Summarise(figures.values);
    std::printf("  %-26s %12.3f %12.3f %12.3f %4zu", figures.contender.c_str(), summary.median,
                summary.least, summary.most, figures.values.size());
    PrintRatio(summary.median, floor);
    PrintRatio(own, summary.median);
    std::printf("\n");
    m_file << '"' << workload.name << "\"," << workload.count << ',' << workload.place << ','
           << figures.contender << ',' << workload.unit << ',' << summary.median << ','
           << summary.least << ',' << summary.most << ',' << figures.values.size() << '\n';
  }
  std::fflush(stdout);
  m_file.flush();
}
