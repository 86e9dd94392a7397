#ifndef QUENDRIL_TOOLS_FIELD_H
#define QUENDRIL_TOOLS_FIELD_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace inspect {

// What the bytes of a record file are. Each byte of a file belongs to exactly one field.
enum class FieldKind : unsigned char {
  ReservedWord,
  CleanedMark,
  HeaderLength,
  Header,
  RecordLength,
  PathLength,
  Path,
  Ident1Length,
  Ident1,
  Ident2Length,
  Ident2,
  Param,
  SubCount,
  SubLength,
  SubIdentLength,
  SubIdent,
  SubParam1,
  SubParam2,
  SubTail,     // Behind a sub-record's last field; the library passes over it.
  RecordTail,  // The same of a record.
  Cut,         // What there is of a field that does not fit.
  Rest,        // Of a damaged record, or behind a damaged header.
};

// Fields of the same sort look the same.
enum class FieldGroup : unsigned char {
  HeaderWord,
  Header,
  Length,
  Path,
  Ident,
  Param,
  SubRecord,
  Unused,
  Damage
};

struct Field {
  FieldKind kind = FieldKind::Rest;
  std::size_t offset = 0;
  std::string_view bytes;
  std::uint32_t value = 0;               // Of a field that is a number.
  std::optional<std::size_t> record;     // The number of the record that it is part of.
  std::optional<std::size_t> subRecord;  // The number of the sub-record.
};

// Something that does not fit into what it is part of.
struct Damage {
  FieldKind field = FieldKind::Rest;  // What does not fit.
  std::size_t offset = 0;             // Where its bytes should begin.
  std::uint64_t wanted = 0;           // Bytes.
  std::size_t there = 0;
  bool isBehindLength = false;  // Not the length itself is cut but what it is the length of.
  std::optional<std::size_t> record;
  std::optional<std::size_t> subRecord;
};

FieldGroup GroupOf(FieldKind kind);
char const* NameOf(FieldGroup group);
// Whether the field is a 32-bit number.
bool IsWord(FieldKind kind);
// "path length", "sub-record 2 length", "param 1".
std::string NameOf(Field const& field);
// 0 for what the file consists of, 1 for a record's fields, 2 for a sub-record's; one more for what
// stands behind a length.
int DepthOf(FieldKind kind);
// "record 3: path: 40 bytes should stand here, 12 do".
std::string Explain(Damage const& damage);

// Takes the fields of a file or a record, in the order of their bytes, and what is damaged at the
// place where it shows.
class FieldSink {
 public:
  virtual ~FieldSink() = default;
  virtual void Take(Field const& field) = 0;
  virtual void Take(Damage const& damage) = 0;
};

}  // namespace inspect

#endif
