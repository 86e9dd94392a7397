#ifndef QUENDRIL_TOOLS_RECORDFILE_H
#define QUENDRIL_TOOLS_RECORDFILE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "tools/Field.h"

namespace inspect {

constexpr std::size_t kHeadSize = 12;

// Hears, from time to time, how far long work is.
using Step = std::function<void(std::size_t)>;

// A record file's bytes, and where its records begin. It refers to the bytes, which are not its
// own. They are not trusted: what does not fit is damage, and nothing outside them is read.
struct RecordFile {
  // The bytes of record `number`, without their length. REQUIRES: number < offsets.size().
  std::string_view Blob(std::size_t number) const;
  std::size_t Count() const { return offsets.size(); }
  bool IsEmpty() const { return bytes.empty(); }

  std::string_view bytes;
  bool hasHead =
      false;  // Whether header words and header are whole; without, there are no records.
  std::uint32_t reserved = 0;
  std::uint32_t mark = 0;
  std::string_view header;
  std::vector<std::size_t> offsets;  // Of the length of every whole record.
  std::size_t end = 0;               // Behind the last of them.
  std::optional<Damage> damage;      // At which the records end before the file does.
};

// A container record, as far as it can be decoded. It refers to the file's bytes.
struct ContainerView {
  bool IsContainer() const { return !damage; }
  // What the library takes for the path: it ends at the first zero byte.
  std::string_view Text() const { return path.substr(0, path.find('\0')); }

  std::string_view path;
  std::string_view ident1;
  std::string_view ident2;
  std::uint32_t param = 0;
  std::uint32_t subCount = 0;
  std::string_view subRecords;  // Each with its length. REQUIRES for walking: IsContainer().
  std::string_view tail;        // Behind the last field.
  std::size_t subTails = 0;     // Bytes behind the last fields of sub-records.
  std::size_t emptySubs = 0;    // Sub-records of length 0, which have default values.
  std::optional<Damage> damage;
};

struct SubView {
  bool isEmpty = false;
  std::string_view ident;
  std::uint32_t param1 = 0;
  std::uint32_t param2 = 0xFFFFFFFF;
  std::string_view tail;
};

// Time and memory are bounded by the size of the bytes.
RecordFile ParseFile(std::string_view bytes);

// A record of bytes `begin` to `end`, which need not be one that ParseFile found. Constant memory.
ContainerView ReadContainer(std::string_view file, std::size_t number, std::size_t begin,
                            std::size_t end);
ContainerView ReadContainer(RecordFile const& file, std::size_t number);
// The sub-records in their order. REQUIRES: view.IsContainer().
void ForEachSubRecord(ContainerView const& view, std::function<void(SubView const&)> const& take);

// All fields of the file, damaged parts included: every byte once. Constant memory. `step` hears
// the number of each record.
void WalkFile(RecordFile const& file, FieldSink& sink, Step const& step = nullptr);
// The header words and the header.
void WalkHead(RecordFile const& file, FieldSink& sink);
// One record with its length.
void WalkRecord(RecordFile const& file, std::size_t number, FieldSink& sink);

}  // namespace inspect

#endif
