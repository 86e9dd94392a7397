#ifndef QUENDRIL_RECORDSTORE_CQUASISTRUCTFILE_H
#define QUENDRIL_RECORDSTORE_CQUASISTRUCTFILE_H

#include "recordstore/QuasiStructFileBase.h"

// The record store on disk: each storage operation is one of CTOOFile's. It takes no lock beside
// those of QuasiStructFileBase.
class QUENDRIL_EXPORT CQuasiStructFile : public QuasiStructFileBase {
 public:
  // No file.
  CQuasiStructFile();
  // Opens and scans an existing file. A missing or empty one is to be created later (`create`) or
  // is status 4, thrown as an XTOOStatus when `statusFlag` is true. A damaged file never throws;
  // its code is in the status. A folder in its place throws an XTOOFile.
  CQuasiStructFile(char const* fileName, bool create, bool statusFlag);
  CQuasiStructFile(CQuasiStructFile const& other);
  ~CQuasiStructFile() override;
  CQuasiStructFile& operator=(CQuasiStructFile const& other);

  unsigned int stor_Read(CTOOFile* file, void* buffer, unsigned int count) override;
  unsigned int stor_Write(CTOOFile* file, void const* buffer, unsigned int count) override;
  unsigned int stor_Seek(CTOOFile* file, long offset, int origin) override;
  // Never null: a failed open is in the handle's status.
  CTOOFile* stor_Open(char const* name, char const* mode, bool flag) override;
  bool stor_IsExists(char const* name) override;
  unsigned int stor_Length(CTOOFile* file) override;
  // Throws an XTOOFile when there is no such file.
  unsigned int stor_Length(char const* name) override;
  // The time of the store's own file, whatever `name` says; the default time when it is missing.
  CTOOFileTime stor_GetLastWriteTime(char const* name) override;
  unsigned int stor_ReadIdentObject(CTOOFile* file, IdentObj& target,
                                    unsigned int position) override;
  unsigned int stor_WriteIdentObject(CTOOFile* file, IdentObj const& source,
                                     unsigned int position) override;
  unsigned int stor_CurPos(CTOOFile* file) override;
  void stor_Truncate(CTOOFile* file) override;
  void stor_Close(CTOOFile* file) override;
};

#endif
