#ifndef QUENDRIL_CATALOGUE_CONTAINERINFOITRMGR_H
#define QUENDRIL_CATALOGUE_CONTAINERINFOITRMGR_H

#include <list>
#include <map>

#include <boost/thread/mutex.hpp>

#include "catalogue/ContainerInfo.h"
#include "foundation/export.h"

// The cursors of one list, one per thread, so that each thread walks it at its own pace. A thread's
// key is the low 32 bits of pthread_self(); two threads with the same key share a cursor.
//
// A cursor refers to no record (a new entry), to a record, or to the end of the list. It is not
// told of changes to the list: removing a record invalidates every cursor on it.
//
// Threads: any, on the three operations; each moves only its own cursor. Failing to lock passes
// boost::lock_error out.
class QUENDRIL_EXPORT ContainerInfoItrMgr {
 public:
  using Cursor = std::list<ContainerInfo>::iterator;

  // Throws boost::thread_resource_error when there is no mutex to be had.
  ContainerInfoItrMgr();
  ContainerInfoItrMgr(ContainerInfoItrMgr const&) = delete;
  ContainerInfoItrMgr& operator=(ContainerInfoItrMgr const&) = delete;
  ~ContainerInfoItrMgr();

  // Makes sure that there is an entry; one that exists stays as it is.
  void AddItrForThread(unsigned int threadKey);
  // The entry's cursor, made if missing. The reference stays valid until the entry is removed.
  Cursor& GetItrForThread(unsigned int threadKey);
  // Removes the entry if there is one. Nothing else ever removes one.
  void RemoveItrForThread(unsigned int threadKey);

 private:
  // Guarded by m_mutex; what the cursors refer to is not.
  std::map<unsigned int, Cursor> m_cursors;
  // Nothing else is called while it is held.
  boost::mutex m_mutex;
};

#endif
