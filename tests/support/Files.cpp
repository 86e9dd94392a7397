#include "tests/support/Files.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

std::string ReadFile(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file || std::filesystem::is_directory(path)) {
    throw std::runtime_error("cannot read " + path);
  }
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void WriteFile(std::string const& path, std::string const& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) {
    throw std::runtime_error("cannot write " + path);
  }
}

bool IsThere(std::string const& path) {
  struct stat what {};
  return ::lstat(path.c_str(), &what) == 0;
}

struct stat StatOf(std::string const& path) {
  struct stat what {};
  if (::stat(path.c_str(), &what) != 0) {
    throw std::runtime_error("nothing at " + path);
  }
  return what;
}

bool operator==(timespec const& first, timespec const& second) {
  return first.tv_sec == second.tv_sec && first.tv_nsec == second.tv_nsec;
}

namespace {

void SetWriteTime(std::string const& path, timespec const& moment) {
  timespec const times[2] = {{0, UTIME_OMIT}, moment};
  if (::utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
    throw std::runtime_error("cannot set the time of " + path);
  }
}

}  // namespace

void ShiftWriteTime(std::string const& path, long seconds) {
  timespec moment{};
  ::clock_gettime(CLOCK_REALTIME, &moment);
  moment.tv_sec += seconds;
  SetWriteTime(path, moment);
}

timespec AgeFile(std::string const& path) {
  timespec const moment{1000000000, 123456700};
  SetWriteTime(path, moment);
  return moment;
}

int CountDescriptors() {
  int count = 0;
  for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    static_cast<void>(entry);
    ++count;
  }
  return count - 1;  // The listing's own.
}

bool IsRoot() { return ::geteuid() == 0; }
