#include "foundation/embedded/KernelHold.h"

#include <fcntl.h>

#include <cerrno>
#include <utility>

#include "foundation/XTOOStatus.h"

namespace {

enum class Attempt { Done, StartOver };

int FileFlags(IPC::LockMode mode) { return mode == IPC::LockMode::Shared ? O_RDONLY : O_RDWR; }

// Whether what the path names explains the refusal. The operation that wants the lock will meet the
// same refusal and report it; any other one (no descriptors left, say) the lock must report itself.
bool IsFaultOfPath(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ELOOP:
    case ENAMETOOLONG:
    case ENXIO:
    case ETXTBSY:
      return true;
    default:
      return false;
  }
}

void Check(int error, std::string const& path) {
  if (error != 0) {
    throw XTOOStatus(error, path.c_str(), false);
  }
}

// Null when the path is at fault.
std::unique_ptr<LockDescriptor> OpenUnlessAtFault(std::string const& path, int flags, int& error) {
  std::unique_ptr<LockDescriptor> descriptor = LockDescriptor::Open(path.c_str(), flags, error);
  if (!descriptor && !IsFaultOfPath(error)) {
    Check(error, path);
  }
  return descriptor;
}

std::unique_ptr<LockDescriptor> OpenFolder(LockPlace const& place) {
  int error = 0;
  return OpenUnlessAtFault(place.folder, O_RDONLY | O_DIRECTORY, error);
}

bool IsThere(LockPlace const& place) {
  struct stat what {};
  return ::stat(place.path.c_str(), &what) == 0;
}

// Rule 3. False when the file has been let go and the folder waited for.
bool MayKeep(std::unique_ptr<LockDescriptor>& file, LockPlace const& place, IPC::LockMode mode) {
  std::unique_ptr<LockDescriptor> const folder = OpenFolder(place);
  int const error = folder ? folder->LockFolder(mode, false) : 0;
  if (error == 0) {
    return true;
  }
  if (error == EWOULDBLOCK) {
    file.reset();
    Check(folder->LockFolder(mode, true), place.folder);
    return false;
  }
  Check(error, place.folder);
  return false;
}

// Rule 2.
Attempt TakeFolder(LockPlace const& place, IPC::LockMode mode,
                   std::shared_ptr<FolderHold> const& own, KernelHold& hold) {
  std::shared_ptr<FolderHold> folder = own;
  if (!folder) {
    folder = std::make_shared<FolderHold>(FolderHold{OpenFolder(place), mode});
    if (!folder->descriptor) {
      return Attempt::Done;
    }
    Check(folder->descriptor->LockFolder(mode, true), place.folder);
    if (!folder->descriptor->IsNamed(place.folder.c_str())) {
      return Attempt::StartOver;
    }
  } else if (mode == IPC::LockMode::Exclusive && own->mode == IPC::LockMode::Shared) {
    Check(EDEADLK, place.path);
  }
  if (IsThere(place)) {
    return Attempt::StartOver;
  }
  hold.folder = std::move(folder);
  return Attempt::Done;
}

Attempt TakeFile(LockPlace const& place, IPC::LockMode mode, std::shared_ptr<FolderHold> const& own,
                 KernelHold& hold) {
  int error = 0;
  std::unique_ptr<LockDescriptor> file = OpenUnlessAtFault(place.path, FileFlags(mode), error);
  if (!file) {
    return error == ENOENT ? TakeFolder(place, mode, own, hold) : Attempt::Done;
  }
  if (!file->IsRegularFile()) {
    return Attempt::Done;
  }
  Check(file->LockFile(mode), place.path);
  // A thread that holds the folder itself must not wait for it.
  if (!file->IsNamed(place.path.c_str()) || (!own && !MayKeep(file, place, mode))) {
    return Attempt::StartOver;
  }
  hold.file = std::move(file);
  return Attempt::Done;
}

}  // namespace

KernelHold TakeKernelHold(LockPlace const& place, IPC::LockMode mode,
                          std::shared_ptr<FolderHold> const& own) {
  KernelHold hold;
  while (TakeFile(place, mode, own, hold) == Attempt::StartOver) {
  }
  return hold;
}

std::unique_ptr<LockDescriptor> LockAppearedFile(LockPlace const& place, IPC::LockMode mode) {
  int error = 0;
  std::unique_ptr<LockDescriptor> file =
      LockDescriptor::Open(place.path.c_str(), FileFlags(mode), error);
  if (file && file->IsRegularFile() && file->LockFile(mode) == 0 &&
      file->IsNamed(place.path.c_str())) {
    return file;
  }
  return nullptr;
}
