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

// What becomes of each byte: as a small letter, and whether folding touches it.
struct FoldTable {
  unsigned char small[256] = {};
  bool isUnfoldable[256] = {};

  constexpr FoldTable() {
    for (unsigned int byte = 0; byte < 256; ++byte) {
      bool const isCapital = byte >= 'A' && byte <= 'Z';
      small[byte] = static_cast<unsigned char>(isCapital ? byte - 'A' + 'a' : byte);
      isUnfoldable[byte] = byte < 0x80 && (small[byte] < 'a' || small[byte] > 'z');
    }
  }
};
constexpr FoldTable kFold;

Hashes HashesOf(char const* path) {
  Hashes hashes;
  unsigned int seen = 0;
  for (; *path != 0; ++path) {
    auto const byte = static_cast<unsigned char>(*path);
    seen |= byte;
    hashes.folded = (hashes.folded ^ kFold.small[byte]) * kPrime;
    if (kFold.isUnfoldable[byte]) {
      hashes.unfoldable = (hashes.unfoldable ^ byte) * kPrime;
    }
  }
  if (seen >= 0x80) {
    hashes.folded = kNotAscii;
  }
  return hashes;
}

}  // namespace

void PathIndex::Insert(Record record) {
  Hashes const hashes = HashesOf(record->Path);
  m_entries.emplace(hashes.unfoldable, Entry{hashes.folded, m_inserted++, record});
}

void PathIndex::Remove(Record record) {
  auto const [first, last] = m_entries.equal_range(HashesOf(record->Path).unfoldable);
  auto const found =
      std::find_if(first, last, [&](auto const& entry) { return entry.second.record == record; });
  if (found != last) {
    m_entries.erase(found);
  }
}

PathIndex::Record const* PathIndex::Find(CTOOString const& path) const {
  Hashes const hashes = HashesOf(path);
  auto const [first, last] = m_entries.equal_range(hashes.unfoldable);
  Entry const* found = nullptr;
  for (auto entry = first; entry != last; ++entry) {
    Entry const& candidate = entry->second;
    bool const isEarlier = found == nullptr || candidate.order < found->order;
    bool const areAscii = candidate.folded != kNotAscii && hashes.folded != kNotAscii;
    if (isEarlier && (!areAscii || candidate.folded == hashes.folded) &&
        candidate.record->Path.CollateNoCase(path) == 0) {
      found = &candidate;
    }
  }
  return found == nullptr ? nullptr : &found->record;
}
