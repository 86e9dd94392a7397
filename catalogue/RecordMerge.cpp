#include "catalogue/RecordMerge.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "catalogue/RecordEncoding.h"

namespace {

using Records = std::list<ContainerInfo>;
using Blobs = std::list<IdentObj>;
// Each path's records that were not taken yet, in file order; a path without any is not there. The
// keys are the records' own texts.
using FileIndex = std::unordered_map<std::string_view, std::vector<Records::iterator>>;

std::string_view TextOf(CTOOString const& path) { return static_cast<char const*>(path); }

FileIndex IndexByPath(Records& records) {
  FileIndex index(records.size());
  for (auto record = records.begin(); record != records.end(); ++record) {
    index[TextOf(record->Path)].push_back(record);
  }
  return index;
}

// The last record with that path, moved to `taken`; null when there is none. It is kept
// until the index is gone, since a key may be its text.
ContainerInfo* TakeLast(FileIndex& index, CTOOString const& path, Records& from, Records& taken) {
  auto const found = index.find(TextOf(path));
  if (found == index.end()) {
    return nullptr;
  }
  taken.splice(taken.end(), from, found->second.back());
  found->second.pop_back();
  if (found->second.empty()) {
    index.erase(found);
  }
  return &taken.back();
}

// All but the path, which is the same in both; what can be moved is not copied. A record may be its
// own partner.
void TakeOver(ContainerInfo& record, ContainerInfo& newer) {
  if (&record == &newer) {
    return;
  }
  record.Param = newer.Param;
  record.Ident1 = std::move(newer.Ident1);
  record.Ident2 = std::move(newer.Ident2);
  record.SubConts.swap(newer.SubConts);
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

// Whether the list and the file hold the same paths in the same order. Then each record's partner
// is the one at its own place, also where paths are there twice, and neither an index is needed nor
// the decoding of records that are the same: so it is nearly always when nobody else has written.
// The list may have one record more, at its end, whose path the file does not have.
bool AreInStep(Records const& records, Blobs const& blobs) {
  if (records.size() - blobs.size() > 1) {
    return false;
  }
  auto record = records.begin();
  for (IdentObj const& blob : blobs) {
    if (!BeginsWithPath(blob, record->Path)) {
      return false;
    }
    ++record;
  }
  return record == records.end() ||
         std::none_of(blobs.begin(), blobs.end(),
                      [&](IdentObj const& blob) { return BeginsWithPath(blob, record->Path); });
}

void MatchInStep(Records& records, Blobs& blobs, Rule keeps) {
  // What the file has otherwise. Its decoding may fail, so it comes before any change.
  Records changed;
  std::vector<ContainerInfo*> partners;
  partners.reserve(records.size());
  auto own = records.begin();
  for (IdentObj const& blob : blobs) {
    bool const isSame = IsEncodingOf(blob, *own);
    if (!isSame) {
      changed.emplace_back().ReadData(blob.Data, blob.Length);
    }
    partners.push_back(isSame ? &*own : &changed.back());
    ++own;
  }
  partners.resize(records.size());
  auto partner = partners.begin();
  auto blob = blobs.begin();
  for (auto record = records.begin(); record != records.end(); ++partner) {
    bool const isSame = *partner == &*record;
    bool const isKept = keeps(*record, *partner);
    record = isKept ? std::next(record) : records.erase(record);
    if (blob == blobs.end()) {
      continue;
    }
    if (!isSame) {
      blob->Empty();
    }
    blob = isKept ? std::next(blob) : blobs.erase(blob);
  }
}

void Match(Records& records, Blobs& blobs, Rule keeps) {
  if (AreInStep(records, blobs)) {
    MatchInStep(records, blobs, keeps);
    return;
  }
  Records fileRecords;
  for (IdentObj const& blob : blobs) {
    fileRecords.emplace_back().ReadData(blob.Data, blob.Length);
  }
  Records taken;
  FileIndex index = IndexByPath(fileRecords);
  for (auto next = records.end(); next != records.begin();) {
    auto const record = std::prev(next);
    if (keeps(*record, TakeLast(index, record->Path, fileRecords, taken))) {
      next = record;
    } else {
      records.erase(record);
    }
  }
  records.splice(records.end(), fileRecords);
  blobs.clear();
}

}  // namespace

void MergeRecords(Records& records, Blobs& blobs) { Match(records, blobs, &MergeOne); }

void TakeOverRecords(Records& records, Blobs& blobs) { Match(records, blobs, &TakeOverOne); }
