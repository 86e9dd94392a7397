#include "common/CommonContInfoList.h"

#include "common/CommonContInfoFileCreater.h"
#include "foundation/CTOOFile.h"

CommonContInfoList::CommonContInfoList() : m_loadStamp(0L) {
  CommonContInfoFileCreater creater;
  creater.CreateIfShould();
  m_list = std::make_unique<ContainerInfoList>(creater.GetCommonContInfoFileName());
}

CommonContInfoList::~CommonContInfoList() = default;

bool CommonContInfoList::bIsChange() {
  XTOOFile const status(false);
  return m_loadStamp < CTOOFile::LastWriteTime(m_list->m_fileName, status);
}

void CommonContInfoList::Load() {
  m_list->Load(nullptr);
  // Kept on purpose: taken after the load, so a write during the load goes unseen.
  m_loadStamp = CTOODateTime(true);
}

void CommonContInfoList::Save(bool bWaitLock) { m_list->Save(bWaitLock); }

void CommonContInfoList::Add(char const* path) { m_list->Add(path); }

void CommonContInfoList::Erase(char const* path) { m_list->Erase(path); }

char const* CommonContInfoList::GetFirst() { return m_list->GetFirst(); }

char const* CommonContInfoList::GetNext() { return m_list->GetNext(); }

char const* CommonContInfoList::GetPrevious() { return m_list->GetPrevious(); }

ContainerInfo* CommonContInfoList::FindRecord(char const* path, bool bLock) {
  return m_list->FindRecord(path, bLock);
}

ContainerInfo& CommonContInfoList::GetRecord(char const* path, bool bLock) {
  return m_list->GetRecord(path, bLock);
}

ContainerInfoItrMgr* CommonContInfoList::GetListItrMgr() { return m_list->GetListItrMgr(); }

SyncList* CommonContInfoList::GetSyncList() { return m_list->GetSyncList(); }

CommonContInfoList::operator ContainerInfoList&() { return *m_list; }
