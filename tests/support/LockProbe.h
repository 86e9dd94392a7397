#ifndef QUENDRIL_TESTS_SUPPORT_LOCKPROBE_H
#define QUENDRIL_TESTS_SUPPORT_LOCKPROBE_H

#include <iosfwd>
#include <string>

// Asks the kernel what is locked, without taking anything and without the code under test.

enum class Lock { None, Shared, Exclusive };
std::ostream& operator<<(std::ostream& out, Lock lock);

// What anybody, this process included, holds of the file.
Lock FileLockOf(std::string const& path);
// What anybody, this process included, holds of the folder.
Lock FolderLockOf(std::string const& path);

#endif
