#include "tools/CatalogueJson.h"

#include <limits>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/ByteReader.h"
#include "tools/Failure.h"
#include "tools/Printable.h"
#include "tools/RecordJson.h"

namespace inspect {

namespace {

using Json = nlohmann::json;

constexpr char kFormat[] = "quendril-catalogue";
constexpr unsigned int kVersion = 1;
// How deep the members of a record stand in the document.
constexpr int kRecordDepth = 2;
constexpr char kAdvice[] = "\"quendril-inspect export\" writes what can be read here; change that";

// One JSON object, whose members must all be known.
class Members {
 public:
  Members(Json const& object, std::string where) : m_object(object), m_where(std::move(where)) {
    if (!object.is_object()) {
      throw Failure(m_where, "is not an object", kAdvice);
    }
  }

  bool Has(char const* name) const { return m_object.contains(name); }
  void RequireOnly(std::set<std::string> const& names) const {
    for (auto const& member : m_object.items()) {
      if (names.count(member.key()) == 0) {
        throw Failure(m_where, "has an unknown member " + Printable(member.key()), kAdvice);
      }
    }
  }

  std::size_t Number(char const* name) const {
    Json const& value = At(name);
    if (!value.is_number_unsigned() ||
        value.get<std::uint64_t>() > std::numeric_limits<std::uint32_t>::max()) {
      throw Bad(name, "must be a whole number from 0 to 4294967295");
    }
    return value.get<std::size_t>();
  }
  std::string Text(char const* name) const {
    Json const& value = At(name);
    if (!value.is_string()) {
      throw Bad(name, "must be a text");
    }
    return value.get<std::string>();
  }
  std::string Hex(char const* name) const {
    std::string bytes;
    if (!FromHex(Text(name), bytes)) {
      throw Bad(name, "must be hexadecimal digits, two for each byte");
    }
    return bytes;
  }
  std::string HexOrNothing(char const* name) const { return Has(name) ? Hex(name) : ""; }
  // The exact bytes where there are any, else the readable form.
  std::string Name(char const* name) const {
    std::string const exact = std::string(name) + "Hex";
    return Has(exact.c_str()) ? Hex(exact.c_str()) : Text(name);
  }
  Json const& Array(char const* name) const {
    Json const& value = At(name);
    if (!value.is_array()) {
      throw Bad(name, "must be an array");
    }
    return value;
  }

  // A length and the bytes.
  std::string Item(char const* name, std::string const& bytes) const {
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
      throw Bad(name, "does not fit into 32 bits");
    }
    return ToWord(bytes.size()) + bytes;
  }

 private:
  Json const& At(char const* name) const {
    if (!Has(name)) {
      throw Failure(m_where, fmt::format("has no member {}", name), kAdvice);
    }
    return m_object.at(name);
  }
  Failure Bad(char const* name, char const* why) const {
    return Failure(m_where + ": " + name, why, kAdvice);
  }

  Json const& m_object;
  std::string const m_where;
};

std::string SubRecordBytes(Json const& value, std::string const& where) {
  Members const sub(value, where);
  if (value.empty()) {
    return sub.Item("ident", "");
  }
  sub.RequireOnly({"ident", "param1", "param2", "tail"});
  std::string bytes = sub.Item("ident", sub.Hex("ident"));
  bytes += ToWord(sub.Number("param1"));
  bytes += ToWord(sub.Number("param2"));
  return sub.Item("ident", bytes + sub.HexOrNothing("tail"));
}

std::string RecordBytes(Json const& value, std::string const& where) {
  Members const record(value, where);
  if (record.Has("raw")) {
    record.RequireOnly({"raw"});
    return record.Item("raw", record.Hex("raw"));
  }
  record.RequireOnly({"path", "pathHex", "ident1", "ident2", "param", "subRecords", "tail"});
  std::string bytes = record.Item("path", record.Name("path"));
  bytes += record.Item("ident1", record.Hex("ident1"));
  bytes += record.Item("ident2", record.Hex("ident2"));
  bytes += ToWord(record.Number("param"));
  Json const& subRecords = record.Array("subRecords");
  bytes += ToWord(subRecords.size());
  for (std::size_t number = 0; number < subRecords.size(); ++number) {
    bytes += SubRecordBytes(subRecords[number], fmt::format("{}: sub-record {}", where, number));
  }
  return record.Item("record", bytes + record.HexOrNothing("tail"));
}

std::string HeadBytes(Members const& document) {
  std::string bytes;
  if (document.Has("reserved") || document.Has("mark") || document.Has("header")) {
    bytes += ToWord(document.Number("reserved"));
    bytes += ToWord(document.Number("mark"));
    bytes += document.Item("header", document.Hex("header"));
  }
  return bytes;
}

// Takes the records as they are read: all of them at once would take many times their size.
class RecordTaker {
 public:
  RecordTaker(std::string const& source, Step const& step) : m_source(source), m_step(step) {}

