#include "bench/Place.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

Place::Place(std::string const& parent) : m_path(parent + "/bench-XXXXXX") {
  if (::mkdtemp(m_path.data()) == nullptr) {
    throw std::runtime_error("cannot make a folder in " + parent);
  }
}

Place::~Place() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}
