#include "tools/Difference.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include <fmt/format.h>

#include "tools/Console.h"
#include "tools/Printable.h"
#include "tools/RecordJson.h"

namespace inspect {

namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// The records of a file by what they are called: a queue, in file order, for each name.
class Names {
 public:
  explicit Names(RecordFile const& file) : m_next(file.Count(), kNone) {
    for (std::size_t number = file.Count(); number-- > 0;) {
      auto const place = TableOf(file, number).emplace(NameOf(file, number), kNone).first;
      m_next[number] = place->second;
      place->second = number;
    }
  }

  // The next record of the same name as that one; kNone when there is none left.
  std::size_t Take(RecordFile const& file, std::size_t number) {
    Table& table = TableOf(file, number);
    auto const place = table.find(NameOf(file, number));
    if (place == table.end() || place->second == kNone) {
      return kNone;
    }
    std::size_t const taken = place->second;
    place->second = m_next[taken];
    return taken;
  }

 private:
  using Table = std::unordered_map<std::string_view, std::size_t>;

  Table& TableOf(RecordFile const& file, std::size_t number) {
    return ReadContainer(file, number).IsContainer() ? m_containers : m_others;
  }
  static std::string_view NameOf(RecordFile const& file, std::size_t number) {
    ContainerView const view = ReadContainer(file, number);
    return view.IsContainer() ? view.path : file.Blob(number);
  }

  Table m_containers;
  Table m_others;
  std::vector<std::size_t> m_next;
};

std::string TitleOf(RecordFile const& file, std::size_t number) {
  ContainerView const view = ReadContainer(file, number);
  if (view.IsContainer()) {
    return view.path.empty() ? "(empty path)" : Printable(view.path);
  }
  return fmt::format("record {}, no container record, {}", number,
                     Count(file.Blob(number).size(), "byte", "bytes"));
}

std::string BlobChange(char const* name, std::string_view before, std::string_view after) {
  if (before == after) {
    return "";
  }
  return fmt::format(", {} {} {} -> {} {}", name, Count(before.size(), "byte", "bytes"),
                     ToShortHex(before), Count(after.size(), "byte", "bytes"), ToShortHex(after));
}

std::string SubRecordChange(ContainerView const& before, ContainerView const& after) {
  if (before.subRecords == after.subRecords) {
    return "";
  }
  if (before.subCount != after.subCount) {
    return fmt::format(", sub-records {} -> {}", before.subCount, after.subCount);
  }
  return ", other content of sub-records";
}

std::string ChangeOf(Comparison const& comparison, Difference const& difference) {
  ContainerView const before = ReadContainer(comparison.before, *difference.before);
  ContainerView const after = ReadContainer(comparison.after, *difference.after);
  std::string changes;
  if (before.param != after.param) {
    changes += fmt::format(", param {} -> {}", before.param, after.param);
  }
  changes += BlobChange("ident 1", before.ident1, after.ident1);
  changes += BlobChange("ident 2", before.ident2, after.ident2);
  changes += SubRecordChange(before, after);
  changes += BlobChange("unused", before.tail, after.tail);
  return changes.substr(std::min<std::size_t>(2, changes.size()));
}

std::string LineOf(Comparison const& comparison, Difference const& difference) {
  if (!difference.after) {
    return "- " + TitleOf(comparison.before, *difference.before);
  }
  std::string const title = TitleOf(comparison.after, *difference.after);
  if (!difference.before) {
    return "+ " + title;
  }
  return "~ " + title + ": " + ChangeOf(comparison, difference);
}

std::string_view RestOf(RecordFile const& file) {
  return file.damage ? file.bytes.substr(file.end) : std::string_view();
}

std::vector<std::string> DescribeHeads(RecordFile const& before, RecordFile const& after) {
  if (before.hasHead != after.hasHead) {
    return {after.hasHead ? "~ the file has header words now"
                          : "~ the file has no header words any more"};
  }
  std::vector<std::string> lines;
  if (before.reserved != after.reserved) {
    lines.push_back(fmt::format("~ first reserved word {} -> {}", before.reserved, after.reserved));
  }
  if (before.mark != after.mark) {
    lines.push_back(fmt::format("~ cleaned mark {} -> {}", before.mark, after.mark));
  }
  if (before.header != after.header) {
    lines.push_back("~ " + BlobChange("header", before.header, after.header).substr(2));
  }
  return lines;
}

void WriteSide(JsonWriter& json, char const* key, RecordFile const& file,
               std::optional<std::size_t> number) {
  if (number) {
    json.BeginObject(key);
    json.Number("record", *number);
    WriteRecord(json, ReadContainer(file, *number), file.Blob(*number));
    json.End();
  }
}

void WriteHead(JsonWriter& json, char const* key, RecordFile const& file) {
  json.BeginObject(key, JsonWriter::Shape::Line);
  if (file.hasHead) {
    json.Number("reserved", file.reserved);
    json.Number("mark", file.mark);
    json.Hex("header", file.header);
  }
  json.End();
}

}  // namespace

Comparison Compare(RecordFile const& before, RecordFile const& after, Step const& step) {
  Comparison comparison{before, after, {}, false, RestOf(before) != RestOf(after)};
  Names names(before);
  std::vector<bool> isKept(before.Count());
  std::vector<Difference> found;
  std::size_t latest = 0;
  for (std::size_t number = 0; number < after.Count(); ++number) {
    if (step) {
      step(number);
    }
    std::size_t const partner = names.Take(after, number);
    if (partner == kNone) {
      found.push_back({std::nullopt, number});
      continue;
    }
    isKept[partner] = true;
    comparison.isReordered = comparison.isReordered || partner < latest;
    latest = partner;
    if (before.Blob(partner) != after.Blob(number)) {
      found.push_back({partner, number});
    }
  }
  for (std::size_t number = 0; number < before.Count(); ++number) {
    if (!isKept[number]) {
      comparison.records.push_back({number, std::nullopt});
    }
  }
  comparison.records.insert(comparison.records.end(), found.begin(), found.end());
  return comparison;
}

std::vector<std::string> Describe(Comparison const& comparison) {
  std::vector<std::string> lines = DescribeHeads(comparison.before, comparison.after);
  for (Difference const& difference : comparison.records) {
    lines.push_back(LineOf(comparison, difference));
  }
  if (comparison.isReordered) {
    lines.emplace_back("~ records that both have stand in another order");
  }
  if (comparison.isRestDifferent) {
    lines.push_back(fmt::format("~ behind the last whole record: {} -> {}",
                                Count(RestOf(comparison.before).size(), "byte", "bytes"),
                                Count(RestOf(comparison.after).size(), "byte", "bytes")));
  }
  return lines;
}

void WriteComparison(JsonWriter& json, Comparison const& comparison) {
  WriteHead(json, "headBefore", comparison.before);
  WriteHead(json, "headAfter", comparison.after);
  json.BeginArray("records");
  for (Difference const& difference : comparison.records) {
    json.BeginObject();
    json.Text("change", !difference.after ? "removed" : !difference.before ? "added" : "changed");
    WriteSide(json, "before", comparison.before, difference.before);
    WriteSide(json, "after", comparison.after, difference.after);
    json.End();
  }
  json.End();
  json.Bool("reordered", comparison.isReordered);
  json.Bool("restDiffers", comparison.isRestDifferent);
}

}  // namespace inspect
