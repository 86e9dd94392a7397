#ifndef QUENDRIL_FOUNDATION_EMBEDDED_KERNELHOLD_H
#define QUENDRIL_FOUNDATION_EMBEDDED_KERNELHOLD_H

#include <memory>
#include <string>

#include "foundation/embedded/LockDescriptor.h"
#include "foundation/IPC.h"

// What a lock's path means.
struct LockPlace {
  std::string folder;  // The real path of the folder, where it exists.
  std::string path;    // The folder and the last component.
  bool hasFolder;      // Whether it exists.
};

// A folder locked in the place of files that do not exist yet.
struct FolderHold {
  std::unique_ptr<LockDescriptor> descriptor;
  IPC::LockMode mode;
};

// What the kernel holds for one thread's hold of one path: the file, or the folder while there is
// no file, or nothing, which excludes nobody.
struct KernelHold {
  std::unique_ptr<LockDescriptor> file;
  std::shared_ptr<FolderHold> folder;
};

// Locks `place` in `mode`; blocks. `own` is what the calling thread holds of the folder already, or
// null. Throws an XTOOStatus with an errno; EDEADLK for exclusive over an own shared folder hold.
//
// The rules that make a missing file safe:
//   1. Once a file is locked its path must still name it; otherwise start over.
//   2. Who finds no file locks the folder in the asked mode and then looks for the file again.
//   3. Who has locked a file asks the folder for the same mode, without waiting, and lets it go at
//      once. Refused, somebody holds the folder in the file's place, or just asks like us: let the
//      file go, wait for the folder, start over. So a file that appears under a folder hold is
//      nobody's until that hold has ended or has moved to the file. A thread that holds the folder
//      itself does not ask; when it holds that shared, others may hold it so in the place of the
//      file that it locks exclusively.
KernelHold TakeKernelHold(LockPlace const& place, IPC::LockMode mode,
                          std::shared_ptr<FolderHold> const& own);

// For a hold that began on the folder: locks the file if it is there now. Null when it is not or
// cannot be locked. By rule 3 nobody stays in the way. REQUIRES: the thread does not hold the same
// file under another name.
std::unique_ptr<LockDescriptor> LockAppearedFile(LockPlace const& place, IPC::LockMode mode);

#endif
