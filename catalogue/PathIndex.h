#ifndef QUENDRIL_CATALOGUE_PATHINDEX_H
#define QUENDRIL_CATALOGUE_PATHINDEX_H

#include <cstdint>
#include <list>
#include <unordered_map>

#include "catalogue/ContainerInfo.h"

// Finds records by path, case ignored as CTOOString::CollateNoCase ignores it, without walking a
// list.
//
// How the base library folds case is its own affair; it tells only whether two texts are equal. So
// records are gathered by what no folding touches, the bytes of a path that are ASCII but no
// letters, and compared one by one there; so names that differ in letters alone take a walk. Two
// paths that are ASCII throughout are equal only if
// they are so with ASCII's own small letters, which a hash tells nearly always.
class PathIndex {
 public:
  using Record = std::list<ContainerInfo>::iterator;

  // For about so many records.
  explicit PathIndex(std::size_t count) : m_entries(count) {}

  // The record's path must not change as long as it is in here.
  void Insert(Record record);
  void Remove(Record record);
  // The record that was inserted first among those with the path; null for none.
  Record const* Find(CTOOString const& path) const;

 private:
  struct Entry {
    std::uint64_t folded;
    std::size_t order;  // Of their insertion.
    Record record;
  };

  std::unordered_multimap<std::uint64_t, Entry> m_entries;
  std::size_t m_inserted = 0;
};

#endif
