#include "recordstore/CQuasiStructFile.h"

#include "recordstore/StatusCodes.h"

CQuasiStructFile::CQuasiStructFile() = default;

CQuasiStructFile::CQuasiStructFile(char const* fileName, bool create, bool statusFlag)
    : QuasiStructFileBase(fileName, create, statusFlag) {
  if (CTOOFile::IsExists(m_fileName) && CTOOFile::Length(m_fileName, XTOOFile(true)) != 0) {
    Init();
    return;
  }
  if (create) {
    return;
  }
  Text = m_fileName;
  SetError(kNoFile);
  if (statusFlag) {
    throw XTOOStatus(kNoFile, m_fileName, false);
  }
}

CQuasiStructFile::CQuasiStructFile(CQuasiStructFile const& other) = default;

CQuasiStructFile::~CQuasiStructFile() = default;

CQuasiStructFile& CQuasiStructFile::operator=(CQuasiStructFile const& other) = default;

unsigned int CQuasiStructFile::stor_Read(CTOOFile* file, void* buffer, unsigned int count) {
  return file->Read(buffer, count);
}

unsigned int CQuasiStructFile::stor_Write(CTOOFile* file, void const* buffer, unsigned int count) {
  return file->Write(buffer, count);
}

unsigned int CQuasiStructFile::stor_Seek(CTOOFile* file, long offset, int origin) {
  return file->Seek(offset, origin);
}

CTOOFile* CQuasiStructFile::stor_Open(char const* name, char const* mode, bool flag) {
  return new CTOOFile(name, mode, flag);  // Owned by the caller.
}

bool CQuasiStructFile::stor_IsExists(char const* name) { return CTOOFile::IsExists(name); }

unsigned int CQuasiStructFile::stor_Length(CTOOFile* file) {
  return static_cast<unsigned int>(file->Length());
}

unsigned int CQuasiStructFile::stor_Length(char const* name) {
  return static_cast<unsigned int>(CTOOFile::Length(name, XTOOFile(true)));
}

CTOOFileTime CQuasiStructFile::stor_GetLastWriteTime(char const* /*name*/) {
  // Kept on purpose: the store's own file is asked about, not the argument.
  if (!CTOOFile::IsExists(m_fileName)) {
    return CTOOFileTime();
  }
  return CTOOFileTime(CTOOFile::LastWriteTime(m_fileName, XTOOFile(true)));
}

unsigned int CQuasiStructFile::stor_ReadIdentObject(CTOOFile* file, IdentObj& target,
                                                    unsigned int position) {
  return target.ReadData(*file, position);
}

unsigned int CQuasiStructFile::stor_WriteIdentObject(CTOOFile* file, IdentObj const& source,
                                                     unsigned int position) {
  return source.WriteData(*file, position);
}

unsigned int CQuasiStructFile::stor_CurPos(CTOOFile* file) {
  return static_cast<unsigned int>(file->CurPos());
}

void CQuasiStructFile::stor_Truncate(CTOOFile* file) { file->Truncate(); }

void CQuasiStructFile::stor_Close(CTOOFile* file) { file->Close(); }
