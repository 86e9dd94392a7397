#include "foundation/SHGetFolderPath.h"

#include <cerrno>
#include <cstring>

namespace {

constexpr int kCommonApplicationData = 35;
constexpr char kCommonApplicationDataPath[] = "/var/lib";

}  // namespace

int SHGetFolderPath(void* /*window*/, int folder, void* /*token*/, unsigned int /*flags*/,
                    char* path) {
  if (folder != kCommonApplicationData || path == nullptr) {
    return EINVAL;
  }
  std::memcpy(path, kCommonApplicationDataPath, sizeof kCommonApplicationDataPath);
  return 0;
}