  bool operator()(int depth, Json::parse_event_t event, Json const& parsed) {
    RefuseDoubles(event, parsed);
    if (depth == kRecordDepth - 1 && event == Json::parse_event_t::key) {
      m_isRecords = parsed == "records";
    }
    bool const isRecord =
        m_isRecords && depth == kRecordDepth && event == Json::parse_event_t::object_end;
    if (isRecord) {
      if (m_step) {
        m_step(m_count);
      }
      m_bytes += RecordBytes(parsed, fmt::format("{}: record {}", m_source, m_count++));
    }
    return !isRecord;
  }

  std::size_t Count() const { return m_count; }
  std::string const& Bytes() const { return m_bytes; }

 private:
  // The parser would keep the last of two members of one name, and both of two lists of records.
  void RefuseDoubles(Json::parse_event_t event, Json const& parsed) {
    if (event == Json::parse_event_t::object_start) {
      m_open.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      m_open.pop_back();
    } else if (event == Json::parse_event_t::key) {
      std::string const name = parsed.get<std::string>();
      if (!m_open.back().insert(name).second) {
        throw Failure(m_source, "has two members " + Printable(name) + " in one object", kAdvice);
      }
    }
  }

  std::string const m_source;
  Step const& m_step;
  std::vector<std::set<std::string>> m_open;  // The members of the objects around.
  std::string m_bytes;
  std::size_t m_count = 0;
  bool m_isRecords = false;
};

void RequireKnown(Members const& document, std::string const& source) {
  if (document.Text("format") != kFormat || document.Number("version") != kVersion) {
    throw Failure(source, fmt::format("is not of the format {}, version {}", kFormat, kVersion),
                  kAdvice);
  }
  document.RequireOnly({"format", "version", "reserved", "mark", "header", "records", "rest"});
}

}  // namespace

void WriteCatalogueJson(RecordFile const& file, std::FILE* out, Step const& step) {
  JsonWriter json(out);
  json.BeginObject();
  json.Text("format", kFormat);
  json.Number("version", kVersion);
  if (file.hasHead) {
    json.Number("reserved", file.reserved);
    json.Number("mark", file.mark);
    json.Hex("header", file.header);
  }
  json.BeginArray("records");
  for (std::size_t number = 0; number < file.Count(); ++number) {
    if (step) {
      step(number);
    }
    json.BeginObject();
    WriteRecord(json, ReadContainer(file, number), file.Blob(number));
    json.End();
  }
  json.End();
  if (file.damage) {
    json.Hex("rest", file.bytes.substr(file.end));
  }
  json.End();
}

std::string ReadCatalogueJson(std::string const& json, std::string const& source,
                              Step const& step) {
  std::string const name = Printable(source);
  RecordTaker taker(name, step);
  try {
    Json const document = Json::parse(json, std::ref(taker));
    Members const members(document, name);
    RequireKnown(members, name);
    if (!members.Array("records").empty()) {
      throw Failure(name + ": records", "must be an array of objects", kAdvice);
    }
    std::string const head = HeadBytes(members);
    if (head.empty() && taker.Count() != 0) {
      throw Failure(name, "has records, but no reserved, mark and header", kAdvice);
    }
    return head + taker.Bytes() + members.HexOrNothing("rest");
  } catch (Json::exception const& error) {
    throw Failure(name, std::string("is not JSON: ") + error.what(), kAdvice);
  }
}

}  // namespace inspect
