// 10,000 records added at once, onto none and onto 10,000: in one ContainerInfoEdit, which asks for
// each container, and in one transaction of the others; and by single Adds. The single ones are
// sampled: one is measured at each of 20 sizes between the first and the last, and their mean is
// taken 10,000 times.

#include "bench/CatalogueRecord.h"
#include "bench/Contestants.h"
#include "bench/Stopwatch.h"
#include "bench/Workloads.h"
#include "catalogue/ContainerInfoEdit.h"

namespace {

constexpr std::size_t kAdded = 10000;
constexpr std::size_t kSamples = 20;

double InOneEdit(Ground& ground, std::size_t there) {
  std::vector<ContainerInfo> added;
  for (PlainRecord const& record : ground.WithContainers(there + kAdded).Range(there, kAdded)) {
    added.push_back(ToContainerInfo(record));
  }
  std::string const& file = ground.Restore("quendril", &MakeFloor, there);
  ContainerInfoList list(file.c_str());
  Stopwatch const watch;
  ContainerInfoEdit edit(list);
  for (ContainerInfo const& record : added) {
    edit.Add(record);
  }
  edit.Commit();
  double const time = watch.Microseconds();
  Require(ContainerInfoList(file.c_str()).GetSyncList()->Records.size() == there + kAdded);
  return time;
}

double InOneTransaction(Ground& ground, Contestant const& one, std::size_t there) {
  std::vector<PlainRecord> const added = ground.WithContainers(there + kAdded).Range(there, kAdded);
  std::unique_ptr<Contender> const contender =
      one.make(ground.Restore(one.name, one.make, there), there + kAdded);
  Stopwatch const watch;
  contender->AddAll(added);
  double const time = watch.Microseconds();
  Require(contender->Load() == there + kAdded);
  return time;
}

double BySingleAdds(Ground& ground, std::size_t there) {
  Records const& records = ground.WithContainers(there + kAdded);
  double sum = 0;
  for (std::size_t sample = 0; sample < kSamples; ++sample) {
    std::size_t const size = there + (2 * sample + 1) * kAdded / (2 * kSamples);
    ContainerInfoList list(ground.Restore("quendril", &MakeFloor, size).c_str());
    Stopwatch const watch;
    list.Add(records.Path(size).c_str());
    sum += watch.Microseconds();
    Require(list.GetSyncList()->Records.size() == size + 1);
  }
  return sum / kSamples * kAdded;
}

}  // namespace

void RunEdit(Session& session) {
  for (Ground& ground : session.Grounds()) {
    for (std::size_t const there : {std::size_t{0}, kAdded}) {
      std::vector<Case> cases{{"quendril", [&ground, there] { return InOneEdit(ground, there); }}};
      for (Contestant const& one : Contestants()) {
        if (one.name != "quendril") {
          cases.push_back(
              {one.name, [&ground, &one, there] { return InOneTransaction(ground, one, there); }});
        }
      }
      session.Run({"10,000 adds at once", there, ground.Name()}, cases);
      session.Run({"10,000 adds one by one", there, ground.Name()},
                  {{"quendril", [&ground, there] { return BySingleAdds(ground, there); }}});
    }
  }
}
