#ifndef QUENDRIL_SECOND_BASE_CTOOFILE_H
#define QUENDRIL_SECOND_BASE_CTOOFILE_H

#include <cstdio>

#include "foundation/CTOODateTime.h"
#include "foundation/CTOOString.h"
#include "foundation/export.h"
#include "foundation/XTOOStatus.h"

// A stdio stream. Only a failed open shows in the status; what stdio could not write out is lost
// without a word.
class QUENDRIL_EXPORT CTOOFile : public XTOOStatus {
 public:
  CTOOFile(char const* name, char const* mode, bool flag);
  CTOOFile(CTOOFile const&) = delete;
  CTOOFile& operator=(CTOOFile const&) = delete;
  ~CTOOFile() override;

  unsigned int Read(void* buffer, unsigned int count) const;
  unsigned int Write(void const* buffer, unsigned int count);
  unsigned int Seek(long offset, int origin) const;
  long CurPos() const;
  long Length() const;
  void Truncate();
  void Close() const;

  static bool IsExists(char const* name);
  static bool IsExists(CTOOString const& name);
  static bool IsExistsEx(CTOOString const& name);
  static bool IsFolder(char const* name);
  static long Length(char const* name, XTOOFile const& status);
  static CTOODateTime LastWriteTime(char const* name, XTOOFile const& status);
  static void Remove(char const* name, XTOOFile const& status);
  static void CopyFile(char const* from, char const* to, bool overwrite, XTOOFile const& status,
                       bool reserved);

 private:
  mutable std::FILE* m_stream;  // Null when it is closed.
  mutable bool m_isChanged = false;
};

class QUENDRIL_EXPORT CTOOFolder {
 public:
  static bool Create(char const* name, XTOOFile const& status);
};

#endif
