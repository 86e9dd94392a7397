#include "catalogue/PathIndex.h"

namespace {

// FNV-1a.
constexpr std::uint64_t kStart = 0xCBF29CE484222325;
constexpr std::uint64_t kPrime = 0x100000001B3;
constexpr std::uint64_t kNotAscii = 0;

constexpr std::uint32_t kNone = 0xFFFFFFFF;
constexpr std::size_t kFewestChains = 16;

struct Hashes {
  std::uint64_t unfoldable = kStart;  // Of the bytes that no folding touches.
  std::uint64_t folded = kStart;      // Of all bytes as small letters; kNotAscii for others.
};

bool IsLetter(unsigned int small) { return small - 'a' < 26; }

Hashes HashesOf(char const* path) {
  Hashes hashes;
  unsigned int seen = 0;
  for (; *path != 0; ++path) {
    unsigned int const byte = static_cast<unsigned char>(*path);
    unsigned int const small = IsLetter(byte | 0x20) ? byte | 0x20 : byte;
    seen |= byte;
    hashes.folded = (hashes.folded ^ small) * kPrime;
    if (byte < 0x80 && !IsLetter(small)) {
      hashes.unfoldable = (hashes.unfoldable ^ byte) * kPrime;
    }
  }
  if (seen >= 0x80) {
    hashes.folded = kNotAscii;
  }
  return hashes;
}

}  // namespace

PathIndex::PathIndex(std::size_t count) : m_chains(kFewestChains, Chain{kNone, kNone}) {
  m_entries.reserve(count);
  while (m_chains.size() < count) {
    Grow();
  }
}

void PathIndex::Insert(Record record) {
  if (m_entries.size() >= m_chains.size()) {
    Grow();
  }
  Hashes const hashes = HashesOf(record->Path);
  m_entries.push_back(Entry{hashes.unfoldable, hashes.folded, record, kNone, false});
  Append(static_cast<std::uint32_t>(m_entries.size() - 1));
}

void PathIndex::Append(std::uint32_t entry) {
  Chain& chain = m_chains[ChainOf(m_entries[entry].unfoldable)];
  (chain.first == kNone ? chain.first : m_entries[chain.last].next) = entry;
  chain.last = entry;
}

void PathIndex::Grow() {
  std::vector<Chain> chains(2 * m_chains.size(), Chain{kNone, kNone});
  m_chains.swap(chains);
  for (std::uint32_t entry = 0; entry < m_entries.size(); ++entry) {
    m_entries[entry].next = kNone;
    if (!m_entries[entry].isRemoved) {
      Append(entry);
    }
  }
}

void PathIndex::Remove(Record record) {
  std::uint32_t entry = m_chains[ChainOf(HashesOf(record->Path).unfoldable)].first;
  for (; entry != kNone; entry = m_entries[entry].next) {
    if (m_entries[entry].record == record) {
      m_entries[entry].isRemoved = true;
    }
  }
}

PathIndex::Record const* PathIndex::Find(CTOOString const& path) const {
  Hashes const hashes = HashesOf(path);
  std::uint32_t number = m_chains[ChainOf(hashes.unfoldable)].first;
  for (; number != kNone; number = m_entries[number].next) {
    Entry const& entry = m_entries[number];
    bool const areAscii = entry.folded != kNotAscii && hashes.folded != kNotAscii;
    if (!entry.isRemoved && entry.unfoldable == hashes.unfoldable &&
        (!areAscii || entry.folded == hashes.folded) &&
        entry.record->Path.CollateNoCase(path) == 0) {
      return &entry.record;
    }
  }
  return nullptr;
}
