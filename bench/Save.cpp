// Writing a catalogue that has not changed, and changing one record of it in an edit: how their
// time grows with the number of records.

#include "bench/Floor.h"
#include "bench/Stopwatch.h"
#include "bench/Workloads.h"
#include "catalogue/ContainerInfoEdit.h"
#include "catalogue/ContainerInfoList.h"

namespace {

double Save(Ground& ground, std::size_t count) {
  ContainerInfoList list(ground.Restore("quendril", &MakeFloor, count).c_str());
  int const rounds = RoundsFor(count);
  list.Save(true);
  Stopwatch const watch;
  for (int round = 0; round < rounds; ++round) {
    list.Save(true);
  }
  double const time = watch.Microseconds();
  Require(list.GetSyncList()->Records.size() == count);
  return time / rounds;
}

double SaveOfFloor(Ground& ground, std::size_t count) {
  Floor floor(ground.Restore("floor", &MakeFloor, count), true);
  int const rounds = RoundsFor(count);
  floor.Save();
  Stopwatch const watch;
  for (int round = 0; round < rounds; ++round) {
    floor.Save();
  }
  double const time = watch.Microseconds();
  Require(floor.Load() == count);
  return time / rounds;
}

double EditOne(Ground& ground, std::size_t count) {
  ContainerInfoList list(ground.Restore("quendril", &MakeFloor, count).c_str());
  std::string const path = ground.WithContainers(count + 1).Path(count);
  int const rounds = RoundsFor(count);
  bool isGood = true;
  double sum = 0;
  for (int round = 0; round < rounds; ++round) {
    Stopwatch const watch;
    ContainerInfoEdit edit(list);
    isGood = (round % 2 == 0 ? edit.Add(path.c_str()) : edit.Erase(path.c_str())) && isGood;
    edit.Commit();
    sum += watch.Microseconds();
  }
  Require(isGood);
  return sum / rounds;
}

double EditOneOfFloor(Ground& ground, std::size_t count) {
  std::string const path = ground.WithContainers(count + 1).Path(count);
  int const rounds = RoundsFor(count);
  double sum = 0;
  for (int round = 0; round < rounds; ++round) {
    Floor floor(ground.Restore("floor", &MakeFloor, count), true);
    floor.Load();
    Stopwatch const watch;
    floor.AddOne(path);
    sum += watch.Microseconds();
    Require(floor.Load() == count + 1);
  }
  return sum / rounds;
}

}  // namespace

void RunSave(Session& session) {
  for (Ground& ground : session.Grounds()) {
    for (std::size_t const count : session.Counts()) {
      session.Run({"save", count, ground.Name()},
                  {{"quendril", [&ground, count] { return Save(ground, count); }},
                   {"floor", [&ground, count] { return SaveOfFloor(ground, count); }}});
      session.Run({"edit of one record", count, ground.Name()},
                  {{"quendril", [&ground, count] { return EditOne(ground, count); }},
                   {"floor", [&ground, count] { return EditOneOfFloor(ground, count); }}});
    }
  }
}
