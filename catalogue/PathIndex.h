#ifndef QUENDRIL_CATALOGUE_PATHINDEX_H
#define QUENDRIL_CATALOGUE_PATHINDEX_H

#include <cstdint>
#include <list>
#include <vector>

#include "catalogue/ContainerInfo.h"

// Finds records by path, case ignored as CTOOString::CollateNoCase ignores it, without walking a
// list.
//
// How the base library folds case is its own affair; it tells only whether two texts are equal. So
// records are gathered by what no folding touches, the bytes of a path that are ASCII but no
// letters, and compared one by one there; so names that differ in letters alone take a walk. Two
// paths that are ASCII throughout are equal only if they are so with ASCII's own small letters,
// which a hash tells nearly always.
class PathIndex {
 public:
  using Record = std::list<ContainerInfo>::iterator;

  // For about so many records.
  explicit PathIndex(std::size_t count);

  // The record's path must not change as long as it is in here. Strong: lack of memory changes
  // nothing.
  void Insert(Record record);
  void Remove(Record record);
  // The record that was inserted first among those with the path; null for none.
  Record const* Find(CTOOString const& path) const;

 private:
  // Gathered in one vector: a piece of memory for each would cost more than all the rest.
  struct Entry {
    std::uint64_t unfoldable = 0;
    std::uint64_t folded = 0;
    Record record;
    // Of the same chain, in the order of their insertion; kNone at its end.
    std::uint32_t next = 0;
    bool isRemoved = false;
  };
  struct Chain {
    std::uint32_t first;
    std::uint32_t last;
  };

  std::size_t ChainOf(std::uint64_t unfoldable) const {
    return (unfoldable ^ (unfoldable >> 32)) & (m_chains.size() - 1);
  }
  void Append(std::uint32_t entry);
  void Grow();

  std::vector<Entry> m_entries;
  std::vector<Chain> m_chains;  // A power of 2.
};

#endif
