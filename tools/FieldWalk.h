#ifndef QUENDRIL_TOOLS_FIELDWALK_H
#define QUENDRIL_TOOLS_FIELDWALK_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tools/ByteReader.h"
#include "tools/Field.h"

namespace inspect {

// Walks once over fields that may not fit, and hands each to a sink. The only place that knows the
// order of the fields:
//
//   file       reserved word, cleaned mark, header length, header, then records with their lengths
//   container  path, ident 1 and ident 2 as items, param, count of sub-records, sub-records as
//   items sub-record ident as an item, param 1, param 2
//
// An item is a length and so many bytes; all numbers are 32-bit little-endian.
class FieldWalk {
 public:
  FieldWalk(std::string_view file, FieldSink& sink) : m_file(file), m_sink(sink) {}

  // From offset 0. False when it is cut: all bytes of the file have been handed over then.
  bool Head();
  // The length of the record at `offset`, then its fields, up to the end of the file at most.
  void Record(std::size_t number, std::size_t offset);
  // The fields of the record whose content is `begin` to `end`; all of these bytes are handed over.
  void Container(std::size_t number, std::size_t begin, std::size_t end);

 private:
  bool Word(ByteReader& reader, FieldKind kind, std::uint32_t& value);
  bool Bytes(ByteReader& reader, FieldKind kind, std::size_t count);
  bool Item(ByteReader& reader, FieldKind length, FieldKind content);
  bool ContainerFields(ByteReader& reader);
  bool SubRecord(ByteReader& record);
  void Rest(ByteReader& reader, FieldKind kind);
  void Cut(ByteReader& reader, FieldKind kind, std::uint64_t wanted);
  void TellDamage(FieldKind kind, std::size_t offset, std::uint64_t wanted, std::size_t there,
                  bool isBehindLength);
  Field MakeField(FieldKind kind, std::size_t offset) const;

  std::string_view m_file;
  FieldSink& m_sink;
  std::optional<std::size_t> m_record;
  std::optional<std::size_t> m_subRecord;
};

}  // namespace inspect

#endif
