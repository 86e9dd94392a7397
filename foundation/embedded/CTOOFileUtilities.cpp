#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "foundation/CTOOFile.h"
#include "foundation/embedded/FileClock.h"
#include "foundation/embedded/OrEmpty.h"

namespace {

bool Exists(char const* name) {
  return ::faccessat(AT_FDCWD, OrEmpty(name), F_OK, AT_EACCESS) == 0;
}

// False with the status filled when there is nothing to ask about.
bool Ask(char const* name, struct stat& what, XTOOFile const& status) {
  if (::stat(OrEmpty(name), &what) != 0) {
    status.Fail(errno, name);
    return false;
  }
  return true;
}

}  // namespace

bool CTOOFile::IsExists(char const* name) { return Exists(name); }

bool CTOOFile::IsExists(CTOOString const& name) { return Exists(name); }

bool CTOOFile::IsExistsEx(CTOOString const& name) { return Exists(name); }

bool CTOOFile::IsFolder(char const* name) {
  struct stat what {};
  return ::stat(OrEmpty(name), &what) == 0 && S_ISDIR(what.st_mode);
}

unsigned long CTOOFile::Length(char const* name, XTOOFile const& status) {
  struct stat what {};
  if (!Ask(name, what, status)) {
    return 0;
  }
  if (S_ISDIR(what.st_mode)) {
    status.Fail(EISDIR, name);
    return 0;
  }
  return static_cast<unsigned long>(what.st_size);
}

CTOODateTime CTOOFile::LastWriteTime(char const* name, XTOOFile const& status) {
  struct stat what {};
  return Ask(name, what, status) ? ToDateTime(what.st_mtim) : CTOODateTime(false);
}

bool CTOOFile::Remove(char const* name, XTOOFile const& status) {
  if (::unlink(OrEmpty(name)) != 0) {
    status.Fail(errno, name);
    return false;
  }
  return true;
}

bool CTOOFolder::Create(char const* name, XTOOFile const& status) {
  std::error_code error;
  std::filesystem::create_directories(OrEmpty(name), error);
  if (CTOOFile::IsFolder(name)) {
    return true;
  }
  status.Fail(error ? error.value() : ENOTDIR, name);
  return false;
}
