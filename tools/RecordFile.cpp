#include "tools/RecordFile.h"

#include "tools/ByteReader.h"
#include "tools/FieldWalk.h"

namespace inspect {

namespace {

class HeadSink : public FieldSink {
 public:
  explicit HeadSink(RecordFile& file) : m_file(file) {}

  void Take(Field const& field) override {
    if (field.kind == FieldKind::ReservedWord) {
      m_file.reserved = field.value;
    } else if (field.kind == FieldKind::CleanedMark) {
      m_file.mark = field.value;
    } else if (field.kind == FieldKind::Header) {
      m_file.header = field.bytes;
      m_file.end = field.offset + field.bytes.size();
    }
  }
  void Take(Damage const& damage) override { m_file.damage = damage; }

 private:
  RecordFile& m_file;
};

class ContainerSink : public FieldSink {
 public:
  ContainerSink(ContainerView& view, std::string_view file) : m_view(view), m_file(file) {}

  void Take(Field const& field) override {
    switch (field.kind) {
      case FieldKind::Path:
        m_view.path = field.bytes;
        break;
      case FieldKind::Ident1:
        m_view.ident1 = field.bytes;
        break;
      case FieldKind::Ident2:
        m_view.ident2 = field.bytes;
        break;
      case FieldKind::Param:
        m_view.param = field.value;
        break;
      case FieldKind::RecordTail:
        m_view.tail = field.bytes;
        break;
      default:
        TakeOfSubRecords(field);
    }
  }
  void Take(Damage const& damage) override { m_view.damage = damage; }

 private:
  void TakeOfSubRecords(Field const& field) {
    if (field.kind == FieldKind::SubCount) {
      m_view.subCount = field.value;
      m_begin = field.offset + kWordSize;
    } else if (field.kind == FieldKind::SubTail) {
      m_view.subTails += field.bytes.size();
    } else if (field.kind == FieldKind::SubLength && field.value == 0) {
      ++m_view.emptySubs;
    }
    if (field.subRecord) {
      m_view.subRecords = m_file.substr(m_begin, field.offset + field.bytes.size() - m_begin);
    }
  }

  ContainerView& m_view;
  std::string_view m_file;
  std::size_t m_begin = 0;
};

// The record at `file.end`, if all of it is there; otherwise the damage.
bool TakeRecord(RecordFile& file) {
  ByteReader reader(file.bytes, file.end, file.bytes.size());
  Damage damage;
  damage.field = FieldKind::RecordLength;
  damage.record = file.Count();
  damage.offset = reader.Position();
  damage.there = reader.Remaining();
  damage.wanted = kWordSize;
  if (reader.HasWord()) {
    std::uint32_t const length = reader.TakeWord();
    if (length <= reader.Remaining()) {
      file.offsets.push_back(file.end);
      file.end = reader.Position() + length;
      return true;
    }
    damage.offset = reader.Position();
    damage.there = reader.Remaining();
    damage.wanted = length;
    damage.isBehindLength = true;
  }
  file.damage = damage;
  return false;
}

}  // namespace

std::string_view RecordFile::Blob(std::size_t number) const {
  std::size_t const begin = offsets[number] + kWordSize;
  std::size_t const next = number + 1 < offsets.size() ? offsets[number + 1] : end;
  return bytes.substr(begin, next - begin);
}

RecordFile ParseFile(std::string_view bytes) {
  RecordFile file;
  file.bytes = bytes;
  if (bytes.empty()) {
    return file;
  }
  HeadSink sink(file);
  file.hasHead = FieldWalk(bytes, sink).Head();
  while (file.hasHead && file.end < bytes.size() && TakeRecord(file)) {
  }
  return file;
}

ContainerView ReadContainer(std::string_view file, std::size_t number, std::size_t begin,
                            std::size_t end) {
  ContainerView view;
  ContainerSink sink(view, file);
  FieldWalk(file, sink).Container(number, begin, end);
  return view;
}

ContainerView ReadContainer(RecordFile const& file, std::size_t number) {
  std::size_t const begin = file.offsets[number] + kWordSize;
  return ReadContainer(file.bytes, number, begin, begin + file.Blob(number).size());
}

void ForEachSubRecord(ContainerView const& view, std::function<void(SubView const&)> const& take) {
  ByteReader reader(view.subRecords, 0, view.subRecords.size());
  for (std::uint32_t number = 0; number < view.subCount; ++number) {
    std::string_view const blob = reader.Take(reader.TakeWord());
    SubView sub;
    sub.isEmpty = blob.empty();
    if (!blob.empty()) {
      ByteReader fields(blob, 0, blob.size());
      sub.ident = fields.Take(fields.TakeWord());
      sub.param1 = fields.TakeWord();
      sub.param2 = fields.TakeWord();
      sub.tail = fields.Take(fields.Remaining());
    }
    take(sub);
  }
}

void WalkHead(RecordFile const& file, FieldSink& sink) {
  static_cast<void>(FieldWalk(file.bytes, sink).Head());  // Known: hasHead.
}

void WalkRecord(RecordFile const& file, std::size_t number, FieldSink& sink) {
  FieldWalk(file.bytes, sink).Record(number, file.offsets[number]);
}

void WalkFile(RecordFile const& file, FieldSink& sink, Step const& step) {
  if (file.IsEmpty()) {
    return;
  }
  WalkHead(file, sink);
  for (std::size_t number = 0; number < file.Count(); ++number) {
    if (step) {
      step(number);
    }
    WalkRecord(file, number, sink);
  }
  if (file.hasHead && file.damage) {
    FieldWalk(file.bytes, sink).Record(file.Count(), file.end);
  }
}

}  // namespace inspect
