#include "tests/common/ProviderAndKey.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "tests/support/Files.h"

void MakeKeyFolder() { std::filesystem::create_directory(kKeyFolder); }

void MakeProviderFile(std::string const& content) {
  std::filesystem::create_directory(std::filesystem::path(kProviderFile).parent_path());
  WriteFile(kProviderFile, content);
}

int KeyOfKeyFile() {
  struct stat const what = StatOf(kKeyFile);
  return static_cast<int>('x' << 24 | (what.st_dev & 0xFF) << 16 | (what.st_ino & 0xFFFF));
}

void SpoilSemaphores() {
  for (int const key : {IsThere(kKeyFile) ? KeyOfKeyFile() : -1, -1}) {
    if (::semget(key, 1, IPC_CREAT | 0600) == -1) {
      throw std::runtime_error("no semaphore set to spoil");
    }
  }
}
