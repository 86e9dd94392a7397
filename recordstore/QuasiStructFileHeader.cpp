// The header: QuasiStructFileBase's GetHeader and PutHeader.

#include "recordstore/QuasiStructFileBase.h"
#include "recordstore/RecordFormat.h"
#include "recordstore/RecordShift.h"
#include "recordstore/ScanAgain.h"
#include "recordstore/StatusCodes.h"

IdentObj& QuasiStructFileBase::GetHeader() {
  CheckAndRestore();
  return m_header;
}

unsigned int QuasiStructFileBase::PutHeader(IdentObj const& header) {
  ScanAgainAfterException const guard(m_loadTime);
  // Copied first: it may be the store's own header, which a rescan replaces.
  IdentObj const copy(header);
  if (IsWithoutFile()) {
    return m_create ? CreateWithHeader(copy) : Fail(kNoFile);
  }
  CheckAndRestore();
  if (Status() != 0) {
    return static_cast<unsigned int>(Status());
  }
  EnsureLock();
  IPC::CWriteLocker const locker(*m_lock);
  std::unique_ptr<CTOOFile> file;
  if (!Open(kModeUpdate, file)) {
    return static_cast<unsigned int>(Status());
  }
  if (copy.Length == Words.HeaderLength || m_offsets.empty()) {
    // Kept on purpose: neither the length word in the file nor the header in memory changes, not
    // even when a file without records gets a header of another length.
    stor_Seek(file.get(), kHeaderWordsSize, kFromStart);
    stor_Write(file.get(), copy.Data, copy.Length);
  } else {
    MoveRecordsBehind(file.get(), copy);
  }
  return kSuccess;
}

// Makes the file, without any lock.
unsigned int QuasiStructFileBase::CreateWithHeader(IdentObj const& header) {
  std::unique_ptr<CTOOFile> file;
  if (!Open(kModeCreate, file)) {
    return static_cast<unsigned int>(Status());
  }
  // Kept on purpose: only the file gets the new header; the one in memory and the offsets stay.
  Words.HeaderLength = header.Length;
  stor_Write(file.get(), &Words, kHeaderWordsSize);
  stor_Write(file.get(), header.Data, header.Length);
  return kSuccess;
}

// Writes a header of another length and moves all records, of which there is at least one, to
// follow it. What the header is about to overwrite is read first.
void QuasiStructFileBase::MoveRecordsBehind(CTOOFile* file, IdentObj const& header) {
  unsigned long const firstPosition = kHeaderWordsSize + static_cast<unsigned long>(header.Length);
  std::list<IdentObj> pending;
  auto next = m_offsets.begin();
  stor_Seek(file, *next, kFromStart);
  do {
    pending.emplace_back();
    stor_ReadIdentObject(file, pending.back(), kCurrentPosition);
    ++next;
  } while (next != m_offsets.end() && *next < firstPosition);

  stor_Seek(file, 0, kFromStart);
  Words.HeaderLength = header.Length;
  stor_Write(file, &Words, kHeaderWordsSize);
  stor_Write(file, header.Data, header.Length);
  m_header = header;
  ShiftRecords(*this, file, pending, firstPosition, m_offsets.begin(), next, m_offsets.end());
}

// Writes the header words and the header as they are in memory. Returns the bytes written.
unsigned int QuasiStructFileBase::WriteHeader(CTOOFile* file) {
  Words.HeaderLength = m_header.Length;
  unsigned int const words = stor_Write(file, &Words, kHeaderWordsSize);
  return words + stor_Write(file, m_header.Data, m_header.Length);
}
