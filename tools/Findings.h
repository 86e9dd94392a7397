#ifndef QUENDRIL_TOOLS_FINDINGS_H
#define QUENDRIL_TOOLS_FINDINGS_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "tools/RecordFile.h"

namespace inspect {

// How bad it is.
enum class Level : unsigned char {
  Hint,    // Worth knowing; nothing is lost.
  Loss,    // The file is whole, but the next save drops or changes something.
  Damage,  // Something does not fit; the library loads such a file as an empty list.
};

// One thing that is wrong with a file.
struct Finding {
  Level level;
  char const* kind;  // A word for programs: "stale-path".
  std::optional<std::size_t> record;
  std::size_t offset;
  std::string text;
};

char const* NameOf(Level level);

// Looks at the header words, the header and every record, and `asksForContainers` or not. `step`
// hears the number of each record before it is looked at.
void FindAll(RecordFile const& file, bool asksForContainers,
             std::function<void(Finding const&)> const& report, Step const& step);

}  // namespace inspect

#endif
