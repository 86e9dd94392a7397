#include "tests/hard/kills/LinkedRecord.h"

#include <list>
#include <vector>

#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"

namespace {

struct Parts {
  std::string ident1;
  std::string ident2;
  std::list<SubRecord> subRecords;
};

Parts PartsOf(std::string const& path, unsigned int param) {
  if (path.rfind("/plain") != std::string::npos) {
    return {};
  }
  unsigned int seed = 2166136261U + param;
  for (char const c : path) {
    seed = (seed ^ static_cast<unsigned char>(c)) * 16777619U;
  }
  // The sizes follow from both too: records of one path must not always lie over each other.
  Parts parts{Pattern(40 + seed % 61, seed), Pattern(10 + seed % 37, seed + 1), {}};
  for (unsigned int number = 0; number < seed % 3; ++number) {
    parts.subRecords.push_back({Pattern(5 + number, seed + number), seed, param});
  }
  return parts;
}

}  // namespace

ContainerInfo LinkedRecord(std::string const& path, unsigned int param) {
  Parts const parts = PartsOf(path, param);
  ContainerInfo record = Record(path, ContainerInfo::StateAdded, param);
  record.Ident1 = Blob(parts.ident1);
  record.Ident2 = Blob(parts.ident2);
  for (SubRecord const& sub : parts.subRecords) {
    record.SubConts.emplace_back();
    record.SubConts.back().Ident = Blob(sub.ident);
    record.SubConts.back().Param1 = sub.param1;
    record.SubConts.back().Param2 = sub.param2;
  }
  return record;
}

std::string LinkedBytes(std::string const& path, unsigned int param) {
  Parts const parts = PartsOf(path, param);
  return ContainerBytes(path, parts.ident1, parts.ident2, param, parts.subRecords);
}

bool IsLinked(ContainerInfo const& record) {
  std::string const path(record.Path);
  Parts const parts = PartsOf(path, record.Param);
  bool const isPlain = path.rfind("/plain") != std::string::npos;
  if (path.empty() || (isPlain && record.Param != 0) || DataOf(record.Ident1) != parts.ident1 ||
      DataOf(record.Ident2) != parts.ident2 || record.SubConts.size() != parts.subRecords.size()) {
    return false;
  }
  auto sub = record.SubConts.begin();
  for (SubRecord const& expected : parts.subRecords) {
    if (DataOf(sub->Ident) != expected.ident || sub->Param1 != expected.param1 ||
        sub->Param2 != expected.param2) {
      return false;
    }
    ++sub;
  }
  return true;
}
