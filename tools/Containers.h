#ifndef QUENDRIL_TOOLS_CONTAINERS_H
#define QUENDRIL_TOOLS_CONTAINERS_H

#include <string_view>
#include <unordered_set>

#include "foundation/CTOOString.h"

namespace inspect {

// What the next save makes of a record.
enum class Fate { Kept, EmptyPath, Duplicate, Missing, ReservedWord };

// Judges the records of one file in their order, with the library's own rules. Paths are judged by
// their texts, which must outlive this object. Without `asksForContainers` all containers count as
// existing: for a file of another machine.
class Fates {
 public:
  explicit Fates(bool asksForContainers = true) : m_asksForContainers(asksForContainers) {}

  Fate Judge(std::string_view text);

 private:
  bool const m_asksForContainers;
  std::unordered_set<std::string_view> m_seen;
};

CTOOString ToPath(std::string_view text);
// Whether there is anything at the path, which is a container then.
bool DoesContainerExist(std::string_view text);
// The form in which the catalogue finds a path.
CTOOString Normalised(std::string_view text);

}  // namespace inspect

#endif
