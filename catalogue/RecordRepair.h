#ifndef QUENDRIL_CATALOGUE_RECORDREPAIR_H
#define QUENDRIL_CATALOGUE_RECORDREPAIR_H

#include <cstddef>
#include <vector>

#include "catalogue/ContainerInfo.h"

// What is wrong with the records of one list, judged one after the other from its front.
class RecordRepair {
 public:
  enum class Verdict {
    Keep,
    Mark,    // The container is gone, or its path holds a reserved word: to be dropped by a save.
    Remove,  // The path is empty, or that of a record before.
  };

  // For about so many records.
  explicit RecordRepair(std::size_t count);

  // A record that is not removed stays where it is as long as this object is used.
  Verdict Judge(ContainerInfo const& record);

 private:
  // False when the same path is there already.
  bool Note(CTOOString const& path);
  CTOOString const*& PlaceFor(CTOOString const& path);
  void Grow();

  // A hash table that is at most half full, null where no path is yet; its size is a power of 2.
  std::vector<CTOOString const*> m_paths;
  std::size_t m_count = 0;
};

#endif
