#ifndef QUENDRIL_RECORDSTORE_QUASISTRUCTFILEBASE_H
#define QUENDRIL_RECORDSTORE_QUASISTRUCTFILEBASE_H

#include <functional>
#include <list>
#include <memory>

#include "foundation/CTOODateTime.h"
#include "foundation/CTOOFile.h"
#include "foundation/CTOOString.h"
#include "foundation/export.h"
#include "foundation/IdentObj.h"
#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"

// A record store: one storage object that holds a header and records, each an IdentObj (layout in
// RecordFormat.h). It reaches its storage only through the stor_ operations, which a backend
// supplies, and mirrors in memory the header words, the header and every record's offset.
//
// Failures are status codes (StatusCodes.h), returned and mostly set on the store itself with the
// file name as the text; a code that is set blocks most operations until Clear or Reload. What
// throws: a lock that cannot be had (XTOOStatus with an errno; EDEADLK for a change under one's own
// LockReadFile), a folder in the file's place (XTOOFile), lack of memory. The next operation then
// scans the file again.
//
// The storage is never kept open: each operation opens it, works, deletes the handle and releases
// its lock over the file, which keeps processes apart. Who needs several operations under one lock
// takes it with LockReadFile or LockWriteFile first. Threads: one store, one thread at a time.
class QUENDRIL_EXPORT QuasiStructFileBase : public XTOOStatus {
 public:
  // The first 12 bytes of the file as they were read or will be written.
  struct HeaderWords {
    unsigned int Reserved;      // Set by nothing; written back as it was read.
    unsigned int CleanedMark;   // Read and set by the store's user.
    unsigned int HeaderLength;  // Bytes.
  };

  // No file, status flag true, creation allowed. Touches no storage.
  QuasiStructFileBase();
  // With `create` an operation that finds no file may create it. Makes the lock but does not scan:
  // the backend's constructor calls Init.
  QuasiStructFileBase(char const* fileName, bool create, bool statusFlag);
  // Both stores then name the same file; the lock is a new one.
  QuasiStructFileBase(QuasiStructFileBase const& other);
  ~QuasiStructFileBase() override;
  QuasiStructFileBase& operator=(QuasiStructFileBase const& other);

  // Order is ABI, down to stor_Close.

  // Whether a record equal to `obj` exists; `*index` (unless null) becomes its number, or -1 after
  // a search in vain. No lock. Only a store whose first record lies at offset 0 can be searched;
  // any other sets 22, and like a missing file or a failure leaves `*index` alone.
  virtual bool IsItInFile(IdentObj const& obj, long* index);
  // Record `index` into `out`. Returns 0, 194 for an index that is none, 22 for a record whose
  // offset lies beyond the file, or an earlier status; 0 too after a failed open, which is in the
  // status alone, and for a record that cannot be read, with `out` empty. Shared lock.
  virtual unsigned int Get(long index, IdentObj& out);
  // Replaces record `index`; the count of records, or a negative index, appends. Returns 0, 28 for
  // an index above the count, or the status. Exclusive lock.
  virtual unsigned int Put(long index, IdentObj const& obj);
  // Appends a record. Returns the status. Exclusive lock.
  virtual unsigned int Add(IdentObj const& obj);
  // Appends all of `objs`. Returns the status. No lock: callers hold what they need.
  virtual unsigned int PutList(std::list<IdentObj> const& objs);
  // Removes record `index`. Returns 0, 28 for an index that is none, or the status. Exclusive lock.
  virtual unsigned int Del(long index);
  // Cuts a file to length 0 (a store in memory keeps its content); header words and header stay in
  // memory, for PutList to write again. Returns 0 or the code of a failed open. Exclusive lock.
  virtual unsigned int EmptyFile();

