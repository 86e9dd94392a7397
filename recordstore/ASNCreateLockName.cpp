#include "recordstore/ASNCreateLockName.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "foundation/debug.h"

namespace {

constexpr char kUniquePart[] = "XXXXXX";
constexpr std::size_t kUniqueLength = 6;
constexpr int kDebugLevel = 1;

struct FreeMemory {
  void operator()(char* memory) const { std::free(memory); }
};

// Makes a new empty file beside `path` and sets `name` to its name; false when that fails.
bool CreateFileBeside(char const* path, CTOOString& name) {
  std::size_t const length = std::strlen(path);
  std::unique_ptr<char, FreeMemory> const text(
      static_cast<char*>(std::calloc(length + kUniqueLength + 1, 1)));
  if (!text) {
    return false;
  }
  std::copy_n(kUniquePart, kUniqueLength, std::copy_n(path, length, text.get()));
  int const file = ::mkstemp(text.get());
  if (file == -1) {
    if (dbg_can_log(kDebugLevel) != 0) {
      _debug("ASNCreateLockName", kDebugLevel, "Error at create tmp file%s\n", text.get());
    }
    return false;
  }
  ::close(file);
  name = text.get();
  return true;
}

}  // namespace

bool ASNCreateLockName(char const* /*ignored*/, char const* path, CTOOString* lockName) {
  // Null names nothing. The empty path is no error: its file is made in the current folder.
  if (path == nullptr) {
    return false;
  }
  CTOOString name;
  if (::access(path, R_OK) != -1) {
    name = path;
  } else if (!CreateFileBeside(path, name)) {
    return false;
  }
  if (lockName != nullptr) {
    *lockName = name;
  }
  return true;
}
