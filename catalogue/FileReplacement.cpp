#include "catalogue/FileReplacement.h"

#include <fcntl.h>
#include <sys/file.h>
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

// A new file, open, or -1. For writing too: a file server grants no exclusive lock without.
int MakeFile(char const* fileName, mode_t rights) {
  return ::open(fileName, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, rights);
}

CTOOString RealPath(CTOOString const& fileName) {
  std::unique_ptr<char, void (*)(void*)> const path(::realpath(fileName, nullptr), &std::free);
  if (!path) {
    Throw(errno == ENOENT ? ESTALE : errno, "looking for", fileName);
  }
  return CTOOString(path.get());
}

bool IsNamed(int file, char const* name) {
  struct stat what {};
  struct stat named {};
  return ::fstat(file, &what) == 0 && ::lstat(name, &named) == 0 && what.st_dev == named.st_dev &&
         what.st_ino == named.st_ino;
}

// 0 when the file is locked now, ESTALE when somebody else has it, or another errno.
int LockError(int file) {
  if (::flock(file, LOCK_EX | LOCK_NB) == 0) {
    return 0;
  }
  return errno == EWOULDBLOCK ? ESTALE : errno;
}

// Removes what a process that was killed has left. What cannot be removed is in the way of who
// makes the file, and told there.
void RemoveLeaving(CTOOString const& name) {
  int const file = ::open(name, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) {
    ::unlink(name);  // A link, say.
    return;
  }
  int const error = LockError(file);
  if (error == 0 && IsNamed(file, name)) {
    ::unlink(name);
  }
  ::close(file);
  if (error != 0) {
    Throw(error, "somebody else is writing", name);
  }
}

int MakeNew(CTOOString const& name) {
  RemoveLeaving(name);
  int const file = MakeFile(name, 0600);
  if (file < 0) {
    Throw(errno, "making", name);
  }
  return file;
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
    if (errno != ENOENT) {
      Throw(errno, "looking at", fileName);
    }
    m_what = {};
  }
}

bool FileVersion::operator==(FileVersion const& other) const {
  return IsFile() && m_what.st_dev == other.m_what.st_dev && m_what.st_ino == other.m_what.st_ino &&
         m_what.st_size == other.m_what.st_size &&
         IsSameTime(m_what.st_mtim, other.m_what.st_mtim) &&
         IsSameTime(m_what.st_ctim, other.m_what.st_ctim);
}

FileReplacement::FileReplacement(CTOOString const& fileName)
    : m_target(RealPath(fileName)), m_name(m_target + ".quendril-edit"), m_file(MakeNew(m_name)) {}

// The destructor is there for whatever throws here.
FileReplacement::FileReplacement(CTOOString const& fileName, FileVersion const& old)
    : FileReplacement(fileName) {
  int const error = LockError(m_file);
  if (error != 0 || !IsThere()) {
    // Another one has taken the new file for a leaving before it was locked.
    Throw(error != 0 ? error : ESTALE, "locking", m_name);
  }
  TakeRightsOf(old.m_what);
}

void FileReplacement::TakeRightsOf(struct stat const& old) const {
  // One by one: a user may give a file to a group of his own, but not to another user.
  bool const hasGroup = ::fchown(m_file, kUnchanged, old.st_gid) == 0;
  static_cast<void>(::fchown(m_file, old.st_uid, kUnchanged) != 0);
  // What the old group might do is not for another one.
  mode_t const rights = old.st_mode & (hasGroup ? kAllRights : kAllRights & ~kGroupRights);
  if (::fchmod(m_file, rights) != 0) {
    Throw(errno, "making", m_name);
  }
}

FileReplacement::~FileReplacement() {
  if (IsThere()) {
    ::unlink(m_name);
  }
  ::close(m_file);
}

unsigned long FileReplacement::Size() const {
  struct stat what {};
  return ::fstat(m_file, &what) == 0 ? static_cast<unsigned long>(what.st_size) : 0;
}

void FileReplacement::PutInPlace() {
  if (!IsThere()) {
    Throw(ESTALE, "replacing", m_target);
  }
  if (std::rename(m_name, m_target) != 0) {
    Throw(errno, "replacing", m_target);
  }
}

// Whether its name stands for the new file.
bool FileReplacement::IsThere() const { return IsNamed(m_file, m_name); }
