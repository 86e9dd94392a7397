#include "tests/common/FolderOfTest.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "foundation/SHGetFolderPath.h"
#include "tests/support/Files.h"

namespace {

constexpr std::size_t kBufferSize = 4096;

// Guards both the pointer and what the object behind it notes: threads may ask at once.
std::mutex& Mutex() {
  static std::mutex mutex;
  return mutex;
}

FolderOfTest* installed = nullptr;

}  // namespace

FolderOfTest::FolderOfTest() {
  Answer = m_folder.Path();
  std::lock_guard<std::mutex> const guard(Mutex());
  installed = this;
}

FolderOfTest::~FolderOfTest() {
  std::lock_guard<std::mutex> const guard(Mutex());
  installed = nullptr;
}

void FolderOfTest::MakeCommonFile(std::string const& content) const {
  std::filesystem::create_directory(VendorFolder());
  WriteFile(CommonFile(), content);
}

int SHGetFolderPath(void* window, int folder, void* token, unsigned int flags, char* path) {
  std::lock_guard<std::mutex> const guard(Mutex());
  bool const isZeroed = std::all_of(path, path + kBufferSize, [](char c) { return c == 0; });
  if (installed == nullptr) {
    static TempFolder const shared;
    std::strcpy(path, shared.Path().c_str());
    return 0;
  }
  installed->Queries.push_back({window, folder, token, flags, isZeroed});
  if (installed->Result == 0) {
    std::strcpy(path, installed->Answer.c_str());
  }
  return installed->Result;
}
