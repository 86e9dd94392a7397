#ifndef QUENDRIL_TOOLS_DIFFERENCE_H
#define QUENDRIL_TOOLS_DIFFERENCE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/JsonWriter.h"
#include "tools/RecordFile.h"

namespace inspect {

// One record that is not the same in two files: only the first has it, only the second, or both
// with other content.
struct Difference {
  std::optional<std::size_t> before;  // The number of the record in the first file.
  std::optional<std::size_t> after;
};

// What distinguishes two files. It refers to both, which must outlive it.
struct Comparison {
  bool IsSame() const { return before.bytes == after.bytes; }

  RecordFile const& before;
  RecordFile const& after;
  std::vector<Difference> records;  // Removed ones first, in the order of the files.
  bool isReordered = false;         // Records that both have stand in another order.
  bool isRestDifferent = false;     // What stands behind the last whole record.
};

// Records of the same path belong together, in their order; records that are no container records
// when all their bytes are the same.
Comparison Compare(RecordFile const& before, RecordFile const& after, Step const& step = nullptr);

// One line for each difference; none for files of the same bytes.
std::vector<std::string> Describe(Comparison const& comparison);

// The members headBefore, headAfter, records, reordered and restDiffers, written into an object
// that was begun.
void WriteComparison(JsonWriter& json, Comparison const& comparison);

}  // namespace inspect

#endif