  // The storage. Handles belong to the caller; a failed open is a handle with a status. A backend
  // without handles opens null, which all of these must take. Transfers return the bytes moved, of
  // whole records 0 on failure. RecordFormat.h has the modes, origins and the position "here".
  virtual unsigned int stor_Read(CTOOFile* file, void* buffer, unsigned int count) = 0;
  virtual unsigned int stor_Write(CTOOFile* file, void const* buffer, unsigned int count) = 0;
  virtual unsigned int stor_Seek(CTOOFile* file, long offset, int origin) = 0;
  virtual CTOOFile* stor_Open(char const* name, char const* mode, bool flag) = 0;
  virtual bool stor_IsExists(char const* name) = 0;
  virtual unsigned int stor_Length(CTOOFile* file) = 0;
  virtual unsigned int stor_Length(char const* name) = 0;
  virtual CTOOFileTime stor_GetLastWriteTime(char const* name) = 0;
  virtual unsigned int stor_ReadIdentObject(CTOOFile* file, IdentObj& target,
                                            unsigned int position) = 0;
  virtual unsigned int stor_WriteIdentObject(CTOOFile* file, IdentObj const& source,
                                             unsigned int position) = 0;
  virtual unsigned int stor_CurPos(CTOOFile* file) = 0;
  virtual void stor_Truncate(CTOOFile* file) = 0;
  virtual void stor_Close(CTOOFile* file) = 0;

  // Appends every record to `out`, reading the file afresh, Words and header too. Returns the
  // status: 4 without a file; 134 for a record that is cut, an empty one in its place. Shared lock.
  unsigned int GetAll(std::list<IdentObj>& out);
  // The same without all in memory at once: `take` gets each, under the lock. It may throw.
  using Taker = std::function<void(IdentObj&&)>;
  unsigned int GetEach(Taker const& take);
  IdentObj& GetHeader();  // Refreshed when the file changed; valid for the store's life.
  // Replaces the header in the file and moves the records with it. Returns 0 or the status.
  // Exclusive lock on an existing file, none for making a new one.
  unsigned int PutHeader(IdentObj const& header);

  // Scans the file: header words, header, offsets. Returns the status. Shared lock.
  unsigned int Init();
  // Makes the lock, or sets 4 for a file that is not readable and not to be created.
  void PreInit();
  // Starts over on `fileName` (null: the present one) with new flags. Returns the scan's status.
  unsigned int Reload(char const* fileName, bool create, bool statusFlag);
  // Forgets the file and the lock; offsets, lock name, create flag and status stay.
  void Unload();
  // Scans again when the file is newer than the latest scan. No lock but that of the scan.
  void CheckAndRestore();

  // A new hold of the file's lock, the caller's to delete; null without a lock. Blocks.
  IPC::CReadLocker* LockReadFile();
  IPC::CWriteLocker* LockWriteFile();
  IPC::CWriteLocker* LockReadWriteFile();  // As LockWriteFile: a lock cannot be upgraded.

  HeaderWords Words;

 protected:
  // Kept on purpose: zeroed, copied, and otherwise unused, for the sake of the object's layout.
  unsigned long m_reservedLong;
  unsigned short m_reservedShort;

  CTOOString m_fileName;
  bool m_create;
  IdentObj m_header;
  CTOOFileTime m_loadTime;
  std::list<unsigned int> m_offsets;  // Of every record's length prefix, in file order.
  std::unique_ptr<IPC::CReadWriteLock> m_lock;
  CTOOString m_lockName;

 private:
  unsigned int Fail(unsigned int code);
  bool IsWithoutFile();
  void EnsureLock();
  bool Open(char const* mode, std::unique_ptr<CTOOFile>& file);
  bool ReadHeader(CTOOFile* file, unsigned long& position);
  void ScanRecords(CTOOFile* file, unsigned long position);
  void ReadRecords(CTOOFile* file, unsigned long position, Taker const& take);
  bool FindFromStart(CTOOFile* file, IdentObj const& obj, long& index);
  unsigned int WriteHeader(CTOOFile* file);
  unsigned int CreateWithHeader(IdentObj const& header);
  void MoveRecordsBehind(CTOOFile* file, IdentObj const& header);
  bool OpenForChange(bool& isNew, std::unique_ptr<CTOOFile>& file);
  unsigned int StartAppending(CTOOFile* file, bool isNew);
  void Append(CTOOFile* file, bool isNew, IdentObj const& obj);
  void Replace(CTOOFile* file, long index, IdentObj const& obj);
};

#endif
