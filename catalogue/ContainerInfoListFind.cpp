// Looking records up and repairing a list of them.

#include <functional>
#include <set>

#include "catalogue/CContainerPathCompare.h"
#include "catalogue/ContainerInfoList.h"
#include "foundation/CTOOFile.h"
#include "foundation/storedev.h"
#include "foundation/XTOOStatus.h"

namespace {

constexpr int kNoSuchRecord = 194;
constexpr unsigned int kNotFound = 0xFFFFFFFF;

ContainerInfo* FindFirst(std::list<ContainerInfo>& records, CTOOString const& path) {
  for (ContainerInfo& record : records) {
    if (record.Path.CollateNoCase(path) == 0) {
      return &record;
    }
  }
  return nullptr;
}

// Whether a save drops the record. What a load drops (IsStale there) follows a rule of its own.
bool IsToBeRemoved(CTOOString const& path) {
  return !CTOOFile::IsExists(path) || path.FindNocase("cur_pers") != kNotFound ||
         path.FindNocase("usrguard") != kNotFound || path.FindNocase(".lck") != kNotFound;
}

}  // namespace

ContainerInfo* ContainerInfoList::FindRecord(char const* path, bool bLock) {
  CTOOString folder;
  CTOOString name;
  storedev::ParseFullPath(path, nullptr, &folder, &name, nullptr);
  CTOOString normalised;
  storedev::MakeFullPath(normalised, folder, name, "");
  if (bLock) {
    IPC::CReadLocker const locker(m_sync.Lock);
    return FindFirst(m_sync.Records, normalised);
  }
  return FindFirst(m_sync.Records, normalised);
}

ContainerInfo& ContainerInfoList::GetRecord(char const* path, bool bLock) {
  ContainerInfo* const record = FindRecord(path, bLock);
  if (record == nullptr) {
    throw XTOOStatus(kNoSuchRecord, path, false);
  }
  return *record;
}

// NOLINTNEXTLINE(readability-non-const-parameter): written through a reference
void ContainerInfoList::Fix(std::list<ContainerInfo>& records, bool* changed) {
  bool ignored = false;
  bool& isChanged = changed != nullptr ? *changed : ignored;
  isChanged = false;
  // The paths of the records kept so far. They are not copied: a kept record stays where it is.
  std::set<std::reference_wrapper<CTOOString const>, CContainerPathCompare> paths;
  for (auto record = records.begin(); record != records.end();) {
    if (record->Path.IsEmpty() || !paths.insert(record->Path).second) {
      record = records.erase(record);
      isChanged = true;
      continue;
    }
    if (IsToBeRemoved(record->Path)) {
      record->State = ContainerInfo::StateRemoved;
      isChanged = true;
    }
    ++record;
  }
}
