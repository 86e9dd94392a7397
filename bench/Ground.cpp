#include "bench/Ground.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "bench/Keep.h"

namespace {

// What a store may leave beside its file.
constexpr char const* kCompanions[] = {"", "-wal", "-shm", "-journal", "-lock"};

void RemoveFiles(std::string const& file) {
  for (char const* companion : kCompanions) {
    std::filesystem::remove(file + companion);
  }
}

// Records that were freed are joined in the heap only when a larger piece is next asked for, which
// may take longer than what is then measured. So it is asked for here: the first time joins them,
// the second one sorts them.
void TidyHeap() {
  constexpr std::size_t kLarger = 2000;
  for (int time = 0; time < 2; ++time) {
    void* const piece = std::malloc(kLarger);
    Keep(piece);
    std::free(piece);
  }
}

}  // namespace

Place const& Ground::Folder() {
  if (!m_place) {
    m_place.emplace(m_parent);
    m_records.emplace(*m_place / "keys");
  }
  return *m_place;
}

Records const& Ground::WithContainers(std::size_t count) {
  Folder();
  m_records->Provide(count);
  return *m_records;
}

std::string const& Ground::Restore(std::string const& contender, MakeContender make,
                                   std::size_t count) {
  std::string const model = Folder() / ("model-" + contender + "-" + std::to_string(count));
  if (!std::filesystem::exists(model)) {
    MakeModel(model, make, count);
  }
  m_file = Fresh(contender);
  std::filesystem::copy_file(model, m_file);
  TidyHeap();
  return m_file;
}

std::string Ground::Fresh(std::string const& contender) {
  std::string const file = Folder() / ("file-" + contender);
  RemoveFiles(file);
  return file;
}

void Ground::MakeModel(std::string const& model, MakeContender make, std::size_t count) {
  std::vector<PlainRecord> const records = WithContainers(count).Range(0, count);
  make(model, count)->AddAll(records);
  if (make(model, count)->Load() != count) {
    throw std::runtime_error("records are missing in " + model);
  }
}
