#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <string>

#include "foundation/CTOOFile.h"

namespace {

// What stdio makes of our modes. One that is null never empties a file.
std::string StreamMode(char const* mode) {
  std::string text(mode == nullptr ? "ab" : mode);
  std::size_t const c = text.find('c');
  if (c != std::string::npos) {
    text.erase(c);
  }
  return text + "e";
}

bool Look(char const* name, struct stat& what, XTOOFile const& status) {
  if (::stat(name, &what) != 0) {
    status.Fill(errno, name);
    return false;
  }
  return true;
}

bool Exists(char const* name) { return ::access(name, F_OK) == 0; }

}  // namespace

CTOOFile::CTOOFile(char const* name, char const* mode, bool flag)
    : XTOOStatus(0, name, flag), m_stream(std::fopen(name, StreamMode(mode).c_str())) {
  if (m_stream == nullptr) {
    SetError(errno);
  }
}

CTOOFile::~CTOOFile() { Close(); }

unsigned int CTOOFile::Read(void* buffer, unsigned int count) const {
  static_cast<void>(
      std::fseek(m_stream, 0, SEEK_CUR));  // Between writing and reading stdio wants a seek.
  return static_cast<unsigned int>(std::fread(buffer, 1, count, m_stream));
}

unsigned int CTOOFile::Write(void const* buffer, unsigned int count) {
  static_cast<void>(std::fseek(m_stream, 0, SEEK_CUR));
  m_isChanged = true;
  return static_cast<unsigned int>(std::fwrite(buffer, 1, count, m_stream));
}

unsigned int CTOOFile::Seek(long offset, int origin) const {
  return static_cast<unsigned int>(std::fseek(m_stream, offset, origin));
}

long CTOOFile::CurPos() const { return std::ftell(m_stream); }

long CTOOFile::Length() const {
  static_cast<void>(std::fflush(m_stream));
  struct stat what {};
  ::fstat(::fileno(m_stream), &what);
  return what.st_size;
}

void CTOOFile::Truncate() {
  static_cast<void>(std::fflush(m_stream));
  m_isChanged = true;
  static_cast<void>(::ftruncate(::fileno(m_stream), CurPos()) == 0);
}

void CTOOFile::Close() const {
  if (m_stream == nullptr) {
    return;
  }
  static_cast<void>(std::fflush(m_stream));
  if (m_isChanged) {
    // The kernel's own stamps lag behind the clock, and a change would look older than a load.
    timespec times[2] = {{0, UTIME_OMIT}, {0, UTIME_OMIT}};
    ::clock_gettime(CLOCK_REALTIME, &times[1]);
    static_cast<void>(::futimens(::fileno(m_stream), times));
  }
  static_cast<void>(std::fclose(m_stream));
  m_stream = nullptr;
}

bool CTOOFile::IsExists(char const* name) { return Exists(name); }
bool CTOOFile::IsExists(CTOOString const& name) { return Exists(name); }
bool CTOOFile::IsExistsEx(CTOOString const& name) { return Exists(name); }

bool CTOOFile::IsFolder(char const* name) {
  struct stat what {};
  return ::stat(name, &what) == 0 && S_ISDIR(what.st_mode);
}

long CTOOFile::Length(char const* name, XTOOFile const& status) {
  struct stat what {};
  return Look(name, what, status) ? what.st_size : 0;
}

CTOODateTime CTOOFile::LastWriteTime(char const* name, XTOOFile const& status) {
  CTOODateTime time(false);
  struct stat what {};
  if (Look(name, what, status)) {
    time.m_nanoseconds = what.st_mtim.tv_sec * 1000000000 + what.st_mtim.tv_nsec;
  }
  return time;
}

void CTOOFile::Remove(char const* name, XTOOFile const& status) {
  if (std::remove(name) != 0) {
    status.Fill(errno, name);
  }
}

void CTOOFile::CopyFile(char const* from, char const* to, bool /*overwrite*/,
                        XTOOFile const& status, bool /*reserved*/) {
  CTOOFile const source(from, "rb", false);
  CTOOFile target(to, "wb", false);
  if (source.Status() != 0 || target.Status() != 0) {
    status.Fill(source.Status() != 0 ? source.Status() : target.Status(), to);
    return;
  }
  char bytes[4096];
  for (unsigned int n = source.Read(bytes, sizeof bytes); n != 0;
       n = source.Read(bytes, sizeof bytes)) {
    target.Write(bytes, n);
  }
}

bool CTOOFolder::Create(char const* name, XTOOFile const& status) {
  if (::mkdir(name, 0777) != 0) {
    status.Fill(errno, name);
    return false;
  }
  return true;
}
