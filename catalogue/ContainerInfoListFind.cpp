// Looking records up and repairing a list of them.

#include "catalogue/ContainerInfoList.h"
#include "catalogue/NormalisedPath.h"
#include "catalogue/RecordRepair.h"
#include "catalogue/RunningEdit.h"
#include "foundation/XTOOStatus.h"

namespace {

constexpr int kNoSuchRecord = 194;

ContainerInfo* FindFirst(std::list<ContainerInfo>& records, CTOOString const& path) {
  for (ContainerInfo& record : records) {
    if (record.Path.CollateNoCase(path) == 0) {
      return &record;
    }
  }
  return nullptr;
}

}  // namespace

ContainerInfo* ContainerInfoList::FindRecord(char const* path, bool bLock) {
  CTOOString const normalised = NormalisedPath(path);
  if (bLock) {
    RunningEdit::Refuse("ContainerInfoList::FindRecord");
    IPC::CReadLocker const locker(m_sync.Lock);
    return FindFirst(m_sync.Records, normalised);
  }
  return FindFirst(m_sync.Records, normalised);
}

ContainerInfo& ContainerInfoList::GetRecord(char const* path, bool bLock) {
  ContainerInfo* const record = FindRecord(path, bLock);
  if (record == nullptr) {
    throw XTOOStatus(kNoSuchRecord, path == nullptr ? "" : path, false);
  }
  return *record;
}

// NOLINTNEXTLINE(readability-non-const-parameter): written through a reference
void ContainerInfoList::Fix(std::list<ContainerInfo>& records, bool* changed) {
  bool ignored = false;
  bool& isChanged = changed != nullptr ? *changed : ignored;
  isChanged = false;
  RecordRepair repair(records.size());
  for (auto record = records.begin(); record != records.end();) {
    RecordRepair::Verdict const verdict = repair.Judge(*record);
    isChanged = isChanged || verdict != RecordRepair::Verdict::Keep;
    if (verdict == RecordRepair::Verdict::Remove) {
      record = records.erase(record);
      continue;
    }
    if (verdict == RecordRepair::Verdict::Mark) {
      record->State = ContainerInfo::StateRemoved;
    }
    ++record;
  }
}
