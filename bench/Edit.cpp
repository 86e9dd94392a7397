// 10,000 records added at once, onto none and onto 10,000: in one ContainerInfoEdit, in one
// transaction of SQLite's, and by single Adds. The single ones are sampled: one is measured at each
// of 20 sizes between the first and the last, and their mean is taken 10,000 times.

#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "bench/Place.h"
#include "bench/Records.h"
#include "bench/SqliteCatalogue.h"
#include "bench/Table.h"
#include "catalogue/ContainerInfoEdit.h"

namespace {

constexpr std::size_t kAdded = 10000;
constexpr std::size_t kSamples = 20;
constexpr int kRepetitions = 9;

class Stopwatch {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
  }

 private:
  std::chrono::steady_clock::time_point const m_start = std::chrono::steady_clock::now();
};

// One place and its records.
struct Ground {
  explicit Ground(std::string const& parent) : place(parent), records(place, 2 * kAdded) {}

  std::string File() const { return place / "catalogue"; }
  std::string Base() const { return place / "base.sqlite"; }

  Place place;
  Records records;
};

// Made when it is first measured on: making thousands of files takes its time.
class LazyGround {
 public:
  explicit LazyGround(std::string parent) : m_parent(std::move(parent)) {}

  Ground const& Get() {
    if (!m_ground) {
      m_ground.emplace(m_parent);
    }
    return *m_ground;
  }

 private:
  std::string m_parent;
  std::optional<Ground> m_ground;
};

double InOneEdit(Ground const& ground, std::size_t there) {
  WriteCatalogue(ground.File(), ground.records.First(there));
  ContainerInfoList list(ground.File().c_str());
  Stopwatch const watch;
  ContainerInfoEdit edit(list);
  for (std::size_t number = there; number < there + kAdded; ++number) {
    edit.Add(ground.records.All()[number]);
  }
  edit.Commit();
  double const seconds = watch.Seconds();
  if (ContainerInfoList(ground.File().c_str()).GetSyncList()->Records.size() != there + kAdded) {
    throw std::runtime_error("records are missing");
  }
  return seconds;
}

double InOneTransaction(Ground const& ground, std::size_t there, SqliteCatalogue::Journal journal) {
  for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
    std::filesystem::remove(ground.Base() + suffix);
  }
  SqliteCatalogue base(ground.Base(), journal);
  base.AddAll(ground.records.All(), 0, there);
  Stopwatch const watch;
  base.AddAll(ground.records.All(), there, kAdded);
  double const seconds = watch.Seconds();
  if (base.Count() != static_cast<long>(there + kAdded)) {
    throw std::runtime_error("rows are missing");
  }
  return seconds;
}

double BySingleAdds(Ground const& ground, std::size_t there) {
  double seconds = 0;
  for (std::size_t sample = 0; sample < kSamples; ++sample) {
    std::size_t const size = there + (2 * sample + 1) * kAdded / (2 * kSamples);
    WriteCatalogue(ground.File(), ground.records.First(size));
    ContainerInfoList list(ground.File().c_str());
    Stopwatch const watch;
    list.Add(ground.records.All()[size].Path);
    seconds += watch.Seconds();
  }
  return seconds / kSamples * kAdded;
}

void Register(std::string const& name, int repetitions, std::function<double()> const& measure) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [measure](benchmark::State& state) {
                                 for (auto _ : state) {
                                   try {
                                     state.SetIterationTime(measure());
                                   } catch (std::exception const& error) {
                                     state.SkipWithError(error.what());
                                     return;
                                   }
                                 }
                               })
      ->Iterations(1)
      ->Repetitions(repetitions)
      ->UseManualTime();
}

}  // namespace

int main(int count, char** arguments) {
  try {
    std::list<LazyGround> grounds;
    for (auto const& [kind, parent] : {std::pair<std::string, std::string>{"tmpfs", "/dev/shm"},
                                       {"disk", std::filesystem::temp_directory_path().string()}}) {
      LazyGround& ground = grounds.emplace_back(parent);
      for (std::size_t const there : {std::size_t{0}, kAdded}) {
        std::string const workload =
            "10,000 adds onto " + std::to_string(there) + ", " + kind + "/";
        Register(workload + "one ContainerInfoEdit", kRepetitions,
                 [&ground, there] { return InOneEdit(ground.Get(), there); });
        Register(workload + "SQLite, WAL", kRepetitions, [&ground, there] {
          return InOneTransaction(ground.Get(), there, SqliteCatalogue::Journal::Wal);
        });
        Register(workload + "SQLite, rollback journal", kRepetitions, [&ground, there] {
          return InOneTransaction(ground.Get(), there, SqliteCatalogue::Journal::Rollback);
        });
        Register(workload + "single Adds (sampled)", 3,
                 [&ground, there] { return BySingleAdds(ground.Get(), there); });
      }
    }
    return RunBenchmarks(count, arguments);
  } catch (std::exception const& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
