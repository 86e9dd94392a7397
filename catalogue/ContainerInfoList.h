#ifndef QUENDRIL_CATALOGUE_CONTAINERINFOLIST_H
#define QUENDRIL_CATALOGUE_CONTAINERINFOLIST_H

#include <list>

#include "catalogue/ContainerInfo.h"
#include "catalogue/ContainerInfoItrMgr.h"
#include "foundation/CTOOString.h"
#include "foundation/export.h"
#include "foundation/IPC.h"

// A catalogue's records with the lock that guards them between the threads of the process. The lock
// is not re-entrant.
//
// Lock order, of all locks that there are:
//
//   OK     SyncList::Lock, then a record file's lock
//   OK     the common file's semaphore lock, alone
//   ERROR  a record file's lock, then SyncList::Lock
//   ERROR  two record files' locks
//   ERROR  any lock taken, or anything called, while ContainerInfoItrMgr's mutex is held
struct SyncList {
  SyncList() = default;
  SyncList(SyncList const&) = delete;
  SyncList& operator=(SyncList const&) = delete;
  ~SyncList() = default;

  std::list<ContainerInfo> Records;  // In the order of the file. Guarded by Lock.
  IPC::CReadWriteLock_pth Lock;
};

// A catalogue of key containers: records in memory over one record file, which other processes use
// too. Each process edits its own list; every save merges the list with what the file holds at that
// moment and rewrites the file whole. Between loads and saves no file is open.
//
// Failures of Load and Save are not reported, except for a missing file name and a lack of memory,
// after which Load leaves what it had read. Paths may be null where a text is expected and then
// count as empty.
//
// Threads: Load, Add, Erase and assignment take the list's lock exclusively; FindRecord and
// GetRecord shared when asked; the walks take none. In a thread that is inside a ContainerInfoEdit
// all that would lock or save throws EDEADLK.
class QUENDRIL_EXPORT ContainerInfoList : public ContainerInfoItrMgr {
 public:
  // No file name, no records.
  ContainerInfoList();
  // Loads the file if it exists and is not empty; otherwise keeps the name for a later save. Throws
  // as Load does, and an XTOOFile when `fileName` names a folder, or a file that vanishes just
  // then.
  explicit ContainerInfoList(char const* fileName);
  ContainerInfoList(ContainerInfoList const&) = delete;
  // Saves nothing.
  ~ContainerInfoList();

  // Takes over the other's file name and assigns record by record, up to the end of the shorter
  // list; none is added or removed. The other's lock is not taken.
  ContainerInfoList& operator=(ContainerInfoList const& other);

  // Replaces the records by those of the file; null means the stored name. A missing, empty,
  // damaged or unreadable file leaves the list empty. A file whose cleaned mark is 0 has its
  // records tested; if some are stale, it is rewritten without them, without any lock between
  // processes.
  void Load(char const* fileName);

  // Merges with the file and rewrites it:
  //
  //   State in memory  the file holds the path       the file does not
  //   StateSynced      the file's version is taken   dropped
  //   StateAdded       kept as it is                 kept, becomes StateSynced
  //   StateRemoved     dropped                       dropped
  //
  // Records that only the file holds are appended. With `bWaitLock` the list's lock is waited for
  // and let go before the work starts; without, the caller holds it. Throws XTOOStatus 28 for a
  // catalogue without a file name.
  void Save(bool bWaitLock);

  // Adds a record for `path` and saves, unless `path` is empty or FindRecord knows it. It is kept
  // as it is given; FindRecord finds it only in the form that storedev gives. A container that does
  // not exist, or that the process of any later save may not see, does not stay. Throws as Save
  // does.
  void Add(char const* path);
  // Removes the first record with exactly `path` (case ignored, not normalised) and saves; for an
  // empty `path` all records whose path is empty. Throws as Save does.
  void Erase(char const* path);

  // The first record whose path equals the normalised form of `path`, case ignored; null for none.
  // With `bLock` the list is locked for the search; a caller that needs the record to stay put
  // holds the lock itself and passes false.
  ContainerInfo* FindRecord(char const* path, bool bLock);
  // The same by reference. Throws XTOOStatus 194 with `path` as the text when there is none.
  ContainerInfo& GetRecord(char const* path, bool bLock);

  // Removes records with an empty path and all but the first of those with the same path; marks
  // those StateRemoved whose container is gone or whose path holds "cur_pers", "usrguard" or ".lck"
  // in any case. `changed` (unless null) tells whether anything was removed or marked. No lock.
  static void Fix(std::list<ContainerInfo>& records, bool* changed);

  // Move the calling thread's cursor and return the path of the record reached, null at the ends.
  // The text is the record's own and valid until that record is changed or removed. GetNext past
  // the last record rests behind it; GetPrevious on the first stays there. GetNext and GetPrevious
  // on a cursor that was never set return null. A thread whose record was removed, by a Load too,
  // must call GetFirst first: anything else follows freed memory. The cursor of a thread that ended
  // stays until RemoveItrForThread, and a later thread may get its key. No lock on the list.
  char const* GetFirst();
  char const* GetNext();
  char const* GetPrevious();

  // The catalogue itself, as the manager of its cursors.
  ContainerInfoItrMgr* GetListItrMgr();
  // The records and their lock, for callers that walk or lock them themselves.
  SyncList* GetSyncList();

 private:
  // They read the stored name, and nothing else.
  friend class CommonContInfoList;
  friend class ContainerInfoEdit;

  void LoadRecords();
  void MergeAndWrite(bool bWaitLock);
  Cursor& OwnCursor();

  CTOOString m_fileName;
  SyncList m_sync;
};

#endif
