#ifndef QUENDRIL_TESTS_SUPPORT_OBSERVEDSTORE_H
#define QUENDRIL_TESTS_SUPPORT_OBSERVEDSTORE_H

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "recordstore/CQuasiStructFile.h"
#include "tests/support/LockProbe.h"

// A record store on disk that notes every storage operation, with the lock that is held of the file
// at that moment, and can be made to fail. It also shows the store's protected members.
//
// Construct it empty and call Reload: a base constructor would not reach the overrides.
class ObservedStore : public CQuasiStructFile {
 public:
  struct Event {
    std::string what;    // "Open r+bc", "Read", "ReadIdent", "Truncate", "delete handle", ...
    unsigned int count;  // Bytes asked for by Read and Write; 0 for all others.
    Lock lock;           // Of the store's file; None while there is no file.
  };

  ObservedStore() = default;
  ObservedStore(std::string const& fileName, bool create, bool statusFlag = false) {
    Reload(fileName.c_str(), create, statusFlag);
    Events.clear();
  }

  std::vector<Event> Events;
  // The events' names alone.
  std::vector<std::string> Names() const;
  // The locks that were held at the events of that name.
  std::vector<Lock> LocksAt(std::string const& what) const;
  // Handles that stor_Open gave and nobody deleted yet.
  int OpenHandles = 0;
  // What was passed as the third argument of stor_Open, each time.
  std::vector<bool> OpenFlags;

  // The code that the handles of stor_Open carry, 0 for an open that works.
  int FailOpenWith = 0;
  // Called before each storage operation with its name, as in Event::what; may throw.
  std::function<void(std::string const&)> Before;
  // What stor_GetLastWriteTime gives instead of the file's time, if set.
  std::function<CTOOFileTime()> WriteTime;

  // The protected members.
  std::list<unsigned int>& Offsets() { return m_offsets; }
  IdentObj& Header() { return m_header; }
  CTOOFileTime& LoadTime() { return m_loadTime; }
  bool& Create() { return m_create; }
  CTOOString& FileName() { return m_fileName; }
  CTOOString& LockName() { return m_lockName; }
  IPC::CReadWriteLock* LockObject() { return m_lock.get(); }
  unsigned long& ReservedLong() { return m_reservedLong; }
  unsigned short& ReservedShort() { return m_reservedShort; }
  bool StatusFlag() const { return Flag; }

  unsigned int stor_Read(CTOOFile* file, void* buffer, unsigned int count) override;
  unsigned int stor_Write(CTOOFile* file, void const* buffer, unsigned int count) override;
  unsigned int stor_Seek(CTOOFile* file, long offset, int origin) override;
  CTOOFile* stor_Open(char const* name, char const* mode, bool flag) override;
  bool stor_IsExists(char const* name) override;
  unsigned int stor_Length(CTOOFile* file) override;
  unsigned int stor_Length(char const* name) override;
  CTOOFileTime stor_GetLastWriteTime(char const* name) override;
  unsigned int stor_ReadIdentObject(CTOOFile* file, IdentObj& target,
                                    unsigned int position) override;
  unsigned int stor_WriteIdentObject(CTOOFile* file, IdentObj const& source,
                                     unsigned int position) override;
  unsigned int stor_CurPos(CTOOFile* file) override;
  void stor_Truncate(CTOOFile* file) override;
  void stor_Close(CTOOFile* file) override;

 private:
  friend class ObservedHandle;
  void Note(std::string const& what, unsigned int count = 0);
};

#endif
