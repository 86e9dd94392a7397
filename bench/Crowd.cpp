// Four processes that add 50 records each to one file at the same time: from the start of the first
// to the end of the last.

#include "bench/AddOne.h"
#include "bench/Contestants.h"
#include "bench/Process.h"
#include "bench/Stopwatch.h"
#include "bench/Workloads.h"

namespace {

constexpr std::size_t kProcesses = 4;
constexpr std::size_t kAdds = 50;

double AddTogether(Ground& ground, Contestant const& one, std::size_t count) {
  Records const& records = ground.WithContainers(count + kProcesses * kAdds);
  std::string const& file = ground.Restore(one.name, one.make, count);
  Stopwatch const watch;
  std::list<Process> processes;
  for (std::size_t number = 0; number < kProcesses; ++number) {
    processes.emplace_back(
        one.name,
        std::vector<std::string>{"add-range", file, records.Folder(),
                                 std::to_string(count + number * kAdds), std::to_string(kAdds)});
  }
  for (Process& process : processes) {
    process.Wait();
  }
  double const time = watch.Microseconds();
  // By the file's protocol single Adds at the same moment may lose one another's records.
  if (one.name != "quendril") {
    RequireCount(one, file, count + kProcesses * kAdds);
  }
  return time;
}

}  // namespace

void RunCrowd(Session& session) {
  static Contestant const edit{"quendril-edit", &MakeQuendrilEdit};
  for (Ground& ground : session.Grounds()) {
    for (std::size_t const count : {std::size_t{100}, std::size_t{1000}}) {
      std::vector<Case> cases;
      for (Contestant const& one : Contestants()) {
        cases.push_back(
            {one.name, [&ground, &one, count] { return AddTogether(ground, one, count); }});
      }
      cases.push_back({edit.name, [&ground, count] { return AddTogether(ground, edit, count); }});
      session.Run({"4 processes add 50 each", count, ground.Name()}, cases);
    }
  }
}
