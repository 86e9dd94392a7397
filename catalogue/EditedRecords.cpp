#include "catalogue/EditedRecords.h"

#include <algorithm>

#include "catalogue/NormalisedPath.h"
#include "catalogue/RecordMerge.h"
#include "catalogue/RecordRepair.h"

namespace {

bool IsRemoved(ContainerInfo const& record) { return record.State == ContainerInfo::StateRemoved; }

}  // namespace

void EditedRecords::TakeOver(std::list<IdentObj> blobs) {
  m_index.reset();  // Its records may go.
  TakeOverRecords(m_records, blobs);
}

bool EditedRecords::Add(ContainerInfo const& record) {
  if (record.Path.IsEmpty() || Index().Find(NormalisedPath(record.Path)) != nullptr) {
    return false;
  }
  MakeRoomFor(1);
  std::list<ContainerInfo> added(1, record);
  added.front().State = ContainerInfo::StateAdded;
  Index().Insert(added.begin());
  // cppcheck-suppress danglingLifetime ; the splice keeps the place
  m_changes.push_back(Change{added.begin(), true, ContainerInfo::StateAdded});
  m_records.splice(m_records.end(), added);
  return true;
}

bool EditedRecords::Erase(char const* path) {
  if (path == nullptr || *path == 0) {
    return EraseNameless();
  }
  PathIndex::Record const* const found = Index().Find(path);
  if (found == nullptr) {
    return false;
  }
  MakeRoomFor(1);
  Mark(*found);
  return true;
}

bool EditedRecords::EraseNameless() {
  MakeRoomFor(m_records.size());
  bool isChanged = false;
  for (auto record = m_records.begin(); record != m_records.end(); ++record) {
    if (record->Path.IsEmpty() && !IsRemoved(*record)) {
      Mark(record);
      isChanged = true;
    }
  }
  return isChanged;
}

void EditedRecords::MakeRoomFor(std::size_t changes) {
  std::size_t const wanted = m_changes.size() + changes;
  if (wanted > m_changes.capacity()) {
    m_changes.reserve(std::max(wanted, 2 * m_changes.capacity()));
  }
}

// REQUIRES: room for one more change.
void EditedRecords::Mark(PathIndex::Record record) {
  if (m_index) {
    m_index->Remove(record);
  }
  m_changes.push_back(Change{record, false, record->State});
  record->State = ContainerInfo::StateRemoved;
}

PathIndex& EditedRecords::Index() {
  if (!m_index) {
    PathIndex index(m_records.size());
    for (auto record = m_records.begin(); record != m_records.end(); ++record) {
      if (!IsRemoved(*record)) {
        index.Insert(record);
      }
    }
    m_index = std::move(index);
  }
  return *m_index;
}

std::vector<ContainerInfo*> const& EditedRecords::Choose() {
  RecordRepair repair(m_records.size());
  m_chosen.clear();
  m_chosen.reserve(m_records.size());
  for (ContainerInfo& record : m_records) {
    if (!IsRemoved(record) && repair.Judge(record) == RecordRepair::Verdict::Keep) {
      m_chosen.push_back(&record);
    }
  }
  return m_chosen;
}

void EditedRecords::Settle() {
  m_changes.clear();
  auto chosen = m_chosen.cbegin();
  for (auto record = m_records.begin(); record != m_records.end();) {
    if (chosen != m_chosen.cend() && *chosen == &*record) {
      record->State = ContainerInfo::StateSynced;
      ++chosen;
      ++record;
    } else {
      record = m_records.erase(record);
    }
  }
}

void EditedRecords::TakeBack() {
  for (auto change = m_changes.rbegin(); change != m_changes.rend(); ++change) {
    if (change->isNew) {
      // cppcheck-suppress mismatchingContainerIterator ; it was spliced into them
      m_records.erase(change->record);
    } else {
      change->record->State = change->state;
    }
  }
}
