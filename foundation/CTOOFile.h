#ifndef QUENDRIL_FOUNDATION_CTOOFILE_H
#define QUENDRIL_FOUNDATION_CTOOFILE_H

#include <memory>

#include "foundation/CTOODateTime.h"
#include "foundation/CTOOString.h"
#include "foundation/export.h"
#include "foundation/XTOOStatus.h"

class BufferedFile;

// A file handle, and the file utilities as static members.
//
// The handle is its own status: a non-zero Status() after construction means that the open failed.
// Codes are errno values, the text is the path. It is buffered both ways, 64 KiB ahead for reading
// and up to 1 MiB gathered for one write; position and size include what is gathered, and reading
// back what was written sees it. The size is the one of the handle's latest contact with the file.
// A handle that changed the file stamps its modification time from the fine clock when it closes.
//
// Threads: one handle, one thread at a time. Locks: none; see IPC.h.
class QUENDRIL_EXPORT CTOOFile : public XTOOStatus {
 public:
  // Opens `name`. Modes: "rb" to read an existing file, "r+b" to read and write one without
  // emptying it, "wb" to create or empty it and write; a "c" may follow and means nothing. A null
  // mode reads and writes, creates the file if it is missing and never empties one. `flag` is the
  // flag of the handle's status: with true a failed open throws an XTOOFile.
  CTOOFile(char const* name, char const* mode, bool flag);
  CTOOFile(CTOOFile const&) = delete;
  CTOOFile& operator=(CTOOFile const&) = delete;
  // Closes; a failure to write out what is gathered goes unseen here (Close reports it).
  ~CTOOFile() override;

  // Both return the bytes transferred. At the end of the file a read is short and no error.
  unsigned int Read(void* buffer, unsigned int count) const;
  unsigned int Write(void const* buffer, unsigned int count);
  // Origins as in C: 0 start, 1 current position, 2 end. Returns 0, or 0xFFFFFFFF for a position
  // before the start, which leaves the position alone.
  unsigned int Seek(long offset, int origin) const;
  unsigned long CurPos() const;
  unsigned long Length() const;
  // Writes out what is gathered and cuts the file at the current position.
  void Truncate();
  // Writes out what is gathered and closes; a failure is in the status. May be called twice.
  void Close() const;

  // Whatever exists at the path, file or folder, symbolic links followed; false for the empty name.
  static bool IsExists(char const* name);
  static bool IsExists(CTOOString const& name);
  static bool IsExistsEx(CTOOString const& name);
  static bool IsFolder(char const* name);

  // The utilities below report a failure through `status`, which throws when its flag is true.

  // Bytes; 0 on failure, and a folder is one (EISDIR).
  static unsigned long Length(char const* name, XTOOFile const& status);
  // CTOODateTime(0) on failure.
  static CTOODateTime LastWriteTime(char const* name, XTOOFile const& status);
  static bool Remove(char const* name, XTOOFile const& status);
  // Copies the content of a file; a device is none (EINVAL). The target appears whole or not at
  // all; an existing one fails (EEXIST) unless `overwrite`. The last argument means nothing here.
  static bool CopyFile(char const* from, char const* to, bool overwrite, XTOOFile const& status,
                       bool reserved);

 private:
  // Copies what the file object met, if anything, into the status.
  void TakeError() const;

  std::unique_ptr<BufferedFile> m_file;
};

// Folder utilities.
class QUENDRIL_EXPORT CTOOFolder {
 public:
  // Makes the folder and its missing parents; true when it exists in the end, otherwise false with
  // the status filled (an exception when its flag is true).
  static bool Create(char const* name, XTOOFile const& status);
};

#endif
