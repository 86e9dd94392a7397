#include "fuzz/Support.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <list>

#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

void Require(bool holds, char const* what) {
  if (!holds) {
    std::cerr << "Does not hold: " << what << '\n';
    std::abort();
  }
}

Input::Input(unsigned char const* data, std::size_t size) {
  if (size != 0) {
    m_rest.assign(reinterpret_cast<char const*>(data), size);
  }
}

unsigned int Input::Byte() {
  std::string const byte = Bytes(1);
  return byte.empty() ? 0 : static_cast<unsigned char>(byte.front());
}

unsigned int Input::Number() {
  unsigned int const low = Byte();
  return low | Byte() << 8;
}

std::string Input::Bytes(std::size_t count) {
  std::string const bytes = m_rest.substr(0, count);
  m_rest.erase(0, count);
  return bytes;
}

std::string const& FileOf(std::string const& content) {
  static TempFolder const folder;
  static std::string const path = folder / "file";
  WriteFile(path, content);
  return path;
}

DescriptorsStay::DescriptorsStay() : m_before(CountDescriptors()) {}

DescriptorsStay::~DescriptorsStay() {
  Require(CountDescriptors() == m_before, "no descriptor stays open");
}

void ReadEverything(QuasiStructFileBase& store, std::string const& bytes) {
  bool const isSound = store.Status() == 0 && !bytes.empty();
  long count = 0;
  for (IdentObj record; store.Get(count, record) == 0 && store.Status() == 0; ++count) {
    Require(count < static_cast<long>(bytes.size()), "there are fewer records than bytes");
  }
  std::string const header = DataOf(store.GetHeader());
  std::list<IdentObj> records;
  store.GetAll(records);
  if (isSound) {
    Require(store.Status() == 0, "what was scanned without a fault can be read");
    Require(count == static_cast<long>(records.size()), "Get and GetAll find as many");
    Require(
        bytes == RecordFile(store.Words.Reserved, store.Words.CleanedMark, header, DataOf(records)),
        "what was read is what the file holds");
  }
  long index = 0;
  store.Clear();
  static_cast<void>(store.IsItInFile(IdentObj(), &index));
}
