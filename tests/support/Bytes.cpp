#include "tests/support/Bytes.h"

#include <cctype>
#include <stdexcept>

std::string Hex(std::string const& text) {
  std::string digits;
  for (char const c : text) {
    if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
      digits += c;
    } else if (c != ' ' && c != '\n') {
      throw std::invalid_argument("not hex: " + text);
    }
  }
  if (digits.size() % 2 != 0) {
    throw std::invalid_argument("half a byte: " + text);
  }
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

std::string ToHex(std::string const& bytes) {
  static char const digits[] = "0123456789abcdef";
  std::string text;
  for (char const c : bytes) {
    auto const byte = static_cast<unsigned char>(c);
    text += text.empty() ? "" : " ";
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

std::string Word(unsigned int value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) {
    bytes += static_cast<char>(value & 0xFF);
    value >>= 8;
  }
  return bytes;
}

std::string Item(std::string const& data) {
  return Word(static_cast<unsigned int>(data.size())) + data;
}

std::string RecordFile(unsigned int reserved, unsigned int mark, std::string const& header,
                       std::list<std::string> const& records) {
  std::string bytes = Word(reserved) + Word(mark) + Item(header);
  for (std::string const& record : records) {
    bytes += Item(record);
  }
  return bytes;
}

std::string RecordFile(std::list<std::string> const& records) {
  return RecordFile(0, 0, "", records);
}

std::string Pattern(unsigned int size, unsigned int seed) {
  std::string bytes;
  bytes.reserve(size);
  unsigned int state = seed * 2654435761U + 12345U;
  for (unsigned int i = 0; i < size; ++i) {
    state = state * 1103515245U + 12345U;
    bytes += static_cast<char>(state >> 16);
  }
  return bytes;
}

IdentObj Blob(std::string const& data) {
  return IdentObj(data.data(), static_cast<unsigned int>(data.size()));
}

std::string DataOf(IdentObj const& blob) {
  return blob.Length == 0 ? std::string()
                          : std::string(reinterpret_cast<char const*>(blob.Data), blob.Length);
}

std::list<std::string> DataOf(std::list<IdentObj> const& blobs) {
  std::list<std::string> data;
  for (IdentObj const& blob : blobs) {
    data.push_back(DataOf(blob));
  }
  return data;
}
