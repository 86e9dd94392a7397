#ifndef QUENDRIL_COMMON_COMMONCONTINFOLIST_H
#define QUENDRIL_COMMON_COMMONCONTINFOLIST_H

#include <memory>

#include "catalogue/ContainerInfoList.h"
#include "foundation/CTOODateTime.h"
#include "foundation/export.h"

// The machine-wide catalogue of key containers: one ContainerInfoList over the common file, and the
// moment of its latest Load, so that a caller can ask cheaply whether the file has changed since.
//
// Threads: as ContainerInfoList; Load and bIsChange of one object are for one thread at a time.
class QUENDRIL_EXPORT CommonContInfoList {
 public:
  // Creates the common file if it is missing and loads it. Throws what CommonContInfoFileCreater
  // and ContainerInfoList throw.
  CommonContInfoList();
  CommonContInfoList(CommonContInfoList const&) = delete;
  CommonContInfoList& operator=(CommonContInfoList const&) = delete;
  // Saves nothing.
  ~CommonContInfoList();

  // Whether the file was written after the latest Load, by anybody, this object included. Before
  // the first Load: whether there is a file.
  bool bIsChange();
  // Reloads from the file, then notes the moment.
  void Load();

  // The same members of the catalogue.
  void Save(bool bWaitLock);
  void Add(char const* path);
  void Erase(char const* path);
  char const* GetFirst();
  char const* GetNext();
  char const* GetPrevious();
  ContainerInfo* FindRecord(char const* path, bool bLock);
  ContainerInfo& GetRecord(char const* path, bool bLock);
  ContainerInfoItrMgr* GetListItrMgr();
  SyncList* GetSyncList();

  // The catalogue itself, for a ContainerInfoEdit.
  operator ContainerInfoList&();  // NOLINT(google-explicit-constructor): to be edited like one.

 private:
  std::unique_ptr<ContainerInfoList> m_list;
  CTOODateTime m_loadStamp;
};

#endif
