#include "catalogue/FileReplacement.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "foundation/CTOOFile.h"
#include "foundation/XTOOStatus.h"

namespace {

constexpr mode_t kAllRights = 07777;
constexpr mode_t kGroupRights = 0070;
constexpr unsigned int kUnchanged = 0xFFFFFFFF;

[[noreturn]] void Throw(int error, char const* doing, CTOOString const& fileName) {
  throw XTOOStatus(error, CTOOString("ContainerInfoEdit: ") + doing + " " + fileName, false);
}

// A new file, open, or -1.
int MakeFile(char const* fileName, mode_t rights) {
  return ::open(fileName, O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, rights);
}

CTOOString RealPath(CTOOString const& fileName) {
  std::unique_ptr<char, void (*)(void*)> const path(::realpath(fileName, nullptr), &std::free);
  if (!path) {
    Throw(errno, "looking for", fileName);
  }
  return CTOOString(path.get());
}

bool IsSameTime(struct timespec const& first, struct timespec const& second) {
  return first.tv_sec == second.tv_sec && first.tv_nsec == second.tv_nsec;
}

}  // namespace

void MakeIfMissing(CTOOString const& fileName) {
  if (CTOOFile::IsExists(fileName)) {
    return;
  }
  int const file = MakeFile(fileName, 0666);
  if (file >= 0) {
    ::close(file);
  } else if (errno != EEXIST) {
    Throw(errno, "making", fileName);
  }
}

FileVersion::FileVersion(CTOOString const& fileName) {
  if (::stat(fileName, &m_what) != 0) {
    Throw(errno, "looking at", fileName);
  }
}

bool FileVersion::operator==(FileVersion const& other) const {
  return m_what.st_dev == other.m_what.st_dev && m_what.st_ino == other.m_what.st_ino &&
         m_what.st_size == other.m_what.st_size &&
         IsSameTime(m_what.st_mtim, other.m_what.st_mtim) &&
         IsSameTime(m_what.st_ctim, other.m_what.st_ctim);
}

FileReplacement::FileReplacement(CTOOString const& fileName, FileVersion const& old)
    : m_target(RealPath(fileName)), m_name(m_target + ".quendril-edit") {
  ::unlink(m_name);  // What a process that was killed has left.
  int const file = MakeFile(m_name, 0600);
  if (file < 0) {
    Throw(errno, "making", m_name);
  }
  // One by one: a user may give a file to a group of his own, but not to another user.
  bool const hasGroup = ::fchown(file, kUnchanged, old.m_what.st_gid) == 0;
  static_cast<void>(::fchown(file, old.m_what.st_uid, kUnchanged) != 0);
  // What the old group might do is not for another one.
  mode_t const rights = old.m_what.st_mode & (hasGroup ? kAllRights : kAllRights & ~kGroupRights);
  int const error = ::fchmod(file, rights) != 0 ? errno : 0;
  ::close(file);
  if (error != 0) {
    ::unlink(m_name);
    Throw(error, "making", m_name);
  }
}

FileReplacement::~FileReplacement() {
  if (!m_isInPlace) {
    ::unlink(m_name);
  }
}

void FileReplacement::PutInPlace() {
  if (std::rename(m_name, m_target) != 0) {
    Throw(errno, "replacing", m_target);
  }
  m_isInPlace = true;
}
