// Does one thing to a catalogue of 1,000 records, once. recorded.py counts the instructions and the
// system calls that it takes. All names are relative to the working folder: so they are the same in
// every run, and with them all that depends on their hashes.
//
//   bench-recorded prepare     makes the catalogue, in a process of its own: what it leaves of the
//                              heap would be found again in the counts
//   bench-recorded WORKLOAD    does that; after `prepare`, and once

#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>

#include "bench/CatalogueRecord.h"
#include "bench/Counted.h"
#include "bench/Floor.h"
#include "bench/Records.h"
#include "catalogue/ContainerInfoEdit.h"
#include "catalogue/ContainerInfoList.h"

namespace {

constexpr std::size_t kRecords = 1000;
constexpr std::size_t kEdited = 100;

constexpr char const* kFile = "catalogue";
constexpr char const* kFolder = "keys";

std::string PathOf(std::size_t number) { return ContainerPath(kFolder, number); }

void Prepare() {
  Records records(kFolder);
  records.Provide(kRecords + kEdited);
  Floor(kFile, true).AddAll(records.Range(0, kRecords));
  // A file that is new may be scanned once more than an older one.
  std::filesystem::last_write_time(
      kFile, std::filesystem::file_time_type::clock::now() - std::chrono::minutes(1));
}

void RequireCount(ContainerInfoList& list, std::size_t count) {
  if (list.GetSyncList()->Records.size() != count) {
    throw std::runtime_error("another number of records than there should be");
  }
}

void Load() {
  ContainerInfoList list;
  CountedWork([&] { list.Load(kFile); });
  RequireCount(list, kRecords);
}

void Add() {
  ContainerInfoList list(kFile);
  std::string const path = PathOf(kRecords);
  CountedWork([&] { list.Add(path.c_str()); });
  RequireCount(list, kRecords + 1);
}

// As many are erased as are added.
void Edit() {
  ContainerInfoList list(kFile);
  std::list<ContainerInfo> added;
  for (std::size_t number = kRecords; number < kRecords + kEdited; ++number) {
    added.push_back(ToContainerInfo(MakeRecord(PathOf(number), number)));
  }
  CountedWork([&] {
    ContainerInfoEdit edit(list);
    std::size_t erased = 0;
    for (ContainerInfo const& record : added) {
      edit.Erase(PathOf(erased).c_str());
      edit.Add(record);
      erased += kRecords / kEdited;
    }
    edit.Commit();
  });
  RequireCount(list, kRecords);
}

// The first, the middle, the last, and one that is not there.
void Find() {
  ContainerInfoList list(kFile);
  std::size_t found = 0;
  CountedWork([&] {
    for (std::size_t const number : {std::size_t{0}, kRecords / 2, kRecords - 1, kRecords}) {
      found += list.FindRecord(PathOf(number).c_str(), true) != nullptr ? 1 : 0;
    }
  });
  if (found != 3) {
    throw std::runtime_error("found another number of records");
  }
}

void Walk() {
  ContainerInfoList list(kFile);
  std::size_t count = 0;
  CountedWork([&] {
    for (char const* path = list.GetFirst(); path != nullptr; path = list.GetNext()) {
      ++count;
    }
  });
  if (count != kRecords) {
    throw std::runtime_error("walked over another number of records");
  }
}

std::map<std::string, void (*)()> const kWorkloads{{"prepare", &Prepare}, {"load", &Load},
                                                   {"add", &Add},         {"edit", &Edit},
                                                   {"find", &Find},       {"walk", &Walk}};

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count != 2) {
      throw std::runtime_error("the argument is what to do");
    }
    kWorkloads.at(arguments[1])();
    return 0;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
    return 1;
  }
}
