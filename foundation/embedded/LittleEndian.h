#ifndef QUENDRIL_FOUNDATION_EMBEDDED_LITTLEENDIAN_H
#define QUENDRIL_FOUNDATION_EMBEDDED_LITTLEENDIAN_H

#include <cstring>

// Unsigned 32-bit little-endian words at any address: the host order of x86-64, so a copy does it.

inline unsigned int LoadWord(void const* from) {
  unsigned int word = 0;
  std::memcpy(&word, from, sizeof word);
  return word;
}

inline void StoreWord(void* to, unsigned int word) { std::memcpy(to, &word, sizeof word); }

#endif
