#include "bench/Records.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace {

constexpr std::size_t kPathSize = 60;
constexpr std::size_t kEncodedSize = 240;

std::string Bytes(std::size_t size, std::size_t seed) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<char>(seed * 31 + i);
  }
  return bytes;
}

void MakeContainer(std::string const& path) {
  int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (file < 0) {
    throw std::runtime_error("cannot make " + path);
  }
  ::close(file);
}

}  // namespace

std::string ContainerPath(std::string const& folder, std::size_t number) {
  std::string const digits = std::to_string(number);
  std::size_t const used = folder.size() + 1 + digits.size();
  if (used > kPathSize) {
    throw std::runtime_error("the path of the folder is too long: " + folder);
  }
  return folder + "/" + std::string(kPathSize - used, '0') + digits;
}

PlainRecord MakeRecord(std::string path, std::size_t number) {
  PlainRecord record;
  record.path = std::move(path);
  record.ident1 = Bytes(32, number);
  record.ident2 = Bytes(64, number + 1);
  for (std::size_t sub = 0; sub < 2; ++sub) {
    record.subs.emplace_back().ident = Bytes(16, number + sub);
  }
  return record;
}

Records::Records(std::string folder) : m_folder(std::move(folder)) {
  std::filesystem::create_directory(m_folder);
  if (EncodedSize(MakeRecord(Path(0), 0)) != kEncodedSize) {
    throw std::logic_error("a record of another size than is said");
  }
}

void Records::Provide(std::size_t count) {
  for (; m_provided < count; ++m_provided) {
    MakeContainer(Path(m_provided));
  }
}

std::vector<PlainRecord> Records::Range(std::size_t from, std::size_t count) const {
  if (from + count > m_provided) {
    throw std::logic_error("records without containers");
  }
  std::vector<PlainRecord> records;
  records.reserve(count);
  for (std::size_t number = from; number < from + count; ++number) {
    records.push_back(MakeRecord(Path(number), number));
  }
  return records;
}
