#include "tests/catalogue/seams/Decoder.h"

namespace {

class Reader {
 public:
  explicit Reader(std::string const& bytes) : m_bytes(bytes) {}

  std::size_t Position() const { return m_position; }
  std::size_t Remaining() const { return m_bytes.size() - m_position; }

  bool TakeWord(unsigned int& word) {
    if (Remaining() < 4) {
      return false;
    }
    word = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      word |= static_cast<unsigned int>(static_cast<unsigned char>(m_bytes[m_position + i]))
              << (8 * i);
    }
    m_position += 4;
    return true;
  }
  // Takes nothing when the item is cut.
  bool TakeItem(std::string& item) {
    std::size_t const start = m_position;
    unsigned int length = 0;
    if (!TakeWord(length) || Remaining() < length) {
      m_position = start;
      return false;
    }
    item = m_bytes.substr(m_position, length);
    m_position += length;
    return true;
  }

 private:
  std::string const& m_bytes;
  std::size_t m_position = 0;
};

bool DecodeSubRecord(std::string const& blob, SubRecord& sub) {
  Reader reader(blob);
  return blob.empty() || (reader.TakeItem(sub.ident) && reader.Remaining() >= 8 &&
                          reader.TakeWord(sub.param1) && reader.TakeWord(sub.param2));
}

}  // namespace

Decoded Decode(std::string const& blob) {
  Decoded decoded;
  Reader reader(blob);
  unsigned int count = 0;
  decoded.failure = "ContainerInfo::ReadData";
  if (!reader.TakeItem(decoded.path)) {
    return decoded;
  }
  decoded.path = decoded.path.c_str();  // A text ends at its first zero byte.
  if (!reader.TakeItem(decoded.ident1) || !reader.TakeItem(decoded.ident2) ||
      reader.Remaining() < 8 || !reader.TakeWord(decoded.param) || !reader.TakeWord(count)) {
    return decoded;
  }
  for (; count > 0; --count) {
    std::string subBlob;
    if (!reader.TakeItem(subBlob)) {
      return decoded;
    }
    SubRecord sub;
    if (!DecodeSubRecord(subBlob, sub)) {
      decoded.failure = "SubContInfo::ReadData";
      decoded.path.clear();  // It is set behind the sub-records, of which one has thrown.
      return decoded;
    }
    decoded.subRecords.push_back(sub);
  }
  decoded.failure.clear();
  decoded.consumed = reader.Position();
  return decoded;
}

DecodedFile DecodeFile(std::string const& bytes) {
  DecodedFile file;
  // The words as far as the file holds them.
  std::string const words = (bytes + std::string(12, '\0')).substr(0, 12);
  Reader wordReader(words);
  unsigned int length = 0;
  wordReader.TakeWord(file.reserved);
  wordReader.TakeWord(file.mark);
  wordReader.TakeWord(length);
  file.isDamaged = (!bytes.empty() && bytes.size() < 12) || length > bytes.size();
  if (bytes.empty() || file.isDamaged) {
    return file;
  }
  file.header = bytes.substr(12, length);
  if (file.header.size() < length) {
    file.header.resize(length);
    file.isDamaged = true;
    return file;
  }
  std::string const records = bytes.substr(12 + length);
  Reader reader(records);
  while (reader.Remaining() > 0) {
    std::string record;
    if (!reader.TakeItem(record)) {
      file.isDamaged = true;
      return file;
    }
    file.records.push_back(record);
  }
  return file;
}
