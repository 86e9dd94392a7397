#include "examples/HostFolder.h"

#include <cerrno>
#include <cstring>

#include "foundation/SHGetFolderPath.h"

namespace {

constexpr int kCommonApplicationData = 35;
constexpr std::size_t kPathSize = 4096;

std::string& HostFolder() {
  static std::string folder = "/var/lib";
  return folder;
}

}  // namespace

void SetHostFolder(std::string const& folder) { HostFolder() = folder; }

// A definition in the program comes before the one in libquendril-base.so.
int SHGetFolderPath(void* /*window*/, int folder, void* /*token*/, unsigned int /*flags*/,
                    char* path) {
  std::string const& answer = HostFolder();
  if (folder != kCommonApplicationData || answer.size() >= kPathSize) {
    return EINVAL;
  }
  std::memcpy(path, answer.c_str(), answer.size() + 1);
  return 0;
}
