#include "bench/KeyValueStore.h"

#include <unistd.h>

#include <stdexcept>

#include "bench/Keep.h"

namespace {

std::string KeyOf(std::string const& path) {
  std::string key = path;
  for (char& letter : key) {
    if (letter >= 'A' && letter <= 'Z') {
      letter = static_cast<char>(letter - 'A' + 'a');
    }
  }
  return key;
}

std::string ValueOf(PlainRecord const& record) {
  std::string value;
  value.reserve(EncodedSize(record));
  AppendEncoded(value, record);
  return value;
}

std::string ValueOf(std::string const& path) {
  PlainRecord record;
  record.path = path;
  return ValueOf(record);
}

std::string_view PathOf(std::string_view value) {
  std::size_t position = 0;
  return TakeItem(value, position);
}

}  // namespace

void KeyValueStore::AddAll(std::vector<PlainRecord> const& records) {
  Begin(Extent::Many);
  for (PlainRecord const& record : records) {
    Put(KeyOf(record.path), ValueOf(record));
  }
  Commit();
}

void KeyValueStore::AddOne(std::string const& path) {
  Begin(Extent::One);
  Put(KeyOf(path), ValueOf(path));
  Commit();
}

void KeyValueStore::AddOneUnderContract(std::string const& path) {
  Begin(Extent::OneAmongAll);
  std::string text;
  Visit([&text](std::string_view value) {
    text = PathOf(value);
    if (::access(text.c_str(), F_OK) != 0) {
      // All of them exist here, so nobody is measured removing any.
      throw std::runtime_error("a container is gone");
    }
  });
  Put(KeyOf(path), ValueOf(path));
  Commit();
}

std::size_t KeyValueStore::Load() {
  m_records.clear();
  Visit([this](std::string_view value) { Decode(value, m_records.emplace_back()); });
  return m_records.size();
}

bool KeyValueStore::Find(std::string const& path) { return Contains(KeyOf(path)); }

std::size_t KeyValueStore::Walk() {
  std::size_t count = 0;
  Visit([&count](std::string_view value) {
    Keep(PathOf(value).data());
    ++count;
  });
  return count;
}
