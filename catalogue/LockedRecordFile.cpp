#include "catalogue/LockedRecordFile.h"

#include <cerrno>

#include "foundation/XTOOStatus.h"
#include "recordstore/RecordFormat.h"

namespace {

constexpr unsigned int kCleaned = 1;

void ThrowUnlessZero(unsigned int code, char const* doing, CTOOString const& fileName) {
  if (code != 0) {
    throw XTOOStatus(static_cast<int>(code), CTOOString("ContainerInfoEdit: ") + doing + fileName,
                     false);
  }
}

unsigned int StatusOf(XTOOStatus const& object) {
  return static_cast<unsigned int>(object.Status());
}

}  // namespace

LockedRecordFile::LockedRecordFile(CTOOString const& fileName)
    : m_name(fileName), m_store(fileName, true, false) {
  MakeIfMissing(m_name);
  m_hold.reset(m_store.LockWriteFile());
  MakeIfMissing(m_name);  // Somebody may have removed it before the lock was ours.
  // Who may not write the file was given a lock that excludes nobody.
  std::unique_ptr<CTOOFile> const file(m_store.stor_Open(m_name, "r+bc", false));
  ThrowUnlessZero(StatusOf(*file), "opening ", m_name);
  // A device or a FIFO cannot be locked, and must not be replaced.
  ThrowUnlessZero(FileVersion(m_name).IsFile() ? 0 : EINVAL,
                  "no file that could be replaced: ", m_name);
}

std::list<IdentObj> LockedRecordFile::Read() {
  m_version.emplace(m_name);
  m_store.Clear();  // Whatever the scan met, somebody was just writing the file perhaps.
  std::list<IdentObj> blobs;
  if (!m_version->IsEmpty()) {
    ThrowUnlessZero(m_store.GetAll(blobs), "reading ", m_name);
  }
  m_header = m_store.GetHeader();
  return blobs;
}

void LockedRecordFile::Replace(std::vector<ContainerInfo*> const& records) {
  ThrowUnlessAsRead();
  FileReplacement replacement(m_name, *m_version);
  Write(records, replacement);
  ThrowUnlessAsRead();  // As late as can be.
  replacement.PutInPlace();
}

void LockedRecordFile::ThrowUnlessAsRead() const {
  bool const isAsRead = FileVersion(m_name) == *m_version;
  ThrowUnlessZero(isAsRead ? 0 : ESTALE, "somebody wrote without its lock to ", m_name);
}

void LockedRecordFile::Write(std::vector<ContainerInfo*> const& records,
                             FileReplacement const& to) {
  QuasiStructFileBase::HeaderWords words = m_store.Words;
  words.CleanedMark = kCleaned;
  words.HeaderLength = m_header.Length;
  std::unique_ptr<CTOOFile> const file(m_store.stor_Open(to.Name(), "r+bc", false));
  ThrowUnlessZero(StatusOf(*file), "opening ", to.Name());
  m_store.stor_Write(file.get(), &words, sizeof words);
  m_store.stor_Write(file.get(), m_header.Data, m_header.Length);
  unsigned long size = sizeof words + static_cast<unsigned long>(m_header.Length);
  for (ContainerInfo* const record : records) {
    IdentObj const blob = record->WriteData();
    m_store.stor_WriteIdentObject(file.get(), blob, kCurrentPosition);
    size += kLengthPrefixSize + static_cast<unsigned long>(blob.Length);
  }
  file->Close();
  ThrowUnlessZero(StatusOf(*file), "writing ", to.Name());
  // A handle that gathers what is written need not tell what was lost on its way; the file does.
  ThrowUnlessZero(to.Size() == size ? 0 : EIO, "writing ", to.Name());
}
