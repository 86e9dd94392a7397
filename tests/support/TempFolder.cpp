#include "tests/support/TempFolder.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

TempFolder::TempFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "quendril-XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary folder: " + name);
  }
  m_path = std::filesystem::canonical(name).string();
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> TempFolder::Names() const {
  std::vector<std::string> names;
  for (auto const& entry : std::filesystem::directory_iterator(m_path)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}
