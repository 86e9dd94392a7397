#include "bench/Records.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "recordstore/CQuasiStructFile.h"

namespace {

constexpr std::size_t kPathSize = 60;
constexpr unsigned int kEncodedSize = 240;

IdentObj Bytes(unsigned int size, std::size_t seed) {
  IdentObj blob(nullptr, size);
  for (unsigned int i = 0; i < size; ++i) {
    blob.Data[i] = static_cast<unsigned char>(seed * 31 + i);
  }
  return blob;
}

ContainerInfo MakeRecord(std::string const& path, std::size_t number) {
  ContainerInfo record;
  record.Path = path.c_str();
  record.Ident1 = Bytes(32, number);
  record.Ident2 = Bytes(64, number + 1);
  for (unsigned int sub = 0; sub < 2; ++sub) {
    record.SubConts.emplace_back();
    record.SubConts.back().Ident = Bytes(16, number + sub);
  }
  return record;
}

void MakeContainer(std::string const& path) {
  int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (file < 0) {
    throw std::runtime_error("cannot make " + path);
  }
  ::close(file);
}

}  // namespace

Records::Records(Place const& place, std::size_t count) {
  std::string const folder = place / "keys";
  std::filesystem::create_directories(folder);
  for (std::size_t number = 0; number < count; ++number) {
    std::string name = std::to_string(number);
    std::size_t const used = folder.size() + 1 + name.size();
    if (used > kPathSize) {
      throw std::runtime_error("the path of the folder is too long: " + folder);
    }
    std::string const path = folder + "/" + std::string(kPathSize - used, '0') + name;
    MakeContainer(path);
    m_records.push_back(MakeRecord(path, number));
  }
  if (count != 0 && m_records.front().WriteData().Length != kEncodedSize) {
    throw std::logic_error("a record of another size than is said");
  }
}

std::list<ContainerInfo> Records::First(std::size_t count) const {
  return {m_records.begin(), m_records.begin() + static_cast<long>(count)};
}

void WriteCatalogue(std::string const& path, std::list<ContainerInfo> records) {
  std::filesystem::remove(path);
  std::list<IdentObj> blobs;
  for (ContainerInfo& record : records) {
    blobs.push_back(record.WriteData());
  }
  CQuasiStructFile file(path.c_str(), true, false);
  file.Words.CleanedMark = 1;
  if (file.PutList(blobs) != 0) {
    throw std::runtime_error("cannot write " + path);
  }
}
