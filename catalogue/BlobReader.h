#ifndef QUENDRIL_CATALOGUE_BLOBREADER_H
#define QUENDRIL_CATALOGUE_BLOBREADER_H

#include <cstring>

// Walks over `size` untrusted bytes. Every length in them is compared with what remains before it
// is used.
class BlobReader {
 public:
  BlobReader(unsigned char const* data, unsigned int size)
      : m_data(data), m_remaining(data == nullptr ? 0 : size) {}

  unsigned char const* Position() const { return m_data; }
  unsigned int Remaining() const { return m_remaining; }

  // Whether a whole item (4 bytes N, N bytes) lies ahead.
  bool HasItem() const { return m_remaining >= kWordSize && PeekWord() <= m_remaining - kWordSize; }
  // Whether `count` words lie ahead.
  bool HasWords(unsigned int count) const { return m_remaining / kWordSize >= count; }

  // A reader of the item's bytes, which this one passes. REQUIRES: HasItem().
  BlobReader TakeItem() {
    unsigned int const length = TakeWord();
    BlobReader const item(m_data, length);
    Skip(length);
    return item;
  }
  // REQUIRES: HasWords(1).
  unsigned int TakeWord() {
    unsigned int const word = PeekWord();
    Skip(kWordSize);
    return word;
  }
  // REQUIRES: `count` bytes remain.
  void Skip(unsigned int count) {
    m_data += count;
    m_remaining -= count;
  }

 private:
  static constexpr unsigned int kWordSize = 4;

  unsigned int PeekWord() const {
    unsigned int word = 0;
    std::memcpy(&word, m_data, kWordSize);
    return word;
  }

  unsigned char const* m_data;
  unsigned int m_remaining;
};

#endif
