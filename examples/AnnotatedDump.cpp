#include "examples/AnnotatedDump.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "examples/Listing.h"
#include "foundation/CTOOFile.h"
#include "foundation/XTOOStatus.h"

namespace {

constexpr std::size_t kBytesPerLine = 16;
constexpr std::size_t kTextShown = 80;
constexpr std::size_t kWordSize = 4;
constexpr std::size_t kBlockSize = 65536;

// Something that does not fit into what it is part of.
struct Damage {};

// Walks over the bytes and prints each stretch with its meaning. `end` is everywhere the end of
// what the bytes are part of.
class Dumper {
 public:
  explicit Dumper(std::string bytes) : m_bytes(std::move(bytes)) {}

  bool AtEnd() const { return m_position == m_bytes.size(); }
  bool IsDamaged() const { return m_isDamaged; }

  // Prints `count` bytes. Throws Damage, after printing what there is, when they run past `end`.
  void Stretch(std::size_t count, std::size_t end, int depth, std::string const& meaning) {
    std::size_t const there = std::min(count, end - m_position);
    for (std::size_t done = 0; done < there; done += kBytesPerLine) {
      Line(m_position + done, std::min(kBytesPerLine, there - done), depth,
           done == 0 ? meaning : "");
    }
    m_position += there;
    if (there < count) {
      NoteDamage(m_position - there, meaning, count, there);
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
      std::size_t const shown = std::min({std::size_t{length}, kTextShown, end - m_position});
      std::string const text = Printable(m_bytes.substr(m_position, shown));
      Stretch(length, end, depth + 1, name + " \"" + text + (shown < length ? "\"..." : "\""));
    }
  }

  // The length of something with fields of its own. Returns where that ends, at most `end`.
  std::size_t EndOfPart(std::size_t end, int depth, std::string const& name) {
    unsigned int const length = Word(end, depth, name + " length", " bytes");
    std::size_t const there = std::min<std::size_t>(length, end - m_position);
    if (there < length) {
      NoteDamage(m_position, name, length, there);
    }
    return m_position + there;
  }

  // What has not been printed up to `end`.
  void Rest(std::size_t end, int depth, std::string const& meaning) {
    if (m_position < end) {
      Stretch(end - m_position, end, depth, meaning);
    }
  }

  std::size_t Size() const { return m_bytes.size(); }
  std::size_t Position() const { return m_position; }

 private:
  void NoteDamage(std::size_t offset, std::string const& what, std::size_t wanted,
                  std::size_t there) {
    std::printf("%08zx  DAMAGED: %s: %zu bytes should stand here, %zu do\n", offset, what.c_str(),
                wanted, there);
    m_isDamaged = true;
  }

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
  bool m_isDamaged = false;
};

void DumpSubRecord(Dumper& dumper, std::size_t recordEnd, unsigned int number) {
  std::size_t const end = dumper.EndOfPart(recordEnd, 1, "sub-record " + std::to_string(number));
  if (dumper.Position() < end) {
    dumper.Item(end, 2, "ident");
    dumper.Word(end, 2, "param 1", "");
    dumper.Word(end, 2, "param 2", "");
    dumper.Rest(end, 2, "behind the sub-record's last field");
  }
}

void DumpFields(Dumper& dumper, std::size_t end) {
  dumper.Item(end, 1, "path");
  dumper.Item(end, 1, "ident 1");
  dumper.Item(end, 1, "ident 2");
  dumper.Word(end, 1, "param", "");
  unsigned int const count = dumper.Word(end, 1, "sub-records", "");
  for (unsigned int sub = 0; sub < count; ++sub) {
    DumpSubRecord(dumper, end, sub);
  }
  dumper.Rest(end, 1, "behind the record's last field");
}

// Damage within a record is the record's own: the next one stands where its length says.
void DumpRecord(Dumper& dumper, unsigned int number) {
  std::string const name = "record " + std::to_string(number);
  std::size_t const end = dumper.EndOfPart(dumper.Size(), 0, name);
  try {
    DumpFields(dumper, end);
  } catch (Damage const&) {
    dumper.Rest(end, 1, "rest of " + name);
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

// The whole content. Throws an XTOOStatus when the file cannot be read.
std::string ContentOf(std::string const& fileName) {
  CTOOFile file(fileName.c_str(), "rbc", true);
  std::string content;
  char block[kBlockSize];
  while (unsigned int const count = file.Read(block, sizeof block)) {
    content.append(block, count);
  }
  if (file.Status() != 0) {
    throw XTOOStatus(file.Status(), fileName.c_str(), false);
  }
  return content;
}

}  // namespace

int DumpFile(std::string const& fileName) {
  std::string content;
  try {
    content = ContentOf(fileName);
  } catch (XTOOStatus const& error) {
    std::fprintf(stderr, "%s: cannot be read: %s\n", fileName.c_str(),
                 std::strerror(error.Status()));
    return 1;
  }
  if (content.empty()) {
    std::puts(kNothingSaved);
    return 0;
  }
  std::printf("%-8s  %-48s  %s\n", "offset", "bytes", "meaning");
  Dumper dumper(std::move(content));
  try {
    DumpAll(dumper);
  } catch (Damage const&) {
    return 1;  // Without header words or a header there is no telling where records begin.
  }
  return dumper.IsDamaged() ? 1 : 0;
}
