// Adding one record to a catalogue: with the handle that did it before, with opening and closing,
// and in a new process; and with every contender asking for each container.

#include <unistd.h>

#include "bench/AddOne.h"
#include "bench/Contestants.h"
#include "bench/Process.h"
#include "bench/Stopwatch.h"
#include "bench/Workloads.h"

namespace {

double OpenAddAndClose(Ground& ground, Contestant const& one, std::size_t count) {
  std::string const path = ground.WithContainers(count + 1).Path(count);
  int const rounds = RoundsFor(count);
  double sum = 0;
  for (int round = 0; round < rounds; ++round) {
    std::string const& file = ground.Restore(one.name, one.make, count);
    Stopwatch const watch;
    one.make(file, count)->AddOne(path);
    sum += watch.Microseconds();
    RequireCount(one, file, count + 1);
  }
  return sum / rounds;
}

double AddInNewProcess(Ground& ground, Contestant const& one, std::size_t count) {
  std::string const path = ground.WithContainers(count + 1).Path(count);
  int const rounds = RoundsFor(count);
  double sum = 0;
  for (int round = 0; round < rounds; ++round) {
    std::string const& file = ground.Restore(one.name, one.make, count);
    Stopwatch const watch;
    Process process(one.name, {"add", file, path});
    process.Wait();
    sum += watch.Microseconds();
    RequireCount(one, file, count + 1);
  }
  return sum / rounds;
}

// What of the time under the contract is the kernel's, whoever asks.
double ChecksAlone(Ground& ground, std::size_t count) {
  std::vector<PlainRecord> const records = ground.WithContainers(count).Range(0, count);
  int const rounds = RoundsFor(count);
  bool isGood = true;
  Stopwatch const watch;
  for (int round = 0; round < rounds; ++round) {
    for (PlainRecord const& record : records) {
      isGood = ::access(record.path.c_str(), F_OK) == 0 && isGood;
    }
  }
  double const time = watch.Microseconds();
  Require(isGood);
  return time / rounds;
}

template <typename Measure>
std::vector<Case> CasesOf(Measure const& measure) {
  std::vector<Case> cases;
  for (Contestant const& one : Contestants()) {
    cases.push_back({one.name, [&one, measure] { return measure(one); }});
  }
  return cases;
}

}  // namespace

void RunAdd(Session& session) {
  for (Ground& ground : session.Grounds()) {
    for (std::size_t const count : session.Counts()) {
      auto const run = [&](char const* name, auto const& measure) {
        session.Run({name, count, ground.Name()}, CasesOf(measure));
      };
      run("add one, open handle", [&ground, count](Contestant const& one) {
        return AddWithOpenHandle(ground, one, count, &Contender::AddOne);
      });
      std::vector<Case> sameContract = CasesOf([&ground, count](Contestant const& one) {
        return AddWithOpenHandle(ground, one, count, &Contender::AddOneUnderContract);
      });
      sameContract.push_back(
          {"checks-alone", [&ground, count] { return ChecksAlone(ground, count); }});
      session.Run({"add one, same contract", count, ground.Name()}, sameContract);
      run("add one, opened and closed",
          [&ground, count](Contestant const& one) { return OpenAddAndClose(ground, one, count); });
      run("add one in a new process",
          [&ground, count](Contestant const& one) { return AddInNewProcess(ground, one, count); });
    }
  }
}
