#include "bench/Floor.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>

#include "bench/Keep.h"

namespace {

// The first reserved word, the mark of a cleaned file, the header's length.
constexpr std::uint32_t kHeaderWords[] = {0, 1, 0};
constexpr std::size_t kHeaderSize = sizeof(kHeaderWords);

class File {
 public:
  File(std::string const& name, int flags)
      : m_descriptor(::open(name.c_str(), flags | O_CLOEXEC, 0666)) {
    if (m_descriptor < 0) {
      throw std::runtime_error("cannot open " + name);
    }
  }
  File(File const&) = delete;
  File& operator=(File const&) = delete;
  ~File() { ::close(m_descriptor); }

  int Get() const { return m_descriptor; }

 private:
  int const m_descriptor;
};

// The whole file.
struct Content {
  explicit Content(File const& file) {
    struct stat what {};
    if (::fstat(file.Get(), &what) != 0) {
      throw std::runtime_error("cannot measure a file");
    }
    size = static_cast<std::size_t>(what.st_size);
    bytes.reset(new char[size]);
    if (::pread(file.Get(), bytes.get(), size, 0) != what.st_size) {
      throw std::runtime_error("cannot read a file");
    }
  }

  std::string_view Text() const { return {bytes.get(), size}; }

  std::size_t size = 0;
  std::unique_ptr<char[]> bytes;
};

void DecodeAll(std::string_view text, std::list<PlainRecord>& records) {
  for (std::size_t position = kHeaderSize; position < text.size();) {
    Decode(TakeItem(text, position), records.emplace_back());
  }
}

std::string EncodeAll(std::list<PlainRecord> const& records) {
  std::size_t size = kHeaderSize;
  for (PlainRecord const& record : records) {
    size += sizeof(std::uint32_t) + EncodedSize(record);
  }
  std::string text;
  text.reserve(size);
  text.append(reinterpret_cast<char const*>(kHeaderWords), kHeaderSize);
  for (PlainRecord const& record : records) {
    PutWord(text, static_cast<std::uint32_t>(EncodedSize(record)));
    AppendEncoded(text, record);
  }
  return text;
}

void Write(File const& file, std::string const& text) {
  if (::ftruncate(file.Get(), 0) != 0 ||
      ::pwrite(file.Get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
    throw std::runtime_error("cannot write a file");
  }
}

void DropThoseWithoutContainer(std::list<PlainRecord>& records) {
  records.remove_if(
      [](PlainRecord const& record) { return ::access(record.path.c_str(), F_OK) != 0; });
}

}  // namespace

void Floor::AddAll(std::vector<PlainRecord> const& records) { Rewrite(records); }

void Floor::AddOne(std::string const& path) {
  std::vector<PlainRecord> added(1);
  added.front().path = path;
  Rewrite(added);
}

void Floor::Save() { Rewrite({}); }

void Floor::Rewrite(std::vector<PlainRecord> const& added) {
  File const file(m_file, O_RDWR | O_CREAT);
  if (::flock(file.Get(), LOCK_EX) != 0) {
    throw std::runtime_error("cannot lock " + m_file);
  }
  m_records.clear();  // Before, so that the memory is used again.
  DecodeAll(Content(file).Text(), m_records);
  m_records.insert(m_records.end(), added.begin(), added.end());
  if (m_checks) {
    DropThoseWithoutContainer(m_records);
  }
  Write(file, EncodeAll(m_records));
}

std::size_t Floor::Load() {
  File const file(m_file, O_RDONLY);
  m_records.clear();
  DecodeAll(Content(file).Text(), m_records);
  return m_records.size();
}

bool Floor::Find(std::string const& path) {
  for (PlainRecord const& record : m_records) {
    if (record.path.size() == path.size() &&
        ::strncasecmp(record.path.data(), path.data(), path.size()) == 0) {
      return true;
    }
  }
  return false;
}

std::size_t Floor::Walk() {
  std::size_t count = 0;
  for (PlainRecord const& record : m_records) {
    Keep(record.path.c_str());
    ++count;
  }
  return count;
}

std::unique_ptr<Contender> MakeFloor(std::string const& file, std::size_t /*expected*/) {
  return std::make_unique<Floor>(file, true);
}

std::unique_ptr<Contender> MakeUncheckedFloor(std::string const& file, std::size_t /*expected*/) {
  return std::make_unique<Floor>(file, false);
}
