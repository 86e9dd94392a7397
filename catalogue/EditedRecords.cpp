#include "catalogue/EditedRecords.h"

#include "catalogue/NormalisedPath.h"
#include "catalogue/RecordMerge.h"
#include "catalogue/RecordRepair.h"

namespace {

bool IsRemoved(ContainerInfo const& record) { return record.State == ContainerInfo::StateRemoved; }

}  // namespace

void EditedRecords::TakeOver(std::list<ContainerInfo>& fileRecords) {
  m_index.reset();  // Its records may go.
  TakeOverRecords(m_records, fileRecords);
}

bool EditedRecords::Add(ContainerInfo const& record) {
  if (record.Path.IsEmpty() || Index().Find(NormalisedPath(record.Path)) != nullptr) {
    return false;
  }
  m_changes.reserve(m_changes.size() + 1);
  std::list<ContainerInfo> added(1, record);
  added.front().State = ContainerInfo::StateAdded;
  Index().Insert(added.begin());
  m_changes.push_back(Change{added.begin(), true, ContainerInfo::StateAdded});
  m_records.splice(m_records.end(), added);
  return true;
}

bool EditedRecords::Erase(char const* path) {
  CTOOString const text(path);
  if (text.IsEmpty()) {
    return EraseNameless();
  }
  PathIndex::Record const* const found = Index().Find(text);
  if (found == nullptr) {
    return false;
  }
  m_changes.reserve(m_changes.size() + 1);
  Mark(*found);
  return true;
}

bool EditedRecords::EraseNameless() {
  m_changes.reserve(m_changes.size() + m_records.size());
  bool isChanged = false;
  for (auto record = m_records.begin(); record != m_records.end(); ++record) {
    if (record->Path.IsEmpty() && !IsRemoved(*record)) {
      Mark(record);
      isChanged = true;
    }
  }
  return isChanged;
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
    PathIndex index;
    for (auto record = m_records.begin(); record != m_records.end(); ++record) {
      if (!IsRemoved(*record)) {
        index.Insert(record);
      }
    }
    m_index = std::move(index);
  }
  return *m_index;
}

std::list<IdentObj> EditedRecords::Encode() {
  RecordRepair repair;
  std::list<IdentObj> blobs;
  m_isWritten.clear();
  for (ContainerInfo& record : m_records) {
    bool const isWritten =
        !IsRemoved(record) && repair.Judge(record) == RecordRepair::Verdict::Keep;
    m_isWritten.push_back(isWritten);
    if (isWritten) {
      blobs.push_back(record.WriteData());
    }
  }
  return blobs;
}

void EditedRecords::Settle() {
  m_index.reset();
  m_changes.clear();
  auto isWritten = m_isWritten.cbegin();
  for (auto record = m_records.begin(); record != m_records.end();) {
    if (*isWritten++) {
      record->State = ContainerInfo::StateSynced;
      ++record;
    } else {
      record = m_records.erase(record);
    }
  }
}

void EditedRecords::TakeBack() {
  m_index.reset();
  for (auto change = m_changes.rbegin(); change != m_changes.rend(); ++change) {
    if (change->isNew) {
      m_records.erase(change->record);
    } else {
      change->record->State = change->state;
    }
  }
  m_changes.clear();
}
