// Opening and refreshing: QuasiStructFileBase's mirror of the file.

#include <unistd.h>

#include "recordstore/QuasiStructFileBase.h"
#include "recordstore/RecordFormat.h"
#include "recordstore/ScanAgain.h"
#include "recordstore/StatusCodes.h"

void QuasiStructFileBase::PreInit() {
  if (::access(m_fileName, R_OK) == -1 && !m_create) {
    Fail(kNoFile);
    return;
  }
  m_lockName = m_fileName;
  m_lock = std::make_unique<IPC::CReadWriteLock_file>(m_lockName);
}

unsigned int QuasiStructFileBase::Init() {
  _SYSTEMTIME now{};
  GetSystemTime(&now);
  SystemTimeToFileTime(&now, &m_loadTime);
  ScanAgainAfterException const guard(m_loadTime);
  m_offsets.clear();
  if (IsWithoutFile()) {
    return m_create ? kSuccess : Fail(kNoFile);
  }
  EnsureLock();
  IPC::CReadLocker const locker(*m_lock);
  std::unique_ptr<CTOOFile> file;
  unsigned long position = 0;
  if (Open(kModeRead, file) && ReadHeader(file.get(), position)) {
    ScanRecords(file.get(), position);
  }
  return static_cast<unsigned int>(Status());
}

void QuasiStructFileBase::CheckAndRestore() {
  CTOOFileTime const written = stor_GetLastWriteTime(m_fileName);
  if (written > m_loadTime) {
    m_loadTime = written;
    Init();
  }
}

// Reads the header words and the header; `position` becomes that of the first record. False with
// the status set when the file does not hold them.
bool QuasiStructFileBase::ReadHeader(CTOOFile* file, unsigned long& position) {
  if (stor_Read(file, &Words, kHeaderWordsSize) != kHeaderWordsSize) {
    Fail(kShortRead);
    return false;
  }
  unsigned int const length = Words.HeaderLength;
  position = kHeaderWordsSize + static_cast<unsigned long>(length);
  if (length == 0) {
    return true;
  }
  if (length > stor_Length(file)) {
    Fail(kLengthTooLarge);
    return false;
  }
  m_header = IdentObj(nullptr, length);
  if (stor_Read(file, m_header.Data, length) != length) {
    Fail(kShortRead);
    return false;
  }
  return true;
}

// Notes every record's offset; the file stands at `position`, the first record's. A failure keeps
// the offsets noted before it.
void QuasiStructFileBase::ScanRecords(CTOOFile* file, unsigned long position) {
  unsigned long const end = stor_Length(file);
  while (position < end) {
    unsigned int length = 0;
    if (stor_Read(file, &length, kLengthPrefixSize) != kLengthPrefixSize) {
      Fail(kShortRead);
      return;
    }
    unsigned long const next = position + kLengthPrefixSize + length;
    if (next > stor_Length(file)) {
      Fail(kLengthTooLarge);
      return;
    }
    m_offsets.push_back(static_cast<unsigned int>(position));
    stor_Seek(file, static_cast<long>(length), kFromCurrent);
    position = next;
  }
}
