#ifndef QUENDRIL_TOOLS_KERNELLOCKS_H
#define QUENDRIL_TOOLS_KERNELLOCKS_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

namespace inspect {

// A lock on a file, or on its folder, which is locked in the place of a file that is missing.
struct KernelLock {
  pid_t process = 0;
  std::string command;  // Its command line, or its name.
  int descriptor = -1;
  std::string kind;  // As the kernel calls it: OFDLCK, FLOCK, POSIX.
  bool isExclusive = false;
  bool isFolder = false;
  bool isWaiting = false;  // It does not hold the lock yet.
};

struct KernelLocks {
  std::vector<KernelLock> locks;
  // Locks that are held by processes that this user may not look into.
  std::size_t unseen = 0;
};

// What the kernel's tables tell of the locks on the file at `path` and on its folder, at about this
// moment. Takes none. Throws a Failure when there is no such folder.
KernelLocks FindLocks(std::string const& path);

}  // namespace inspect

#endif
