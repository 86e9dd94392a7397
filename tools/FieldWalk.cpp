#include "tools/FieldWalk.h"

namespace inspect {

Field FieldWalk::MakeField(FieldKind kind, std::size_t offset) const {
  Field field;
  field.kind = kind;
  field.offset = offset;
  field.record = m_record;
  field.subRecord = m_subRecord;
  return field;
}

void FieldWalk::TellDamage(FieldKind kind, std::size_t offset, std::uint64_t wanted,
                           std::size_t there, bool isBehindLength) {
  Damage damage;
  damage.field = kind;
  damage.offset = offset;
  damage.wanted = wanted;
  damage.there = there;
  damage.isBehindLength = isBehindLength;
  damage.record = m_record;
  damage.subRecord = m_subRecord;
  m_sink.Take(damage);
}

void FieldWalk::Rest(ByteReader& reader, FieldKind kind) {
  if (reader.Remaining() != 0) {
    Field field = MakeField(kind, reader.Position());
    field.bytes = reader.Take(reader.Remaining());
    m_sink.Take(field);
  }
}

void FieldWalk::Cut(ByteReader& reader, FieldKind kind, std::uint64_t wanted) {
  TellDamage(kind, reader.Position(), wanted, reader.Remaining(), false);
  Rest(reader, FieldKind::Cut);
}

bool FieldWalk::Word(ByteReader& reader, FieldKind kind, std::uint32_t& value) {
  if (!reader.HasWord()) {
    Cut(reader, kind, kWordSize);
    return false;
  }
  Field field = MakeField(kind, reader.Position());
  field.bytes = m_file.substr(reader.Position(), kWordSize);
  value = reader.TakeWord();
  field.value = value;
  m_sink.Take(field);
  return true;
}

bool FieldWalk::Bytes(ByteReader& reader, FieldKind kind, std::size_t count) {
  if (count > reader.Remaining()) {
    Cut(reader, kind, count);
    return false;
  }
  Field field = MakeField(kind, reader.Position());
  field.bytes = reader.Take(count);
  m_sink.Take(field);
  return true;
}

bool FieldWalk::Item(ByteReader& reader, FieldKind length, FieldKind content) {
  std::uint32_t count = 0;
  return Word(reader, length, count) && Bytes(reader, content, count);
}

bool FieldWalk::Head() {
  ByteReader reader(m_file, 0, m_file.size());
  std::uint32_t value = 0;
  return Word(reader, FieldKind::ReservedWord, value) &&
         Word(reader, FieldKind::CleanedMark, value) &&
         Item(reader, FieldKind::HeaderLength, FieldKind::Header);
}

void FieldWalk::Record(std::size_t number, std::size_t offset) {
  m_record = number;
  ByteReader reader(m_file, offset, m_file.size());
  std::uint32_t length = 0;
  if (Word(reader, FieldKind::RecordLength, length)) {
    std::size_t end = m_file.size();
    if (length > reader.Remaining()) {
      TellDamage(FieldKind::RecordLength, reader.Position(), length, reader.Remaining(), true);
    } else {
      end = reader.Position() + length;
    }
    Container(number, reader.Position(), end);
  }
  m_record.reset();
}

void FieldWalk::Container(std::size_t number, std::size_t begin, std::size_t end) {
  m_record = number;
  ByteReader reader(m_file, begin, end);
  bool const isWhole = ContainerFields(reader);
  m_subRecord.reset();
  Rest(reader, isWhole ? FieldKind::RecordTail : FieldKind::Rest);
}

bool FieldWalk::ContainerFields(ByteReader& reader) {
  std::uint32_t param = 0;
  std::uint32_t count = 0;
  if (!Item(reader, FieldKind::PathLength, FieldKind::Path) ||
      !Item(reader, FieldKind::Ident1Length, FieldKind::Ident1) ||
      !Item(reader, FieldKind::Ident2Length, FieldKind::Ident2) ||
      !Word(reader, FieldKind::Param, param) || !Word(reader, FieldKind::SubCount, count)) {
    return false;
  }
  for (std::uint32_t number = 0; number < count; ++number) {
    m_subRecord = number;
    if (!SubRecord(reader)) {
      return false;
    }
  }
  return true;
}

bool FieldWalk::SubRecord(ByteReader& record) {
  std::uint32_t length = 0;
  if (!Word(record, FieldKind::SubLength, length)) {
    return false;
  }
  if (length > record.Remaining()) {
    TellDamage(FieldKind::SubLength, record.Position(), length, record.Remaining(), true);
    return false;
  }
  if (length == 0) {
    return true;
  }
  ByteReader reader(m_file, record.Position(), record.Position() + length);
  record.Take(length);
  std::uint32_t value = 0;
  if (!Item(reader, FieldKind::SubIdentLength, FieldKind::SubIdent) ||
      !Word(reader, FieldKind::SubParam1, value) || !Word(reader, FieldKind::SubParam2, value)) {
    return false;
  }
  Rest(reader, FieldKind::SubTail);
  return true;
}

}  // namespace inspect
