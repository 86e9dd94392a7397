#ifndef QUENDRIL_TOOLS_BYTEREADER_H
#define QUENDRIL_TOOLS_BYTEREADER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace inspect {

constexpr std::size_t kWordSize = 4;

// Walks over untrusted bytes, those of a file from `begin` to `end`. Whoever takes bytes compares
// the length with what remains first; nothing outside is ever read.
class ByteReader {
 public:
  // REQUIRES: begin <= end <= file.size().
  ByteReader(std::string_view file, std::size_t begin, std::size_t end)
      : m_file(file), m_position(begin), m_end(end) {}

  std::size_t Position() const { return m_position; }
  std::size_t End() const { return m_end; }
  std::size_t Remaining() const { return m_end - m_position; }
  bool HasWord() const { return Remaining() >= kWordSize; }

  // REQUIRES: `count` bytes remain.
  std::string_view Take(std::size_t count) {
    std::string_view const taken = m_file.substr(m_position, count);
    m_position += count;
    return taken;
  }
  // Little-endian. REQUIRES: HasWord().
  std::uint32_t TakeWord() {
    std::uint32_t value = 0;
    std::string_view const bytes = Take(kWordSize);
    for (std::size_t i = kWordSize; i-- > 0;) {
      value = value << 8 | static_cast<unsigned char>(bytes[i]);
    }
    return value;
  }

 private:
  std::string_view m_file;
  std::size_t m_position;
  std::size_t m_end;
};

// A number as a file holds it. What does not fit into 32 bits is cut.
inline std::string ToWord(std::size_t value) {
  std::string bytes;
  for (unsigned int shift = 0; shift < 32; shift += 8) {
    bytes += static_cast<char>(value >> shift & 0xFFU);
  }
  return bytes;
}

}  // namespace inspect

#endif
