#ifndef QUENDRIL_TOOLS_SALVAGE_H
#define QUENDRIL_TOOLS_SALVAGE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/RecordFile.h"

namespace inspect {

// Bytes of a file from `begin` to `end`.
struct Stretch {
  std::size_t begin;
  std::size_t end;
};

// What could be got out of a file.
struct Salvage {
  bool IsWhole() const { return lost.empty() && mended == 0; }

  std::string bytes;          // A new file: header words, header, the records. Empty for nothing.
  std::size_t taken = 0;      // Records in it.
  std::size_t mended = 0;     // Those of them whose length was wrong, and was made to fit.
  std::vector<Stretch> lost;  // What is in no record that was taken, nor in the head.
  bool isHeaderLost = false;  // The new file has an empty header then.
  bool isGivenUp =
      false;  // The last stretch was not searched to its end, which would take too long.
};

// Takes every container record that can still be decoded, in file order. Behind damage it looks,
// byte by byte, for the next place where a record begins; a record whose length is wrong is taken
// if its fields fit and another record, or the end of the file, follows them. `step` hears the
// offsets that are reached. The time is bounded by the size of the file.
Salvage SalvageRecords(std::string_view file, Step const& step);

}  // namespace inspect

#endif
