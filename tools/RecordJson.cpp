#include "tools/RecordJson.h"

namespace inspect {

namespace {

void WriteSubRecord(JsonWriter& json, SubView const& sub) {
  json.BeginObject("", JsonWriter::Shape::Line);
  if (!sub.isEmpty) {
    json.Hex("ident", sub.ident);
    json.Number("param1", sub.param1);
    json.Number("param2", sub.param2);
    if (!sub.tail.empty()) {
      json.Hex("tail", sub.tail);
    }
  }
  json.End();
}

}  // namespace

void WriteRecord(JsonWriter& json, ContainerView const& view, std::string_view blob) {
  if (!view.IsContainer()) {
    json.Hex("raw", blob);
    return;
  }
  json.Name("path", view.path);
  json.Hex("ident1", view.ident1);
  json.Hex("ident2", view.ident2);
  json.Number("param", view.param);
  json.BeginArray("subRecords");
  ForEachSubRecord(view, [&json](SubView const& sub) { WriteSubRecord(json, sub); });
  json.End();
  if (!view.tail.empty()) {
    json.Hex("tail", view.tail);
  }
}

void WriteDamage(JsonWriter& json, Damage const& damage) {
  json.BeginObject("damage", JsonWriter::Shape::Line);
  json.Text("text", Explain(damage));
  json.Number("offset", damage.offset);
  json.Number("wanted", damage.wanted);
  json.Number("there", damage.there);
  if (damage.record) {
    json.Number("record", *damage.record);
  }
  json.End();
}

}  // namespace inspect
