// Changing records: QuasiStructFileBase's Put, Add, PutList, Del and EmptyFile.
//
// Kept on purpose, in all of them: the results of single reads and writes are not looked at, and
// the offsets are kept as if they had succeeded.

#include "recordstore/QuasiStructFileBase.h"
#include "recordstore/RecordFormat.h"
#include "recordstore/RecordShift.h"
#include "recordstore/ScanAgain.h"
#include "recordstore/StatusCodes.h"

unsigned int QuasiStructFileBase::Put(long index, IdentObj const& obj) {
  ScanAgainAfterException const guard(m_loadTime);
  bool const wasNew = IsWithoutFile();
  if (wasNew && !m_create) {
    return Fail(kNoFile);
  }
  CheckAndRestore();
  if (Status() != 0) {
    return static_cast<unsigned int>(Status());
  }
  // Kept on purpose: signed, so a negative index passes and appends.
  long const count = static_cast<long>(m_offsets.size());
  if (index > count) {
    return kBadIndex;
  }
  EnsureLock();
  IPC::CWriteLocker const locker(*m_lock);
  bool isNew = false;
  std::unique_ptr<CTOOFile> file;
  if (!OpenForChange(isNew, file)) {
    return static_cast<unsigned int>(Status());
  }
  // In a file that appeared meanwhile the index names no record of ours.
  if (wasNew || isNew || index < 0 || index == count) {
    Append(file.get(), isNew, obj);
  } else {
    Replace(file.get(), index, obj);
  }
  return kSuccess;
}

unsigned int QuasiStructFileBase::Add(IdentObj const& obj) {
  ScanAgainAfterException const guard(m_loadTime);
  bool isNew = IsWithoutFile();
  if (isNew && !m_create) {
    return Fail(kNoFile);
  }
  CheckAndRestore();
  if (Status() != 0) {
    return static_cast<unsigned int>(Status());
  }
  EnsureLock();
  IPC::CWriteLocker const locker(*m_lock);
  std::unique_ptr<CTOOFile> file;
  if (OpenForChange(isNew, file)) {
    Append(file.get(), isNew, obj);
  }
  return static_cast<unsigned int>(Status());
}

unsigned int QuasiStructFileBase::PutList(std::list<IdentObj> const& objs) {
  ScanAgainAfterException const guard(m_loadTime);
  bool isNew = false;
  std::unique_ptr<CTOOFile> file;
  if (OpenForChange(isNew, file)) {
    unsigned int position = StartAppending(file.get(), isNew);
    for (IdentObj const& obj : objs) {
      m_offsets.push_back(position);
      position += stor_WriteIdentObject(file.get(), obj, kCurrentPosition);
    }
  }
  return static_cast<unsigned int>(Status());
}

unsigned int QuasiStructFileBase::Del(long index) {
  ScanAgainAfterException const guard(m_loadTime);
  CheckAndRestore();
  if (Status() != 0) {
    return static_cast<unsigned int>(Status());
  }
  // Unsigned, so a negative index is refused.
  if (static_cast<unsigned long>(index) >= m_offsets.size()) {
    return kBadIndex;
  }
  auto const deleted = std::next(m_offsets.begin(), index);
  EnsureLock();
  IPC::CWriteLocker const locker(*m_lock);
  std::unique_ptr<CTOOFile> file;
  if (!Open(kModeUpdate, file)) {
    return static_cast<unsigned int>(Status());
  }
  long position = *deleted;
  stor_Seek(file.get(), position, kFromStart);
  IdentObj record;
  for (auto later = m_offsets.erase(deleted); later != m_offsets.end(); ++later) {
    stor_Seek(file.get(), *later, kFromStart);
    stor_ReadIdentObject(file.get(), record, kCurrentPosition);
    stor_Seek(file.get(), position, kFromStart);
    *later = static_cast<unsigned int>(position);
    position += stor_WriteIdentObject(file.get(), record, kCurrentPosition);
  }
  stor_Truncate(file.get());
  return kSuccess;
}

unsigned int QuasiStructFileBase::EmptyFile() {
  ScanAgainAfterException const guard(m_loadTime);
  EnsureLock();
  IPC::CWriteLocker const locker(*m_lock);
  m_offsets.clear();
  // Kept on purpose: the base services are asked, not the storage, so a store in memory keeps its
  // content.
  if (!CTOOFile::IsExists(m_fileName)) {
    return kSuccess;
  }
  std::unique_ptr<CTOOFile> file;
  if (!Open(kModeUpdate, file)) {
    return static_cast<unsigned int>(Status());
  }
  stor_Truncate(file.get());
  stor_Close(file.get());
  return kSuccess;
}

// Opens the storage for a change, creating it if there is none and that is allowed; false with the
// status set otherwise. Whether there is a file is asked here, where Put and Add hold their lock:
// another process may have made or removed it while they waited.
bool QuasiStructFileBase::OpenForChange(bool& isNew, std::unique_ptr<CTOOFile>& file) {
  isNew = IsWithoutFile();
  if (isNew && !m_create) {
    Fail(kNoFile);
    return false;
  }
  return Open(isNew ? kModeCreate : kModeUpdate, file);
}

// Makes the file stand where the next record is appended, a new one behind its header. Returns that
// position.
unsigned int QuasiStructFileBase::StartAppending(CTOOFile* file, bool isNew) {
  if (isNew) {
    return WriteHeader(file);
  }
  unsigned int const position = stor_Length(file);
  stor_Seek(file, 0, kFromEnd);
  return position;
}

void QuasiStructFileBase::Append(CTOOFile* file, bool isNew, IdentObj const& obj) {
  unsigned int const position = StartAppending(file, isNew);
  stor_WriteIdentObject(file, obj, kCurrentPosition);
  m_offsets.push_back(position);
}

void QuasiStructFileBase::Replace(CTOOFile* file, long index, IdentObj const& obj) {
  std::list<IdentObj> pending{obj};
  auto const current = std::next(m_offsets.begin(), index);
  ShiftRecords(*this, file, pending, *current, current, std::next(current), m_offsets.end());
}
