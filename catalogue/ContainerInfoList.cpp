#include "catalogue/ContainerInfoList.h"

#include "catalogue/RunningEdit.h"
#include "foundation/CTOOFile.h"

ContainerInfoList::ContainerInfoList() = default;

ContainerInfoList::ContainerInfoList(char const* fileName)
    : m_fileName(fileName == nullptr ? "" : fileName) {
  if (!m_fileName.IsEmpty() && CTOOFile::IsExists(m_fileName) &&
      CTOOFile::Length(m_fileName, XTOOFile(true)) != 0) {
    Load(nullptr);
  }
}

ContainerInfoList::~ContainerInfoList() = default;

ContainerInfoList& ContainerInfoList::operator=(ContainerInfoList const& other) {
  if (this == &other) {
    return *this;
  }
  RunningEdit::Refuse("ContainerInfoList::operator=");
  m_fileName = other.m_fileName;
  IPC::CWriteLocker const locker(m_sync.Lock);
  auto from = other.m_sync.Records.begin();
  for (ContainerInfo& record : m_sync.Records) {
    if (from == other.m_sync.Records.end()) {
      break;
    }
    record = *from++;
  }
  return *this;
}

ContainerInfoItrMgr* ContainerInfoList::GetListItrMgr() { return this; }

SyncList* ContainerInfoList::GetSyncList() { return &m_sync; }
