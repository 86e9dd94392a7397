#ifndef QUENDRIL_TESTS_SUPPORT_FILES_H
#define QUENDRIL_TESTS_SUPPORT_FILES_H

#include <sys/stat.h>

#include <ctime>
#include <string>

// Files as tests need them, by none of the code under test.

// The whole content; throws when there is no such file.
std::string ReadFile(std::string const& path);
// Makes or replaces the file. An empty `content` gives an empty file.
void WriteFile(std::string const& path, std::string const& content);
bool IsThere(std::string const& path);
// Of the file itself; throws when there is none.
struct stat StatOf(std::string const& path);
bool operator==(timespec const& first, timespec const& second);
// Sets the modification time to `seconds` (may be negative) from now.
void ShiftWriteTime(std::string const& path, long seconds);
// Sets it to a fixed moment long ago, so that any later change of it shows.
timespec AgeFile(std::string const& path);
// Open descriptors of this process.
int CountDescriptors();
// Whether this process may do anything to any file.
bool IsRoot();

#endif
