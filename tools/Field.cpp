#include "tools/Field.h"

#include <array>

#include <fmt/format.h>

namespace inspect {

namespace {

struct KindInfo {
  char const* name;  // %: the number of the sub-record.
  FieldGroup group;
  int depth;
  bool isWord;
};

// In the order of FieldKind.
constexpr std::array<KindInfo, 22> kKinds{{
    {"first reserved word", FieldGroup::HeaderWord, 0, true},
    {"cleaned mark", FieldGroup::HeaderWord, 0, true},
    {"header length", FieldGroup::HeaderWord, 0, true},
    {"header", FieldGroup::Header, 1, false},
    {"record % length", FieldGroup::Length, 0, true},
    {"path length", FieldGroup::Length, 1, true},
    {"path", FieldGroup::Path, 2, false},
    {"ident 1 length", FieldGroup::Length, 1, true},
    {"ident 1", FieldGroup::Ident, 2, false},
    {"ident 2 length", FieldGroup::Length, 1, true},
    {"ident 2", FieldGroup::Ident, 2, false},
    {"param", FieldGroup::Param, 1, true},
    {"sub-records", FieldGroup::Param, 1, true},
    {"sub-record % length", FieldGroup::Length, 1, true},
    {"ident length", FieldGroup::Length, 2, true},
    {"ident", FieldGroup::SubRecord, 3, false},
    {"param 1", FieldGroup::SubRecord, 2, true},
    {"param 2", FieldGroup::SubRecord, 2, true},
    {"behind the sub-record's last field", FieldGroup::Unused, 2, false},
    {"behind the record's last field", FieldGroup::Unused, 1, false},
    {"cut", FieldGroup::Damage, 1, false},
    {"rest", FieldGroup::Damage, 1, false},
}};
static_assert(kKinds.size() == static_cast<std::size_t>(FieldKind::Rest) + 1);

KindInfo const& InfoOf(FieldKind kind) { return kKinds.at(static_cast<std::size_t>(kind)); }

std::string NameOf(FieldKind kind, std::optional<std::size_t> record,
                   std::optional<std::size_t> subRecord) {
  std::string name = InfoOf(kind).name;
  std::size_t const place = name.find('%');
  if (place != std::string::npos) {
    name.replace(place, 1, std::to_string((subRecord ? subRecord : record).value_or(0)));
  }
  return name;
}

}  // namespace

FieldGroup GroupOf(FieldKind kind) { return InfoOf(kind).group; }

char const* NameOf(FieldGroup group) {
  constexpr std::array<char const*, 9> kNames{"header words", "header", "lengths",
                                              "path",         "idents", "param, sub-record count",
                                              "sub-records",  "unused", "damage"};
  return kNames.at(static_cast<std::size_t>(group));
}

bool IsWord(FieldKind kind) { return InfoOf(kind).isWord; }

std::string NameOf(Field const& field) {
  if (field.kind == FieldKind::Rest && field.record) {
    return fmt::format("rest of record {}", *field.record);
  }
  return NameOf(field.kind, field.record, field.subRecord);
}

int DepthOf(FieldKind kind) { return InfoOf(kind).depth; }

std::string Explain(Damage const& damage) {
  std::string where;
  if (damage.record && damage.field != FieldKind::RecordLength) {
    where = fmt::format("record {}: ", *damage.record);
  }
  if (damage.subRecord && damage.field != FieldKind::SubLength) {
    where += fmt::format("sub-record {}: ", *damage.subRecord);
  }
  std::string name = NameOf(damage.field, damage.record, damage.subRecord);
  if (damage.isBehindLength) {
    name.erase(name.rfind(" length"));
  }
  return fmt::format("{}{}: {} bytes should stand here, {} do", where, name, damage.wanted,
                     damage.there);
}

}  // namespace inspect
