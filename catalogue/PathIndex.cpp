#include "catalogue/PathIndex.h"

#include <algorithm>

namespace {

// FNV-1a.
constexpr std::uint64_t kStart = 0xCBF29CE484222325;
constexpr std::uint64_t kPrime = 0x100000001B3;
constexpr std::uint64_t kNotAscii = 0;

struct Hashes {
  std::uint64_t unfoldable = kStart;  // Of the bytes that no folding touches.
  std::uint64_t folded = kStart;      // Of all bytes as small letters; kNotAscii for others.
};

Hashes HashesOf(char const* path) {
  Hashes hashes;
  bool isAscii = true;
  for (; *path != 0; ++path) {
    auto const byte = static_cast<unsigned char>(*path);
    bool const isCapital = byte >= 'A' && byte <= 'Z';
    unsigned char const small = isCapital ? byte - 'A' + 'a' : byte;
    hashes.folded = (hashes.folded ^ small) * kPrime;
    if (byte >= 0x80) {
      isAscii = false;
    } else if (small < 'a' || small > 'z') {
      hashes.unfoldable = (hashes.unfoldable ^ byte) * kPrime;
    }
  }
  if (!isAscii) {
    hashes.folded = kNotAscii;
  }
  return hashes;
}

}  // namespace

void PathIndex::Insert(Record record) {
  Hashes const hashes = HashesOf(record->Path);
  m_entries[hashes.unfoldable].push_back(Entry{hashes.folded, record});
}

void PathIndex::Remove(Record record) {
  auto const found = m_entries.find(HashesOf(record->Path).unfoldable);
  if (found != m_entries.end()) {
    std::vector<Entry>& entries = found->second;
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [&](Entry const& entry) { return entry.record == record; }),
                  entries.end());
  }
}

PathIndex::Record const* PathIndex::Find(CTOOString const& path) const {
  Hashes const hashes = HashesOf(path);
  auto const found = m_entries.find(hashes.unfoldable);
  if (found == m_entries.end()) {
    return nullptr;
  }
  for (Entry const& entry : found->second) {
    bool const areAscii = entry.folded != kNotAscii && hashes.folded != kNotAscii;
    if ((!areAscii || entry.folded == hashes.folded) &&
        entry.record->Path.CollateNoCase(path) == 0) {
      return &entry.record;
    }
  }
  return nullptr;
}
