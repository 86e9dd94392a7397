#include "foundation/embedded/BufferedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "foundation/embedded/FileClock.h"

namespace {

constexpr unsigned long kWindowSize = 65536;
constexpr unsigned long kGatherLimit = 1048576;
constexpr mode_t kNewFileMode = 0666;

// The flags of ::open for a mode text, -1 for a text that is none.
int OpenFlags(char const* mode) {
  if (mode == nullptr) {
    return O_RDWR | O_CREAT;
  }
  bool const update = std::strchr(mode, '+') != nullptr;
  switch (*mode) {
    case 'r':
      return update ? O_RDWR : O_RDONLY;
    case 'w':
      return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
    default:
      return -1;
  }
}

}  // namespace

BufferedFile::~BufferedFile() { Close(); }

int BufferedFile::Open(char const* name, char const* mode) {
  int const flags = OpenFlags(mode);
  if (flags == -1) {
    return EINVAL;
  }
  bool const isMade = (flags & (O_CREAT | O_TRUNC)) == O_CREAT && ::access(name, F_OK) != 0;
  struct stat what {};
  int const error = OpenFile(name, flags, kNewFileMode, m_file, what);
  if (error != 0) {
    return error;
  }
  m_writable = (flags & O_ACCMODE) != O_RDONLY;
  m_changed = isMade || (flags & O_TRUNC) != 0;
  m_size = what.st_size;
  m_stampBefore = what.st_mtim;
  return 0;
}

unsigned long BufferedFile::Read(void* buffer, unsigned long count) {
  auto* const bytes = static_cast<unsigned char*>(buffer);
  unsigned long done = ReadWindow(bytes, count);
  while (done < count) {
    if (count - done >= kWindowSize) {
      unsigned long const moved = ReadAt(bytes + done, count - done);
      m_position += static_cast<off_t>(moved);
      return done + moved;
    }
    if (!FillWindow()) {
      break;
    }
    done += ReadWindow(bytes + done, count - done);
  }
  return done;
}

unsigned long BufferedFile::Write(void const* buffer, unsigned long count) {
  if (!m_file.IsOpen() || !m_writable) {
    m_error = EBADF;
    return 0;
  }
  // Once bytes were lost, later ones must not land behind the hole.
  if (m_writeFailed) {
    return 0;
  }
  off_t end = 0;
  if (__builtin_add_overflow(m_position, count, &end)) {
    m_error = EFBIG;
    return 0;
  }
  auto const* const bytes = static_cast<unsigned char const*>(buffer);
  if (count == 0 || !Gather(bytes, count)) {
    return 0;
  }
  UpdateWindow(bytes, count);
  m_position = end;
  m_size = std::max(m_size, m_position);
  return count;
}

bool BufferedFile::Seek(long offset, int origin) {
  off_t const base = origin == SEEK_CUR ? m_position : (origin == SEEK_END ? m_size : 0);
  off_t target = 0;
  if (origin < SEEK_SET || origin > SEEK_END || __builtin_add_overflow(base, offset, &target) ||
      target < 0) {
    m_error = EINVAL;
    return false;
  }
  m_position = target;
  return true;
}

void BufferedFile::Truncate() {
  if (!m_file.IsOpen() || !m_writable) {
    m_error = EBADF;
    return;
  }
  if (!WriteOut()) {
    return;
  }
  if (::ftruncate(m_file.Get(), m_position) != 0) {
    m_error = errno;
    return;
  }
  m_changed = true;
  m_size = m_position;
  m_windowLength = 0;
}

void BufferedFile::Close() {
  if (!m_file.IsOpen()) {
    return;
  }
  static_cast<void>(WriteOut());  // A failure is in m_error.
  if (m_changed) {
    Stamp();
  }
  int const error = m_file.Close();
  if (error != 0) {
    m_error = error;
  }
}

// Serves what the window holds at the position.
unsigned long BufferedFile::ReadWindow(unsigned char* to, unsigned long count) {
  off_t const offset = m_position - m_windowStart;
  if (count == 0 || offset < 0 || static_cast<unsigned long>(offset) >= m_windowLength) {
    return 0;
  }
  unsigned long const served = std::min(count, m_windowLength - static_cast<unsigned long>(offset));
  std::memcpy(to, m_window.get() + offset, served);
  m_position += static_cast<off_t>(served);
  return served;
}

// Fills the window from the position on; false at the end of the file or on an error.
bool BufferedFile::FillWindow() {
  if (!m_window) {
    m_window.reset(new unsigned char[kWindowSize]);
  }
  m_windowLength = 0;
  m_windowStart = m_position;
  m_windowLength = ReadAt(m_window.get(), kWindowSize);
  return m_windowLength != 0;
}

// Reads from the file itself at the position, which stays.
unsigned long BufferedFile::ReadAt(void* to, unsigned long count) {
  if (!m_file.IsOpen()) {
    m_error = EBADF;
    return 0;
  }
  if (GatheredEnd() > m_position && !WriteOut()) {
    return 0;
  }
  int error = 0;
  unsigned long const moved = ReadFully(m_file.Get(), to, count, m_position, error);
  off_t const end = m_position + static_cast<off_t>(moved);
  if (error != 0) {
    m_error = error;
  } else if (moved == 0) {
    m_size = std::max(std::min(m_size, end), GatheredEnd());
  } else {
    m_size = std::max(moved < count ? end : std::max(m_size, end), GatheredEnd());
  }
  return moved;
}

// Brings what the window holds of the written range up to date.
void BufferedFile::UpdateWindow(unsigned char const* from, unsigned long count) {
  off_t const start = std::max(m_position, m_windowStart);
  off_t const end = std::min(m_position + static_cast<off_t>(count),
                             m_windowStart + static_cast<off_t>(m_windowLength));
  if (start < end) {
    std::memcpy(m_window.get() + (start - m_windowStart), from + (start - m_position),
                static_cast<unsigned long>(end - start));
  }
}

// Adds the bytes to the gathered run, or writes them at once when they are more than it may hold.
bool BufferedFile::Gather(unsigned char const* from, unsigned long count) {
  bool const continues = m_position == GatheredEnd();
  bool const fits = m_gathered.size() + count <= kGatherLimit;
  if (!(continues && fits) && !WriteOut()) {
    return false;
  }
  if (count > kGatherLimit) {
    return WriteAt(from, count, m_position);
  }
  if (m_gathered.empty()) {
    m_gatheredStart = m_position;
  }
  m_gathered.insert(m_gathered.end(), from, from + count);
  return true;
}

// Sends the gathered bytes out.
bool BufferedFile::WriteOut() {
  if (m_gathered.empty()) {
    return !m_writeFailed;
  }
  bool const written = WriteAt(m_gathered.data(), m_gathered.size(), m_gatheredStart);
  m_gathered.clear();
  return written;
}

// Writes to the file itself. On failure bytes are lost and the object takes no more.
bool BufferedFile::WriteAt(void const* from, unsigned long count, off_t offset) {
  int error = 0;
  m_changed = true;
  if (WriteFully(m_file.Get(), from, count, offset, error) < count) {
    m_error = error != 0 ? error : EIO;
    m_writeFailed = true;
  }
  return !m_writeFailed;
}

off_t BufferedFile::GatheredEnd() const {
  return m_gathered.empty() ? 0 : m_gatheredStart + static_cast<off_t>(m_gathered.size());
}

void BufferedFile::Stamp() {
  timespec const times[2] = {{0, UTIME_OMIT}, NextStamp(m_stampBefore)};
  // Only the owner may set a time of his choice; for others the kernel's own stamp stays.
  static_cast<void>(::futimens(m_file.Get(), times));
}
