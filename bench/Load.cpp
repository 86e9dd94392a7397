// Loading a catalogue: in a new process, from before its start to its end, and again in one that
// has it loaded.

#include "bench/Contestants.h"
#include "bench/Process.h"
#include "bench/Stopwatch.h"
#include "bench/Workloads.h"

namespace {

double LoadInNewProcess(Ground& ground, Contestant const& one, std::size_t count) {
  std::string const& file = ground.Restore(one.name, one.make, count);
  int const rounds = RoundsFor(count);
  double sum = 0;
  for (int round = 0; round < rounds; ++round) {
    Stopwatch const watch;
    Process process(one.name, {"load", file, std::to_string(count)});
    process.Wait();
    sum += watch.Microseconds();
  }
  return sum / rounds;
}

double LoadAgain(Ground& ground, Contestant const& one, std::size_t count) {
  std::unique_ptr<Contender> const contender =
      one.make(ground.Restore(one.name, one.make, count), count);
  int const rounds = RoundsFor(count);
  bool isGood = contender->Load() == count;
  Stopwatch const watch;
  for (int round = 0; round < rounds; ++round) {
    isGood = contender->Load() == count && isGood;
  }
  double const time = watch.Microseconds();
  Require(isGood);
  return time / rounds;
}

}  // namespace

void RunLoad(Session& session) {
  for (Ground& ground : session.Grounds()) {
    for (std::size_t const count : session.Counts()) {
      std::vector<Case> inNew;
      std::vector<Case> again;
      for (Contestant const& one : Contestants()) {
        inNew.push_back({one.name, [&, count] { return LoadInNewProcess(ground, one, count); }});
        again.push_back({one.name, [&, count] { return LoadAgain(ground, one, count); }});
      }
      session.Run({"load in a new process", count, ground.Name()}, inNew);
      session.Run({"load again", count, ground.Name()}, again);
    }
  }
}
