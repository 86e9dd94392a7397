// Get, Add, Put and Del on record stores of 1,000 and 100,000 records.
//
//   bench-record-operations [OPTION...]             their times, see Session.h
//   bench-record-operations NAME COUNT FOLDER       one of them, once, for calls.py to count
//   bench-record-operations --list                  their names

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "bench/Counted.h"
#include "bench/Stopwatch.h"
#include "bench/Workloads.h"
#include "recordstore/CQuasiStructFile.h"

namespace {

constexpr unsigned int kSize = 240;
constexpr unsigned int kMore = 60;

struct Operation {
  char const* name;
  // On a store of `count` records; the status.
  unsigned int (*run)(CQuasiStructFile& store, long count);
  long added;  // Records.
};

unsigned int Get(CQuasiStructFile& store, long index) {
  IdentObj record;
  unsigned int const status = store.Get(index, record);
  Require(record.Length == kSize);
  return status;
}

unsigned int Put(CQuasiStructFile& store, long index, unsigned int size) {
  return store.Put(index, IdentObj(nullptr, size));
}

using Store = CQuasiStructFile;

Operation const kOperations[] = {
    {"Get first", [](Store& store, long) { return Get(store, 0); }, 0},
    {"Get last", [](Store& store, long count) { return Get(store, count - 1); }, 0},
    {"Add", [](Store& store, long) { return store.Add(IdentObj(nullptr, kSize)); }, 1},
    {"Put same first", [](Store& store, long) { return Put(store, 0, kSize); }, 0},
    {"Put same last", [](Store& store, long count) { return Put(store, count - 1, kSize); }, 0},
    {"Put longer first", [](Store& store, long) { return Put(store, 0, kSize + kMore); }, 0},
    {"Put longer last",
     [](Store& store, long count) { return Put(store, count - 1, kSize + kMore); }, 0},
    {"Put shorter first", [](Store& store, long) { return Put(store, 0, kSize - kMore); }, 0},
    {"Put shorter last",
     [](Store& store, long count) { return Put(store, count - 1, kSize - kMore); }, 0},
    {"Del first", [](Store& store, long) { return store.Del(0); }, -1},
    {"Del last", [](Store& store, long count) { return store.Del(count - 1); }, -1},
};

// The name of a new store of `count` records. It is old enough: a store scans again what may have
// been written after its latest scan, whose time it knows in milliseconds.
std::string MakeStore(Ground& ground, std::size_t count) {
  std::string file = ground.Fresh("records");
  Store store(file.c_str(), true, false);
  Require(store.PutList(std::list<IdentObj>(count, IdentObj(nullptr, kSize))) == 0);
  std::filesystem::last_write_time(
      file, std::filesystem::file_time_type::clock::now() - std::chrono::minutes(1));
  return file;
}

void RequireRecords(std::string const& file, long count) {
  std::list<IdentObj> records;
  Require(Store(file.c_str(), false, false).GetAll(records) == 0);
  Require(records.size() == static_cast<std::size_t>(count));
}

double Time(Ground& ground, Operation const& operation, std::size_t size) {
  auto const count = static_cast<long>(size);
  int const rounds = RoundsFor(size);
  double sum = 0;
  for (int round = 0; round < rounds; ++round) {
    std::string const file = MakeStore(ground, size);
    Store store(file.c_str(), false, false);
    Stopwatch const watch;
    unsigned int const status = operation.run(store, count);
    sum += watch.Microseconds();
    Require(status == 0);
    RequireRecords(file, count + operation.added);
  }
  return sum / rounds;
}

void RunOperations(Session& session) {
  for (Ground& ground : session.Grounds()) {
    for (std::size_t const count : session.Counts()) {
      if (count != 1000 && count != 100000) {
        continue;
      }
      for (Operation const& operation : kOperations) {
        session.Run({operation.name, count, ground.Name()},
                    {{"quendril", [&, count] { return Time(ground, operation, count); }}});
      }
    }
  }
}

int RunOnce(char const* name, std::size_t size, std::string const& folder) {
  for (Operation const& operation : kOperations) {
    if (std::strcmp(operation.name, name) != 0) {
      continue;
    }
    Ground ground("", folder);
    auto const count = static_cast<long>(size);
    std::string const file = MakeStore(ground, size);
    Store store(file.c_str(), false, false);
    CountedWork([&] { Require(operation.run(store, count) == 0); });
    RequireRecords(file, count + operation.added);
    return 0;
  }
  throw std::runtime_error(std::string("there is no operation ") + name);
}

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count == 2 && std::strcmp(arguments[1], "--list") == 0) {
      for (Operation const& operation : kOperations) {
        std::printf("%s\n", operation.name);
      }
      return 0;
    }
    if (count == 4 && arguments[1][0] != '-') {
      return RunOnce(arguments[1], std::stoul(arguments[2]), arguments[3]);
    }
  } catch (std::exception const& error) {
    std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
    return 1;
  }
  return RunSession(count, arguments, {&RunOperations});
}
