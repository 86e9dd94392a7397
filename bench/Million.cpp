// A million records: that they can be loaded and saved, and how long it takes. Three repetitions,
// as each takes seconds.

#include "bench/Floor.h"
#include "bench/Stopwatch.h"
#include "bench/Workloads.h"
#include "catalogue/ContainerInfoList.h"

namespace {

constexpr std::size_t kMillion = 1000000;
constexpr int kRepetitions = 3;

double Load(Ground& ground) {
  std::string const& file = ground.Restore("quendril", &MakeFloor, kMillion);
  ContainerInfoList list;
  Stopwatch const watch;
  list.Load(file.c_str());
  double const time = watch.Microseconds();
  Require(list.GetSyncList()->Records.size() == kMillion);
  return time;
}

double LoadOfFloor(Ground& ground) {
  Floor floor(ground.Restore("floor", &MakeFloor, kMillion), true);
  Stopwatch const watch;
  std::size_t const count = floor.Load();
  double const time = watch.Microseconds();
  Require(count == kMillion);
  return time;
}

double Save(Ground& ground) {
  ContainerInfoList list(ground.Restore("quendril", &MakeFloor, kMillion).c_str());
  Stopwatch const watch;
  list.Save(true);
  double const time = watch.Microseconds();
  Require(list.GetSyncList()->Records.size() == kMillion);
  return time;
}

double SaveOfFloor(Ground& ground) {
  Floor floor(ground.Restore("floor", &MakeFloor, kMillion), true);
  floor.Load();
  Stopwatch const watch;
  floor.Save();
  double const time = watch.Microseconds();
  Require(floor.Load() == kMillion);
  return time;
}

}  // namespace

void RunMillion(Session& session) {
  if (session.IsQuick()) {
    return;
  }
  Ground& ground = session.Memory();
  session.Run({"load a million", kMillion, ground.Name()},
              {{"quendril", [&ground] { return Load(ground); }},
               {"floor", [&ground] { return LoadOfFloor(ground); }}},
              kRepetitions);
  session.Run({"save a million", kMillion, ground.Name()},
              {{"quendril", [&ground] { return Save(ground); }},
               {"floor", [&ground] { return SaveOfFloor(ground); }}},
              kRepetitions);
}
