#ifndef QUENDRIL_RECORDSTORE_QUASISTRUCTBUFFER_H
#define QUENDRIL_RECORDSTORE_QUASISTRUCTBUFFER_H

#include <sstream>
#include <string>

#include "recordstore/QuasiStructFileBase.h"

// The record store in memory: the whole record file is one growable byte string, of which GetBuffer
// gives a copy. It has no file, no handles (they are null and ignored) and no file times; its lock
// is one of its own.
//
// EmptyFile keeps the content, and the byte that a Del or a shorter Put leaves behind the last
// record (see stor_Truncate) is no record: GetAll reads into it, appends an empty record, returns 0
// and leaves the object failed.
//
// Reads and writes share one position. Once a read has run past the end, or anything else has
// failed, the object stays failed: reads and writes return 0, seeks 0xFFFFFFFF, and GetBuffer gives
// "".
class QUENDRIL_EXPORT QuasiStructBuffer : public QuasiStructFileBase {
 public:
  // Copies `size` bytes (cut to 32 bits) of a record file and scans them; null or 0 gives an empty
  // buffer, which is no error.
  QuasiStructBuffer(char const* data, unsigned long size);
  QuasiStructBuffer(QuasiStructBuffer const&) = delete;
  QuasiStructBuffer& operator=(QuasiStructBuffer const&) = delete;
  ~QuasiStructBuffer() override;

  // The whole content, wherever the position stands.
  std::string GetBuffer() const;

  // Returns `count`, or 0 for a short read, which leaves the object failed.
  unsigned int stor_Read(CTOOFile* file, void* buffer, unsigned int count) override;
  unsigned int stor_Write(CTOOFile* file, void const* buffer, unsigned int count) override;
  // Origins 1 and 2 as in C, any other is the start. A position past the end fails.
  unsigned int stor_Seek(CTOOFile* file, long offset, int origin) override;
  // Goes to the start, whatever the mode; nothing is emptied. Returns null.
  CTOOFile* stor_Open(char const* name, char const* mode, bool flag) override;
  // Always true.
  bool stor_IsExists(char const* name) override;
  unsigned int stor_Length(CTOOFile* file) override;
  unsigned int stor_Length(char const* name) override;
  // Always the default time, so the store never scans again.
  CTOOFileTime stor_GetLastWriteTime(char const* name) override;
  unsigned int stor_ReadIdentObject(CTOOFile* file, IdentObj& target,
                                    unsigned int position) override;
  unsigned int stor_WriteIdentObject(CTOOFile* file, IdentObj const& source,
                                     unsigned int position) override;
  unsigned int stor_CurPos(CTOOFile* file) override;
  // Keeps one byte beyond the position.
  void stor_Truncate(CTOOFile* file) override;
  void stor_Close(CTOOFile* file) override;

 private:
  std::stringstream m_stream;
};

#endif
