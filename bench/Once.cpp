// One contender's helper program: does one thing in a process of its own, and fails unless it came
// out as it should. BENCH_MAKE, set by the build, makes the contender.
//
//   load FILE COUNT                  loads COUNT records
//   add FILE PATH                    adds a record
//   add-range FILE FOLDER FROM COUNT adds the records of these containers one by one
//   memory FILE COUNT OUT            loads, and writes to the file OUT the bytes of heap that this
//   has
//                                    taken, and the most memory that the process ever had

#include <malloc.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Contender.h"
#include "bench/Records.h"

namespace {

using Arguments = std::vector<std::string>;

void Load(Contender& contender, std::string const& count) {
  if (contender.Load() != std::stoul(count)) {
    throw std::runtime_error("records are missing");
  }
}

std::size_t HeapInUse() {
  struct mallinfo2 const info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

// Not that of getrusage, which begins with what the parent had.
std::size_t MostMemory() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    if (word == "VmHWM:") {
      std::size_t kibibytes = 0;
      status >> kibibytes;
      return kibibytes * 1024;
    }
  }
  throw std::runtime_error("the kernel does not tell the memory used");
}

void TellMemory(Contender& contender, std::string const& count, std::string const& out) {
  std::size_t const before = HeapInUse();
  Load(contender, count);
  std::ofstream(out) << HeapInUse() - before << ' ' << MostMemory() << '\n';
}

void Do(Arguments const& arguments) {
  std::string const& what = arguments.at(0);
  std::unique_ptr<Contender> const contender = BENCH_MAKE(arguments.at(1), 0);
  if (what == "load") {
    Load(*contender, arguments.at(2));
  } else if (what == "add") {
    contender->AddOne(arguments.at(2));
  } else if (what == "add-range") {
    std::size_t const from = std::stoul(arguments.at(3));
    for (std::size_t number = from; number < from + std::stoul(arguments.at(4)); ++number) {
      contender->AddOne(ContainerPath(arguments.at(2), number));
    }
  } else if (what == "memory") {
    TellMemory(*contender, arguments.at(2), arguments.at(3));
  } else {
    throw std::runtime_error("cannot do " + what);
  }
}

}  // namespace

int main(int count, char** arguments) {
  try {
    Do(Arguments(arguments + 1, arguments + count));
    return 0;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
    return 1;
  }
}
