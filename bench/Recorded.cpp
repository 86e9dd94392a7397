// bench-recorded WORKLOAD FOLDER: does one thing to a catalogue of 1,000 records, once. recorded.py
// counts the instructions and the system calls that it takes.

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
#include "bench/Place.h"
#include "bench/Records.h"
#include "catalogue/ContainerInfoEdit.h"
#include "catalogue/ContainerInfoList.h"

namespace {

constexpr std::size_t kRecords = 1000;
constexpr std::size_t kEdited = 100;

// What every workload begins with. The names are relative: so they are the same in every run, and
// with them all that depends on their hashes.
struct Catalogue {
  Catalogue() {
    records.Provide(kRecords + kEdited);
    Floor(file, true).AddAll(records.Range(0, kRecords));
    // A file that is new may be scanned once more than an older one.
    std::filesystem::last_write_time(
        file, std::filesystem::file_time_type::clock::now() - std::chrono::minutes(1));
  }

  Records records{"keys"};
  std::string const file = "catalogue";
};

void RequireCount(ContainerInfoList& list, std::size_t count) {
  if (list.GetSyncList()->Records.size() != count) {
    throw std::runtime_error("another number of records than there should be");
  }
}

void Load(Catalogue const& catalogue) {
  ContainerInfoList list;
  CountedWork([&] { list.Load(catalogue.file.c_str()); });
  RequireCount(list, kRecords);
}

void Add(Catalogue const& catalogue) {
  ContainerInfoList list(catalogue.file.c_str());
  std::string const path = catalogue.records.Path(kRecords);
  CountedWork([&] { list.Add(path.c_str()); });
  RequireCount(list, kRecords + 1);
}

// As many are erased as are added.
void Edit(Catalogue const& catalogue) {
  ContainerInfoList list(catalogue.file.c_str());
  std::list<ContainerInfo> added;
  for (PlainRecord const& record : catalogue.records.Range(kRecords, kEdited)) {
    added.push_back(ToContainerInfo(record));
  }
  CountedWork([&] {
    ContainerInfoEdit edit(list);
    std::size_t erased = 0;
    for (ContainerInfo const& record : added) {
      edit.Erase(catalogue.records.Path(erased).c_str());
      edit.Add(record);
      erased += kRecords / kEdited;
    }
    edit.Commit();
  });
  RequireCount(list, kRecords);
}

// The first, the middle, the last, and one that is not there.
void Find(Catalogue const& catalogue) {
  ContainerInfoList list(catalogue.file.c_str());
  std::size_t found = 0;
  CountedWork([&] {
    for (std::size_t const number : {std::size_t{0}, kRecords / 2, kRecords - 1, kRecords}) {
      found += list.FindRecord(catalogue.records.Path(number).c_str(), true) != nullptr ? 1 : 0;
    }
  });
  if (found != 3) {
    throw std::runtime_error("found another number of records");
  }
}

void Walk(Catalogue const& catalogue) {
  ContainerInfoList list(catalogue.file.c_str());
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

std::map<std::string, void (*)(Catalogue const&)> const kWorkloads{
    {"load", &Load}, {"add", &Add}, {"edit", &Edit}, {"find", &Find}, {"walk", &Walk}};

}  // namespace

int main(int count, char** arguments) {
  try {
    if (count != 3) {
      throw std::runtime_error("the arguments are WORKLOAD FOLDER");
    }
    Place const place(arguments[2]);
    std::filesystem::current_path(place.Path());
    kWorkloads.at(arguments[1])(Catalogue());
    return 0;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
    return 1;
  }
}
