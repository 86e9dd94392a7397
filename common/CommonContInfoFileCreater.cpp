#include "common/CommonContInfoFileCreater.h"

#include <fcntl.h>
#include <sys/ipc.h>
#include <unistd.h>

#include "foundation/CTOOFile.h"
#include "foundation/SHGetFolderPath.h"
#include "foundation/XTOOStatus.h"

namespace {

constexpr char kVendorFolder[] = "quendril";
constexpr char kCatalogueFile[] = "cont_info.dat";
constexpr char kProviderLibrary[] = "/usr/lib/velmar/libvelmarcsp.so";
constexpr char kProviderLibraryName[] = "libvelmarcsp.so";
constexpr char kSemaphoreKeyFile[] = "/var/lib/VelmarCSP/QndrCont";
constexpr int kSemaphoreProject = 'x';
constexpr int kSemaphoreKeyFileMode = 0640;
constexpr int kCommonAppDataFolder = 35;
constexpr int kFolderPathSize = 4096;
constexpr int kNoCommonAppData = 194;
constexpr int kNotRegistered = 194;

// The key of the lock, -1 where the key file can neither be found nor made: what the key serves
// works without it too, since the file is made in one step.
int SemaphoreKey() {
  if (::access(kSemaphoreKeyFile, R_OK) != 0) {
    int const file =
        ::open(kSemaphoreKeyFile, O_RDONLY | O_CREAT | O_EXCL | O_CLOEXEC, kSemaphoreKeyFileMode);
    if (file != -1) {
      ::close(file);
    }
  }
  return ::ftok(kSemaphoreKeyFile, kSemaphoreProject);
}

}  // namespace

CommonContInfoFileCreater::CommonContInfoFileCreater() {
  InitPath();
  m_lock = std::make_unique<IPC::CReadWriteLock_smph>(SemaphoreKey());
}

CommonContInfoFileCreater::~CommonContInfoFileCreater() = default;

void CommonContInfoFileCreater::InitPath() {
  m_path = GetCommonAppDataDir();
  m_path.StrAddSlash();
  m_path += kVendorFolder;
}

CTOOString CommonContInfoFileCreater::GetCommonAppDataDir() const {
  char path[kFolderPathSize] = {};
  if (SHGetFolderPath(nullptr, kCommonAppDataFolder, nullptr, 0, path) != 0) {
    throw XTOOStatus(kNoCommonAppData,
                     "CommonContInfoFileCreater::GetCommonAppDataDir(): SHGetFolderPath fails.",
                     false);
  }
  return CTOOString(path);
}

CTOOString CommonContInfoFileCreater::GetPathToCommonContInfoFile() const { return m_path; }

CTOOString CommonContInfoFileCreater::GetContInfoFileName(CTOOString const& dir) const {
  CTOOString name(dir);
  name.StrAddSlash();
  name += kCatalogueFile;
  return name;
}

CTOOString CommonContInfoFileCreater::GetCommonContInfoFileName() const {
  return GetContInfoFileName(GetPathToCommonContInfoFile());
}

bool CommonContInfoFileCreater::IsDirExist(CTOOString const& path) const {
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): changed in place
  CTOOString copy(path);
  CTOOString::StrCutSlash(const_cast<char*>(static_cast<char const*>(copy)));
  return CTOOFile::IsExistsEx(copy) && CTOOFile::IsFolder(copy);
}

bool CommonContInfoFileCreater::ShouldFolderForCommonContInfoFileBeCreated() const {
  return !IsDirExist(GetPathToCommonContInfoFile());
}

void CommonContInfoFileCreater::CreateFolderForCommonContInfoFile() const {
  XTOOFile const status(false);
  if (!CTOOFolder::Create(GetPathToCommonContInfoFile(), status)) {
    // Kept on purpose: thrown as it was filled, without a text of ours.
    throw XTOOFile(status);
  }
}

bool CommonContInfoFileCreater::DoesCommonContInfoFileExist() const {
  return CTOOFile::IsExistsEx(GetCommonContInfoFileName());
}

bool CommonContInfoFileCreater::ShouldCommonContInfoFileBeCreated() const {
  return !DoesCommonContInfoFileExist();
}

CTOOString CommonContInfoFileCreater::GetPathToProvDllFromReg() const {
  return CTOOString(kProviderLibrary);
}

bool CommonContInfoFileCreater::IsProvRegisteredInRegistry() const {
  try {
    static_cast<void>(GetPathToProvDllFromReg());  // Only whether it is known is asked.
    return true;
  } catch (XTOOStatus const& status) {
    if (status.Status() != kNotRegistered) {
      throw;
    }
    return false;
  }
}

CTOOString CommonContInfoFileCreater::GetPathToContInfoFileOfRegisteredProv() const {
  CTOOString path = GetPathToProvDllFromReg();
  path.RemoveSubstring(kProviderLibraryName, true);
  return path;
}

CTOOString CommonContInfoFileCreater::GetRegisteredProvContInfoFileName() const {
  return GetContInfoFileName(GetPathToContInfoFileOfRegisteredProv());
}

bool CommonContInfoFileCreater::DoesRegisteredProvContInfoFileExist() const {
  return IsProvRegisteredInRegistry() && CTOOFile::IsExistsEx(GetRegisteredProvContInfoFileName());
}

void CommonContInfoFileCreater::CreateCommonContInfoFile() const {
  if (ShouldFolderForCommonContInfoFileBeCreated()) {
    CreateFolderForCommonContInfoFile();
  }
  CTOOString const name = GetCommonContInfoFileName();
  if (DoesRegisteredProvContInfoFileExist()) {
    XTOOFile const status(false);
    CTOOFile::CopyFile(GetRegisteredProvContInfoFileName(), name, true, status, false);
    if (!status.IsError()) {
      return;
    }
  }
  CTOOFile const empty(name, nullptr, true);
}

void CommonContInfoFileCreater::CreateIfShould() {
  IPC::CWriteLocker const locker(*m_lock);
  if (ShouldCommonContInfoFileBeCreated()) {
    CreateCommonContInfoFile();
  }
}
