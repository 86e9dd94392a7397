#ifndef QUENDRIL_CATALOGUE_RECORDREPAIR_H
#define QUENDRIL_CATALOGUE_RECORDREPAIR_H

#include <functional>
#include <set>

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

  // A record that is not removed stays where it is as long as this object is used.
  Verdict Judge(ContainerInfo const& record);

 private:
  // The paths of the records so far. They are not copied.
  std::set<std::reference_wrapper<CTOOString const>, CContainerPathCompare> m_paths;
};

#endif
