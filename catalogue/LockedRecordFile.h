#ifndef QUENDRIL_CATALOGUE_LOCKEDRECORDFILE_H
#define QUENDRIL_CATALOGUE_LOCKEDRECORDFILE_H

#include <list>
#include <memory>
#include <optional>
#include <vector>

#include "catalogue/ContainerInfo.h"
#include "catalogue/FileReplacement.h"
#include "foundation/CTOOString.h"
#include "foundation/IdentObj.h"
#include "foundation/IPC.h"
#include "recordstore/CQuasiStructFile.h"

// A catalogue's record file, exclusively locked as long as this lives. Every failure is an
// XTOOStatus with the file and what was being done to it in its text.
class LockedRecordFile {
 public:
  // Makes an empty file if there is none. Blocks. Throws when the file may not be written, EINVAL
  // for what is no file.
  explicit LockedRecordFile(CTOOString const& fileName);

  // The file's records' blobs. Throws when it is damaged.
  std::list<IdentObj> Read();
  // Puts the records into the file, behind the header that was read and with the mark of a cleaned
  // file, in one step. Throws, with the file as it was, on any failure; ESTALE when it was written
  // or replaced since it was read. REQUIRES: it was read.
  void Replace(std::vector<ContainerInfo*> const& records);

 private:
  void ThrowUnlessAsRead() const;
  void Write(std::vector<ContainerInfo*> const& records, FileReplacement const& to);

  CTOOString m_name;
  CQuasiStructFile m_store;
  std::unique_ptr<IPC::CWriteLocker> m_hold;
  IdentObj m_header;
  std::optional<FileVersion> m_version;  // When it was read.
};

#endif
