#ifndef QUENDRIL_CATALOGUE_RECORDREPAIR_H
#define QUENDRIL_CATALOGUE_RECORDREPAIR_H

#include <functional>
#include <unordered_set>

#include "catalogue/CContainerPathCompare.h"
#include "catalogue/ContainerInfo.h"

// What is wrong with the records of one list, judged one after the other from its front.
class RecordRepair {
 public:
  enum class Verdict {
    Keep,
    Mark,    // The container is gone, or its path holds a reserved word: to be dropped by a save.
    Remove,  // The path is empty, or that of a record before.
  };

  // About so many records will be judged.
  explicit RecordRepair(std::size_t count) : m_paths(count) {}

  // A record that is not removed stays where it is as long as this object is used.
  Verdict Judge(ContainerInfo const& record);

 private:
  using Path = std::reference_wrapper<CTOOString const>;
  struct Hash {
    std::size_t operator()(CTOOString const& path) const;
  };
  struct IsSame {
    bool operator()(CTOOString const& first, CTOOString const& second) const {
      CContainerPathCompare const isBefore;
      return !isBefore(first, second) && !isBefore(second, first);
    }
  };

  // The paths of the records so far. They are not copied.
  std::unordered_set<Path, Hash, IsSame> m_paths;
};

#endif
