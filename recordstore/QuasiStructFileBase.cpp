#include "recordstore/QuasiStructFileBase.h"

#include <utility>

#include "recordstore/RecordFormat.h"
#include "recordstore/ScanAgain.h"
#include "recordstore/StatusCodes.h"

static_assert(sizeof(QuasiStructFileBase::HeaderWords) == kHeaderWordsSize);

QuasiStructFileBase::QuasiStructFileBase()
    : XTOOStatus(0, true), Words{}, m_reservedLong(0), m_reservedShort(0), m_create(true) {}

QuasiStructFileBase::QuasiStructFileBase(char const* fileName, bool create, bool statusFlag)
    : XTOOStatus(0, statusFlag),
      Words{},
      m_reservedLong(0),
      m_reservedShort(0),
      m_fileName(fileName),
      m_create(create) {
  PreInit();
}

QuasiStructFileBase::QuasiStructFileBase(QuasiStructFileBase const& other) : QuasiStructFileBase() {
  *this = other;
}

QuasiStructFileBase::~QuasiStructFileBase() { Unload(); }

QuasiStructFileBase& QuasiStructFileBase::operator=(QuasiStructFileBase const& other) {
  if (this == &other) {
    return *this;
  }
  // All that may throw comes first: half an assignment would pair one file with another's offsets.
  CTOOString const& lockName = other.m_lockName.IsEmpty() ? other.m_fileName : other.m_lockName;
  auto lock = std::make_unique<IPC::CReadWriteLock_file>(lockName);
  CTOOString fileName(other.m_fileName);
  CTOOString ownLockName(other.m_lockName);
  std::list<unsigned int> offsets(other.m_offsets);
  IdentObj header(other.m_header);
  XTOOStatus::operator=(other);
  m_create = other.m_create;
  m_fileName = std::move(fileName);
  m_lockName = std::move(ownLockName);
  m_reservedLong = other.m_reservedLong;
  m_reservedShort = other.m_reservedShort;
  m_loadTime = other.m_loadTime;
  m_offsets.swap(offsets);
  m_header = std::move(header);
  Words = other.Words;
  m_lock = std::move(lock);
  return *this;
}

unsigned int QuasiStructFileBase::Reload(char const* fileName, bool create, bool statusFlag) {
  ScanAgainAfterException const guard(m_loadTime);
  // Copied first: the argument may be the store's own name, which Unload empties.
  CTOOString const name(fileName != nullptr ? fileName : static_cast<char const*>(m_fileName));
  Unload();
  m_fileName = name;
  XTOOStatus::operator=(XTOOStatus(kSuccess, statusFlag));
  m_create = create;
  PreInit();
  if (stor_IsExists(m_fileName)) {
    return Init();
  }
  if (m_create) {
    m_offsets.clear();
    return kSuccess;
  }
  return Fail(kNoFile);
}

void QuasiStructFileBase::Unload() {
  Words = HeaderWords{};
  m_reservedLong = 0;
  m_reservedShort = 0;
  m_fileName = "";
  m_header.Empty();
  m_lock.reset();
  // Kept on purpose: the offsets and the lock name stay.
}

IPC::CReadLocker* QuasiStructFileBase::LockReadFile() {
  return m_lock ? new IPC::CReadLocker(*m_lock) : nullptr;  // Owned by the caller.
}

IPC::CWriteLocker* QuasiStructFileBase::LockWriteFile() {
  return m_lock ? new IPC::CWriteLocker(*m_lock) : nullptr;  // Owned by the caller.
}

IPC::CWriteLocker* QuasiStructFileBase::LockReadWriteFile() { return LockWriteFile(); }

// Every failure is set here: the file name becomes the text, unless it is empty.
unsigned int QuasiStructFileBase::Fail(unsigned int code) {
  if (!m_fileName.IsEmpty()) {
    Text = m_fileName;
  }
  SetError(static_cast<int>(code));
  return code;
}

// A file of length 0 is no file.
bool QuasiStructFileBase::IsWithoutFile() {
  return !stor_IsExists(m_fileName) || stor_Length(m_fileName) == 0;
}

void QuasiStructFileBase::EnsureLock() {
  if (!m_lock) {
    m_lock = std::make_unique<IPC::CReadWriteLock_file>(m_fileName);
  }
}

// False when the open failed; the handle's code is the store's status then. A backend without
// handles opens null, which is no failure.
bool QuasiStructFileBase::Open(char const* mode, std::unique_ptr<CTOOFile>& file) {
  file.reset(stor_Open(m_fileName, mode, false));
  if (!file || file->Status() == 0) {
    return true;
  }
  Fail(static_cast<unsigned int>(file->Status()));
  return false;
}
