#include "foundation/CTOOFile.h"

#include "foundation/embedded/BufferedFile.h"

namespace {

constexpr unsigned int kSeekFailed = 0xFFFFFFFF;

}  // namespace

CTOOFile::CTOOFile(char const* name, char const* mode, bool flag)
    : XTOOStatus(0, name, flag), m_file(std::make_unique<BufferedFile>()) {
  int const error = m_file->Open(Text, mode);
  if (error == 0) {
    return;
  }
  SetError(error);
  if (flag) {
    XTOOFile(true).Fail(error, Text);
  }
}

CTOOFile::~CTOOFile() = default;

unsigned int CTOOFile::Read(void* buffer, unsigned int count) const {
  auto const moved = static_cast<unsigned int>(m_file->Read(buffer, count));
  TakeError();
  return moved;
}

unsigned int CTOOFile::Write(void const* buffer, unsigned int count) {
  auto const moved = static_cast<unsigned int>(m_file->Write(buffer, count));
  TakeError();
  return moved;
}

unsigned int CTOOFile::Seek(long offset, int origin) const {
  bool const moved = m_file->Seek(offset, origin);
  TakeError();
  return moved ? 0 : kSeekFailed;
}

unsigned long CTOOFile::CurPos() const { return m_file->Position(); }

unsigned long CTOOFile::Length() const { return m_file->Size(); }

void CTOOFile::Truncate() {
  m_file->Truncate();
  TakeError();
}

void CTOOFile::Close() const {
  m_file->Close();
  TakeError();
}

void CTOOFile::TakeError() const {
  int const error = m_file->TakeError();
  if (error != 0) {
    SetError(error);
  }
}
