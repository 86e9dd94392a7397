// What a loaded catalogue takes of memory: of the heap, and the most that its process ever had,
// less that of one without records. Of what is mapped, pages that were touched count.

#include <fstream>

#include "bench/Contestants.h"
#include "bench/Process.h"
#include "bench/Workloads.h"

namespace {

struct Memory {
  double heap = 0;
  double most = 0;
};

Memory MemoryOf(Ground& ground, Contestant const& one, std::size_t count) {
  std::string const out = ground.Fresh("memory");
  std::string const& file = ground.Restore(one.name, one.make, count);
  Process process(one.name, {"memory", file, std::to_string(count), out});
  process.Wait();
  Memory memory;
  Require(static_cast<bool>(std::ifstream(out) >> memory.heap >> memory.most));
  return memory;
}

double HeapOfRecord(Ground& ground, Contestant const& one, std::size_t count) {
  return MemoryOf(ground, one, count).heap / static_cast<double>(count);
}

double MostOfRecord(Ground& ground, Contestant const& one, std::size_t count) {
  double const without = MemoryOf(ground, one, 0).most;
  return (MemoryOf(ground, one, count).most - without) / static_cast<double>(count);
}

}  // namespace

void RunMemory(Session& session) {
  Ground& ground = session.Memory();
  for (std::size_t const count : session.Counts()) {
    std::vector<Case> heap;
    std::vector<Case> most;
    for (Contestant const& one : Contestants()) {
      heap.push_back(
          {one.name, [&ground, &one, count] { return HeapOfRecord(ground, one, count); }});
      most.push_back(
          {one.name, [&ground, &one, count] { return MostOfRecord(ground, one, count); }});
    }
    session.Run({"heap of a record", count, ground.Name(), "bytes"}, heap);
    session.Run({"peak memory of a record", count, ground.Name(), "bytes"}, most);
  }
}
