#include "tests/support/Containers.h"

#include <stdexcept>

#include "tests/support/Bytes.h"
#include "tests/support/Files.h"

namespace {

// Takes the word at the start of `bytes` off it.
unsigned int TakeWord(std::string& bytes) {
  if (bytes.size() < 4) {
    throw std::runtime_error("cut inside a word");
  }
  unsigned int word = 0;
  for (int i = 3; i >= 0; --i) {
    word = word << 8 | static_cast<unsigned char>(bytes[static_cast<std::size_t>(i)]);
  }
  bytes.erase(0, 4);
  return word;
}

std::string TakeItem(std::string& bytes) {
  unsigned int const length = TakeWord(bytes);
  if (bytes.size() < length) {
    throw std::runtime_error("cut inside an item");
  }
  std::string const item = bytes.substr(0, length);
  bytes.erase(0, length);
  return item;
}

}  // namespace

std::string ContainerBytes(std::string const& path, std::string const& ident1,
                           std::string const& ident2, unsigned int param,
                           std::list<SubRecord> const& subRecords) {
  std::string bytes = Item(path) + Item(ident1) + Item(ident2) + Word(param) +
                      Word(static_cast<unsigned int>(subRecords.size()));
  for (SubRecord const& sub : subRecords) {
    bytes += Item(Item(sub.ident) + Word(sub.param1) + Word(sub.param2));
  }
  return bytes;
}

std::string CatalogueFile(unsigned int mark, std::list<std::string> const& paths) {
  std::list<std::string> records;
  for (std::string const& path : paths) {
    records.push_back(ContainerBytes(path));
  }
  return RecordFile(0, mark, "", records);
}

std::list<std::string> PathsInFile(std::string const& fileName) {
  std::string bytes = ReadFile(fileName);
  TakeWord(bytes);
  TakeWord(bytes);
  TakeItem(bytes);
  std::list<std::string> paths;
  while (!bytes.empty()) {
    std::string record = TakeItem(bytes);
    paths.push_back(TakeItem(record));
  }
  return paths;
}

std::list<std::string> PathsIn(std::list<ContainerInfo> const& records) {
  std::list<std::string> paths;
  for (ContainerInfo const& record : records) {
    paths.emplace_back(record.Path);
  }
  return paths;
}

std::list<std::string> PathsIn(ContainerInfoList& list) {
  return PathsIn(list.GetSyncList()->Records);
}

ContainerInfo Record(std::string const& path, unsigned int state, unsigned int param) {
  ContainerInfo record;
  record.Path = path.c_str();
  record.State = state;
  record.Param = param;
  return record;
}
