#include "examples/AnnotatedDump.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "examples/Listing.h"

namespace {

constexpr std::size_t kBytesPerLine = 16;
constexpr std::size_t kTextShown = 80;
constexpr std::size_t kWordSize = 4;

struct Damage {};

// Walks over the bytes and prints each stretch with its meaning.
class Dumper {
 public:
  explicit Dumper(std::string bytes) : m_bytes(std::move(bytes)) {}

  bool AtEnd() const { return m_position == m_bytes.size(); }

  // Prints `count` bytes. Throws Damage, after printing what there is, when they are not all there
  // or would run past `end`, the end of what they are part of.
  void Stretch(std::size_t count, std::size_t end, int depth, std::string const& meaning) {
    std::size_t const there = std::min(count, end - m_position);
    for (std::size_t done = 0; done < there; done += kBytesPerLine) {
      Line(m_position + done, std::min(kBytesPerLine, there - done), depth,
           done == 0 ? meaning : "");
    }
    m_position += there;
    if (there < count) {
      std::printf("%08zx  DAMAGED: %s: %zu bytes should stand here, %zu do\n", m_position - there,
                  meaning.c_str(), count, there);
      throw Damage();
    }
  }

  unsigned int Word(std::size_t end, int depth, std::string const& name, char const* unit) {
    if (end - m_position < kWordSize) {
      Stretch(kWordSize, end, depth, name);
    }
    unsigned int value = 0;
    for (std::size_t i = kWordSize; i-- > 0;) {
      value = value << 8 | static_cast<unsigned char>(m_bytes[m_position + i]);
    }
    Stretch(kWordSize, end, depth, name + ": " + std::to_string(value) + unit);
    return value;
  }

  // A length and as many bytes.
  void Item(std::size_t end, int depth, std::string const& name) {
    unsigned int const length = Word(end, depth, name + " length", " bytes");
    if (length != 0) {
      std::string const text =
          m_bytes.substr(m_position, std::min<std::size_t>(length, kTextShown));
      Stretch(length, end, depth + 1, name + " \"" + Printable(text) + '"');
    }
  }

  // Where `length` bytes from here on end, at most `end`.
  std::size_t EndOf(unsigned int length, std::size_t end) const {
    return length > end - m_position ? end : m_position + length;
  }
  std::size_t Size() const { return m_bytes.size(); }
  std::size_t Position() const { return m_position; }

 private:
  void Line(std::size_t offset, std::size_t count, int depth, std::string const& meaning) const {
    std::string hex;
    for (std::size_t i = 0; i < count; ++i) {
      char digits[4];
      auto const byte = static_cast<unsigned char>(m_bytes[offset + i]);
      std::snprintf(digits, sizeof digits, "%s%02x", i == 0 ? "" : " ", byte);
      hex += digits;
    }
    if (meaning.empty()) {
      std::printf("%08zx  %s\n", offset, hex.c_str());
    } else {
      std::printf("%08zx  %-48s  %*s%s\n", offset, hex.c_str(), 2 * depth, "", meaning.c_str());
    }
  }

  std::string const m_bytes;
  std::size_t m_position = 0;
};

void DumpSubRecord(Dumper& dumper, std::size_t end, unsigned int number) {
  std::string const name = "sub-record " + std::to_string(number);
  unsigned int const length = dumper.Word(end, 1, name + " length", " bytes");
  std::size_t const ownEnd = dumper.EndOf(length, end);
  if (length != 0) {
    dumper.Item(ownEnd, 2, "ident");
    dumper.Word(ownEnd, 2, "param 1", "");
    dumper.Word(ownEnd, 2, "param 2", "");
  }
  if (dumper.Position() < ownEnd) {
    dumper.Stretch(ownEnd - dumper.Position(), ownEnd, 2, "behind the sub-record's last field");
  }
}

void DumpRecord(Dumper& dumper, unsigned int number) {
  unsigned int const length =
      dumper.Word(dumper.Size(), 0, "record " + std::to_string(number) + " length", " bytes");
  std::size_t const end = dumper.EndOf(length, dumper.Size());
  dumper.Item(end, 1, "path");
  dumper.Item(end, 1, "ident 1");
  dumper.Item(end, 1, "ident 2");
  dumper.Word(end, 1, "param", "");
  unsigned int const count = dumper.Word(end, 1, "sub-records", "");
  for (unsigned int sub = 0; sub < count; ++sub) {
    DumpSubRecord(dumper, end, sub);
  }
  if (dumper.Position() < end) {
    dumper.Stretch(end - dumper.Position(), end, 1, "behind the record's last field");
  }
}

void DumpAll(Dumper& dumper) {
  std::size_t const end = dumper.Size();
  dumper.Word(end, 0, "first reserved word", "");
  dumper.Word(end, 0, "cleaned mark (0: the next load tests the records)", "");
  dumper.Item(end, 0, "header");
  for (unsigned int number = 0; !dumper.AtEnd(); ++number) {
    DumpRecord(dumper, number);
  }
}

}  // namespace

int DumpFile(std::string const& fileName) {
  std::ifstream file(fileName, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file) {
    std::fprintf(stderr, "%s: cannot be read\n", fileName.c_str());
    return 1;
  }
  if (bytes.empty()) {
    std::printf("The file is empty: nothing was saved to this catalogue yet.\n");
    return 0;
  }
  std::printf("%-8s  %-48s  %s\n", "offset", "bytes", "meaning");
  Dumper dumper(std::move(bytes));
  try {
    DumpAll(dumper);
  } catch (Damage const&) {
    return 1;
  }
  return 0;
}
