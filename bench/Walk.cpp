// Visiting all paths of a catalogue that is loaded, by one thread, and by two at once, each with
// its own cursor; the time of a step.

#include <algorithm>
#include <atomic>
#include <thread>

#include "bench/Contestants.h"
#include "bench/Stopwatch.h"
#include "bench/Workloads.h"

namespace {

constexpr std::size_t kSteps = 400000;

// Nanoseconds of a step; negative when steps are missing.
double TimeOfStep(Contender& contender, std::size_t count) {
  std::size_t const rounds = std::max<std::size_t>(1, kSteps / count);
  std::size_t steps = 0;
  Stopwatch const watch;
  for (std::size_t round = 0; round < rounds; ++round) {
    steps += contender.Walk();
  }
  double const time = watch.Microseconds() * 1e3;
  return steps == rounds * count ? time / static_cast<double>(steps) : -1;
}

std::unique_ptr<Contender> Loaded(Ground& ground, Contestant const& one, std::size_t count) {
  std::unique_ptr<Contender> contender = one.make(ground.Restore(one.name, one.make, count), count);
  Require(contender->Load() == count && contender->Walk() == count);
  return contender;
}

double WalkByOne(Ground& ground, Contestant const& one, std::size_t count) {
  double const time = TimeOfStep(*Loaded(ground, one, count), count);
  Require(time > 0);
  return time;
}

// That of the slower thread.
double WalkByTwo(Ground& ground, Contestant const& one, std::size_t count) {
  std::unique_ptr<Contender> const contender = Loaded(ground, one, count);
  std::atomic<int> ready{0};
  double times[2] = {};
  auto const walk = [&](double& time) {
    ++ready;
    while (ready != 2) {
    }
    time = TimeOfStep(*contender, count);
  };
  std::thread other(walk, std::ref(times[1]));
  walk(times[0]);
  other.join();
  Require(times[0] > 0 && times[1] > 0);
  return std::max(times[0], times[1]);
}

}  // namespace

void RunWalk(Session& session) {
  Ground& ground = session.Memory();
  for (std::size_t const count : session.Counts()) {
    std::vector<Case> byOne;
    std::vector<Case> byTwo;
    for (Contestant const& one : Contestants()) {
      byOne.push_back({one.name, [&ground, &one, count] { return WalkByOne(ground, one, count); }});
      // The others' handles are not for two threads at once.
      if (one.name == "quendril" || one.name == "floor") {
        byTwo.push_back(
            {one.name, [&ground, &one, count] { return WalkByTwo(ground, one, count); }});
      }
    }
    session.Run({"walk, a step", count, ground.Name(), "ns"}, byOne);
    session.Run({"walk by two threads, a step of each", count, ground.Name(), "ns"}, byTwo);
  }
}
