#include "bench/Session.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>

namespace {

constexpr std::size_t kLargest = 100000;

// Gathers each case's repetitions.
class Gatherer : public benchmark::BenchmarkReporter {
 public:
  Gatherer() { SetErrorStream(&m_ignored); }

  bool ReportContext(Context const& /*context*/) override { return true; }

  void ReportRuns(std::vector<Run> const& runs) override {
    for (Run const& run : runs) {
      if (run.run_type != Run::RT_Iteration) {
        continue;
      }
      if (run.error_occurred) {
        m_errors.push_back(run.run_name.function_name + ": " + run.error_message);
        continue;
      }
      std::string const& name = run.run_name.function_name;
      m_values[name].push_back(run.counters.at("figure"));
    }
  }

  std::map<std::string, std::vector<double>> const& Values() const { return m_values; }
  std::vector<std::string> const& Errors() const { return m_errors; }

 private:
  std::map<std::string, std::vector<double>> m_values;
  std::vector<std::string> m_errors;
  std::ostringstream m_ignored;  // That the filter leaves nothing.
};

// The figure is told in the clock's place, so that whoever times leaves out what is not measured.
void Register(std::string const& name, Case const& one, int repetitions) {
  auto const run = [&one](benchmark::State& state) {
    for (auto _ : state) {
      try {
        double const figure = one.measure();
        state.counters["figure"] = figure;
        state.SetIterationTime(figure * 1e-6);
      } catch (std::exception const& error) {
        state.SkipWithError(error.what());
        return;
      }
    }
  };
  benchmark::RegisterBenchmark(name.c_str(), run)
      ->Iterations(1)
      ->Repetitions(repetitions)
      ->UseManualTime();
}

// Takes an option of ours from the arguments.
bool Take(std::vector<std::string>& arguments, std::string const& option, std::string* value) {
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    if (value == nullptr ? *argument == option : argument->rfind(option, 0) == 0) {
      if (value != nullptr) {
        *value = argument->substr(option.size());
      }
      arguments.erase(argument);
      return true;
    }
  }
  return false;
}

}  // namespace

Session::Session(int count, char** arguments) {
  std::vector<std::string> texts(arguments, arguments + count);
  m_isQuick = Take(texts, "--quick", nullptr);
  Take(texts, "--csv=", &m_csv);
  texts.emplace_back("--benchmark_enable_random_interleaving=true");
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  int left = static_cast<int>(pointers.size());
  pointers.push_back(nullptr);
  benchmark::Initialize(&left, pointers.data());
  if (benchmark::ReportUnrecognizedArguments(left, pointers.data())) {
    throw std::runtime_error("an argument is not known");
  }
  m_table = std::make_unique<Table>(m_csv);
  m_grounds.emplace_back("tmpfs", "/dev/shm");
  if (!m_isQuick) {
    m_grounds.emplace_back("disk", std::filesystem::temp_directory_path().string());
  }
}

Session::~Session() { benchmark::Shutdown(); }

std::vector<std::size_t> Session::Counts() const {
  std::vector<std::size_t> counts{100, 1000, 10000};
  if (!m_isQuick) {
    counts.push_back(kLargest);
  }
  return counts;
}

void Session::Run(Workload const& workload, std::vector<Case> const& cases, int repetitions) {
  benchmark::ClearRegisteredBenchmarks();
  std::string const prefix =
      workload.name + "/" + workload.place + "/" + std::to_string(workload.count) + "/";
  for (Case const& one : cases) {
    Register(prefix + one.contender, one, repetitions);
  }
  Gatherer gatherer;
  benchmark::RunSpecifiedBenchmarks(&gatherer);
  for (std::string const& error : gatherer.Errors()) {
    std::printf("FAILED: %s\n", error.c_str());
    m_hasFailed = true;
  }
  std::vector<Figures> figures;
  for (Case const& one : cases) {
    auto const values = gatherer.Values().find(prefix + one.contender);
    if (values != gatherer.Values().end()) {
      figures.push_back(Figures{one.contender, values->second});
    }
  }
  if (!figures.empty()) {
    m_hasRun = true;
    m_table->Print(workload, figures);
  }
}

int RunSession(int count, char** arguments, std::vector<void (*)(Session&)> const& workloads) {
  try {
    Session session(count, arguments);
    for (auto const run : workloads) {
      run(session);
    }
    if (!session.HasRun()) {
      std::printf("The filter leaves nothing of this program.\n");
    }
    return session.HasFailed() ? 1 : 0;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
