// quendril-inspect dump

#include <fmt/format.h>

#include "tools/AnnotatedDump.h"
#include "tools/Commands.h"
#include "tools/Input.h"
#include "tools/JsonWriter.h"
#include "tools/Printable.h"
#include "tools/Progress.h"
#include "tools/RecordJson.h"

namespace inspect {

namespace {

class JsonFields : public FieldSink {
 public:
  explicit JsonFields(JsonWriter& json) : m_json(json) {}

  void Take(Field const& field) override {
    if (field.bytes.empty()) {
      return;
    }
    m_json.BeginObject("", JsonWriter::Shape::Line);
    m_json.Number("offset", field.offset);
    m_json.Number("length", field.bytes.size());
    m_json.Text("field", NameOf(field));
    if (field.record) {
      m_json.Number("record", *field.record);
    }
    if (field.subRecord) {
      m_json.Number("subRecord", *field.subRecord);
    }
    if (IsWord(field.kind)) {
      m_json.Number("value", field.value);
    } else if (field.kind == FieldKind::Path) {
      m_json.Name("value", field.bytes);
    }
    m_json.Hex("bytes", field.bytes);
    m_json.End();
  }

  void Take(Damage const& damage) override {
    m_json.BeginObject("", JsonWriter::Shape::Line);
    WriteDamage(m_json, damage);
    m_json.End();
    m_isDamaged = true;
  }

  bool IsDamaged() const { return m_isDamaged; }

 private:
  JsonWriter& m_json;
  bool m_isDamaged = false;
};

void Walk(Input const& input, std::optional<std::size_t> record, FieldSink& sink) {
  Progress progress("dumping " + Printable(input.path), input.file.Count());
  if (!record) {
    WalkFile(input.file, sink, [&progress](std::size_t number) { progress.Step(number); });
    return;
  }
  WalkRecord(input.file, *record, sink);
}

bool DumpAsText(Options const& options, Input const& input, std::optional<std::size_t> record) {
  TextOut out(stdout);
  AnnotatedDump dump(out, HasColor(options));
  if (input.file.IsEmpty()) {
    out.Write("The file is empty: nothing was saved to this catalogue yet.\n");
    return false;
  }
  dump.Heading();
  Walk(input, record, dump);
  return dump.IsDamaged();
}

bool DumpAsJson(Input const& input, std::optional<std::size_t> record) {
  JsonWriter json(stdout);
  json.BeginObject();
  json.Name("file", input.path);
  json.Number("size", input.bytes.size());
  json.BeginArray("fields");
  JsonFields fields(json);
  Walk(input, record, fields);
  json.End();
  json.End();
  return fields.IsDamaged();
}

}  // namespace

ExitStatus DumpFields(Options const& options, std::optional<std::size_t> record) {
  Input const input(options);
  if (record && *record >= input.file.Count()) {
    throw Failure(
        Printable(input.path), fmt::format("there is no record {}", *record),
        fmt::format("it has {} records; the first one's number is 0", input.file.Count()));
  }
  bool const isDamaged =
      options.isJson ? DumpAsJson(input, record) : DumpAsText(options, input, record);
  return isDamaged ? ExitStatus::Damaged : ExitStatus::Success;
}

}  // namespace inspect
