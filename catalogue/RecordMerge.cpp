#include "catalogue/RecordMerge.h"

#include <iterator>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

using Records = std::list<ContainerInfo>;
// Each path's records, in file order. The keys are the records' own texts.
using PathIndex = std::unordered_map<std::string_view, std::vector<Records::iterator>>;

std::string_view TextOf(CTOOString const& path) { return static_cast<char const*>(path); }

PathIndex IndexByPath(Records& records) {
  PathIndex index(records.size());
  for (auto record = records.begin(); record != records.end(); ++record) {
    index[TextOf(record->Path)].push_back(record);
  }
  return index;
}

// The last record with that path that was not taken yet, moved to `taken`; null when there is none.
// It is kept until the index is gone, since a key may be its text.
ContainerInfo* TakeLast(PathIndex& index, CTOOString const& path, Records& from, Records& taken) {
  auto const found = index.find(TextOf(path));
  if (found == index.end() || found->second.empty()) {
    return nullptr;
  }
  taken.splice(taken.end(), from, found->second.back());
  found->second.pop_back();
  return &taken.back();
}

// All but the path, which is the same in both; what can be moved is not copied.
void TakeOver(ContainerInfo& record, ContainerInfo& newer) {
  record.Param = newer.Param;
  record.Ident1 = std::move(newer.Ident1);
  record.Ident2 = std::move(newer.Ident2);
  record.SubConts.swap(newer.SubConts);
  record.State = newer.State;
}

// Whether the record stays, given the file's record with its path or null.
using Rule = bool (*)(ContainerInfo& record, ContainerInfo* fromFile);

bool MergeOne(ContainerInfo& record, ContainerInfo* fromFile) {
  if (fromFile == nullptr) {
    bool const isAdded = record.State == ContainerInfo::StateAdded;
    record.State = ContainerInfo::StateSynced;
    return isAdded;
  }
  if (record.State == ContainerInfo::StateSynced) {
    TakeOver(record, *fromFile);
  }
  return record.State != ContainerInfo::StateRemoved;
}

bool TakeOverOne(ContainerInfo& record, ContainerInfo* fromFile) {
  if (record.State != ContainerInfo::StateSynced) {
    return true;
  }
  if (fromFile != nullptr) {
    TakeOver(record, *fromFile);
  }
  return fromFile != nullptr;
}

void Match(Records& records, Records& fileRecords, Rule keeps) {
  Records taken;
  PathIndex index = IndexByPath(fileRecords);
  for (auto next = records.end(); next != records.begin();) {
    auto const record = std::prev(next);
    if (keeps(*record, TakeLast(index, record->Path, fileRecords, taken))) {
      next = record;
    } else {
      records.erase(record);
    }
  }
  records.splice(records.end(), fileRecords);
}

}  // namespace

void MergeRecords(Records& records, Records& fileRecords) {
  Match(records, fileRecords, &MergeOne);
}

void TakeOverRecords(Records& records, Records& fileRecords) {
  Match(records, fileRecords, &TakeOverOne);
}
