#include "bench/AddOne.h"

#include "bench/Stopwatch.h"
#include "bench/Workloads.h"

void RequireCount(Contestant const& one, std::string const& file, std::size_t count) {
  Require(one.make(file, count)->Load() == count);
}

double AddWithOpenHandle(Ground& ground, Contestant const& one, std::size_t count,
                         AddOneRecord add) {
  Records const& records = ground.WithContainers(count + 2);
  int const rounds = RoundsFor(count);
  double sum = 0;
  for (int round = 0; round < rounds; ++round) {
    std::string const& file = ground.Restore(one.name, one.make, count);
    {
      std::unique_ptr<Contender> const contender = one.make(file, count);
      ((*contender).*add)(records.Path(count));
      std::string const path = records.Path(count + 1);
      Stopwatch const watch;
      ((*contender).*add)(path);
      sum += watch.Microseconds();
    }
    RequireCount(one, file, count + 2);
  }
  return sum / rounds;
}
