#include "tests/support/ObservedStore.h"

#include "tests/support/Files.h"

// Tells its store when it is deleted.
class ObservedHandle : public CTOOFile {
 public:
  ObservedHandle(ObservedStore& store, char const* name, char const* mode, bool flag)
      : CTOOFile(name, mode, flag), m_store(store) {
    ++m_store.OpenHandles;
  }
  ~ObservedHandle() override {
    --m_store.OpenHandles;
    auto const before = m_store.Before;
    m_store.Before = nullptr;  // A destructor must not throw.
    m_store.Note("delete handle");
    m_store.Before = before;
  }

 private:
  ObservedStore& m_store;
};

std::vector<std::string> ObservedStore::Names() const {
  std::vector<std::string> names;
  for (Event const& event : Events) {
    names.push_back(event.what);
  }
  return names;
}

std::vector<Lock> ObservedStore::LocksAt(std::string const& what) const {
  std::vector<Lock> locks;
  for (Event const& event : Events) {
    if (event.what == what) {
      locks.push_back(event.lock);
    }
  }
  return locks;
}

void ObservedStore::Note(std::string const& what, unsigned int count) {
  std::string const name = static_cast<char const*>(m_fileName);
  Lock const lock = !name.empty() && IsThere(name) ? FileLockOf(name) : Lock::None;
  Events.push_back(Event{what, count, lock});
  if (Before) {
    Before(what);
  }
}

unsigned int ObservedStore::stor_Read(CTOOFile* file, void* buffer, unsigned int count) {
  Note("Read", count);
  return CQuasiStructFile::stor_Read(file, buffer, count);
}

unsigned int ObservedStore::stor_Write(CTOOFile* file, void const* buffer, unsigned int count) {
  Note("Write", count);
  return CQuasiStructFile::stor_Write(file, buffer, count);
}

unsigned int ObservedStore::stor_Seek(CTOOFile* file, long offset, int origin) {
  Note("Seek");
  return CQuasiStructFile::stor_Seek(file, offset, origin);
}

CTOOFile* ObservedStore::stor_Open(char const* name, char const* mode, bool flag) {
  Note(std::string("Open ") + mode);
  OpenFlags.push_back(flag);
  auto* const handle = new ObservedHandle(*this, name, mode, flag);
  if (FailOpenWith != 0) {
    handle->SetError(FailOpenWith);
  }
  return handle;
}

bool ObservedStore::stor_IsExists(char const* name) {
  Note("IsExists");
  return CQuasiStructFile::stor_IsExists(name);
}

unsigned int ObservedStore::stor_Length(CTOOFile* file) {
  Note("Length of handle");
  return CQuasiStructFile::stor_Length(file);
}

unsigned int ObservedStore::stor_Length(char const* name) {
  Note("Length of name");
  return CQuasiStructFile::stor_Length(name);
}

CTOOFileTime ObservedStore::stor_GetLastWriteTime(char const* name) {
  Note("GetLastWriteTime");
  return WriteTime ? WriteTime() : CQuasiStructFile::stor_GetLastWriteTime(name);
}

unsigned int ObservedStore::stor_ReadIdentObject(CTOOFile* file, IdentObj& target,
                                                 unsigned int position) {
  Note("ReadIdent");
  return CQuasiStructFile::stor_ReadIdentObject(file, target, position);
}

unsigned int ObservedStore::stor_WriteIdentObject(CTOOFile* file, IdentObj const& source,
                                                  unsigned int position) {
  Note("WriteIdent");
  return CQuasiStructFile::stor_WriteIdentObject(file, source, position);
}

unsigned int ObservedStore::stor_CurPos(CTOOFile* file) {
  Note("CurPos");
  return CQuasiStructFile::stor_CurPos(file);
}

void ObservedStore::stor_Truncate(CTOOFile* file) {
  Note("Truncate");
  CQuasiStructFile::stor_Truncate(file);
}

void ObservedStore::stor_Close(CTOOFile* file) {
  Note("Close");
  CQuasiStructFile::stor_Close(file);
}
