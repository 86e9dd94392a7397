// Looking a path up in a catalogue that is loaded: paths that are there, evenly spread over it, and
// paths that are not. The floor's is a walk that compares the lengths first, then the texts.

#include "bench/Contestants.h"
#include "bench/Stopwatch.h"
#include "bench/Workloads.h"

namespace {

constexpr std::size_t kProbes = 16;

std::vector<std::string> ProbesFor(Records const& records, std::size_t count, bool isThere) {
  std::vector<std::string> paths;
  for (std::size_t probe = 0; probe < kProbes; ++probe) {
    paths.push_back(
        records.Path(isThere ? (2 * probe + 1) * count / (2 * kProbes) : count + probe));
  }
  return paths;
}

double Find(Ground& ground, Contestant const& one, std::size_t count, bool isThere) {
  std::vector<std::string> const paths = ProbesFor(ground.WithContainers(count), count, isThere);
  std::unique_ptr<Contender> const contender =
      one.make(ground.Restore(one.name, one.make, count), count);
  Require(contender->Load() == count && contender->Find(paths.front()) == isThere);
  int const rounds = RoundsFor(count);
  bool isGood = true;
  Stopwatch const watch;
  for (int round = 0; round < rounds; ++round) {
    for (std::string const& path : paths) {
      isGood = contender->Find(path) == isThere && isGood;
    }
  }
  double const time = watch.Microseconds();
  Require(isGood);
  return time / rounds / kProbes;
}

}  // namespace

void RunFind(Session& session) {
  Ground& ground = session.Memory();
  for (std::size_t const count : session.Counts()) {
    for (bool const isThere : {true, false}) {
      std::vector<Case> cases;
      for (Contestant const& one : Contestants()) {
        cases.push_back({one.name, [&ground, &one, count, isThere] {
                           return Find(ground, one, count, isThere);
                         }});
      }
      session.Run({isThere ? "find, there" : "find, not there", count, ground.Name()}, cases);
    }
  }
}
