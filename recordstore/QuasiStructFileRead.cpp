// Reading records: QuasiStructFileBase's IsItInFile, Get, GetAll and GetEach.

#include <utility>

#include "recordstore/QuasiStructFileBase.h"
#include "recordstore/RecordFormat.h"
#include "recordstore/StatusCodes.h"

namespace {

constexpr long kNotFound = -1;

void Assign(long* index, long value) {
  if (index != nullptr) {
    *index = value;
  }
}

}  // namespace

bool QuasiStructFileBase::IsItInFile(IdentObj const& obj, long* index) {
  CheckAndRestore();
  if (Status() != 0 || !stor_IsExists(m_fileName)) {
    return false;
  }
  std::unique_ptr<CTOOFile> file;
  if (!Open(kModeRead, file)) {
    return false;
  }
  if (m_offsets.empty()) {
    Assign(index, kNotFound);
    return false;
  }
  if (m_offsets.front() != 0) {
    // Kept on purpose: only records that start at the storage's first byte are searched, and in
    // every file of ours the header words stand there.
    Fail(kNotSearchable);
    return false;
  }
  long found = kNotFound;
  bool const isThere = FindFromStart(file.get(), obj, found);
  Assign(index, isThere ? found : kNotFound);
  return isThere;
}

bool QuasiStructFileBase::FindFromStart(CTOOFile* file, IdentObj const& obj, long& index) {
  stor_Seek(file, 0, kFromStart);
  IdentObj record;
  for (index = 0; stor_ReadIdentObject(file, record, kCurrentPosition) != 0; ++index) {
    if (record == obj) {
      return true;
    }
    if (stor_CurPos(file) == stor_Length(file)) {
      return false;
    }
  }
  return false;
}

unsigned int QuasiStructFileBase::Get(long index, IdentObj& out) {
  CheckAndRestore();
  if (Status() != 0) {
    return static_cast<unsigned int>(Status());
  }
  if (index < 0 || static_cast<unsigned long>(index) >= m_offsets.size()) {
    return kNoSuchRecord;
  }
  unsigned int const offset = *std::next(m_offsets.begin(), index);
  EnsureLock();
  IPC::CReadLocker const locker(*m_lock);
  std::unique_ptr<CTOOFile> file;
  if (!Open(kModeRead, file)) {
    return kSuccess;  // Kept on purpose: the code is only in the status.
  }
  if (offset > stor_Length(file.get())) {
    return kNotSearchable;
  }
  stor_Seek(file.get(), offset, kFromStart);
  stor_ReadIdentObject(file.get(), out, kCurrentPosition);
  return kSuccess;
}

unsigned int QuasiStructFileBase::GetAll(std::list<IdentObj>& out) {
  return GetEach([&out](IdentObj&& record) { out.push_back(std::move(record)); });
}

unsigned int QuasiStructFileBase::GetEach(Taker const& take) {
  if (IsWithoutFile()) {
    return Fail(kNoFile);
  }
  EnsureLock();
  IPC::CReadLocker const locker(*m_lock);
  std::unique_ptr<CTOOFile> file;
  unsigned long position = 0;
  if (Open(kModeRead, file) && ReadHeader(file.get(), position)) {
    ReadRecords(file.get(), position, take);
  }
  return static_cast<unsigned int>(Status());
}

void QuasiStructFileBase::ReadRecords(CTOOFile* file, unsigned long position, Taker const& take) {
  while (position < stor_Length(file)) {
    IdentObj record;
    unsigned int const count = stor_ReadIdentObject(file, record, kCurrentPosition);
    position += count;
    take(std::move(record));
    // Kept on purpose: a record that could not be read is among them, empty. But a walk beyond it
    // would stand still for ever, or take any bytes for records.
    if (count == 0 && position < stor_Length(file)) {
      Fail(kLengthTooLarge);
      return;
    }
  }
}
