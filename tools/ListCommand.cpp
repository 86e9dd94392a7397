// quendril-inspect list

#include <algorithm>

#include <fmt/format.h>

#include "tools/Commands.h"
#include "tools/Console.h"
#include "tools/Containers.h"
#include "tools/Input.h"
#include "tools/JsonWriter.h"
#include "tools/Printable.h"
#include "tools/Progress.h"
#include "tools/RecordJson.h"

namespace inspect {

namespace {

constexpr std::size_t kWidestPath = 60;
constexpr std::size_t kNarrowestPath = 20;
constexpr std::size_t kMeasured = 1000;  // Records that settle the width of the table.

std::size_t WidthOfPaths(RecordFile const& file) {
  std::size_t width = kNarrowestPath;
  for (std::size_t number = 0; number < std::min(file.Count(), kMeasured); ++number) {
    width = std::max(width, Printable(ReadContainer(file, number).path).size());
  }
  return std::min(width, kWidestPath);
}

std::string Row(ContainerView const& view, std::size_t number, std::size_t width) {
  if (!view.IsContainer()) {
    return fmt::format("{:>7}  DAMAGED: {}\n", number, Explain(*view.damage));
  }
  return fmt::format("{:>7}  {:<{}}  {:>10}  {:>7}  {:>7}  {:>11}  {}\n", number,
                     Printable(view.path), width, view.param, view.ident1.size(),
                     view.ident2.size(), view.subCount,
                     DoesContainerExist(view.Text()) ? "exists" : "gone");
}

void WriteJsonRow(JsonWriter& json, ContainerView const& view, std::size_t number) {
  json.BeginObject("", JsonWriter::Shape::Line);
  json.Number("record", number);
  if (view.IsContainer()) {
    json.Name("path", view.path);
    json.Number("param", view.param);
    json.Number("ident1Size", view.ident1.size());
    json.Number("ident2Size", view.ident2.size());
    json.Number("subRecords", view.subCount);
    json.Bool("exists", DoesContainerExist(view.Text()));
  } else {
    WriteDamage(json, *view.damage);
  }
  json.End();
}

// Calls for each record, and returns whether all are container records.
template <typename Take>
bool ForEachRecord(Input const& input, Take const& take) {
  Progress progress("listing " + Printable(input.path), input.file.Count());
  bool isSound = true;
  for (std::size_t number = 0; number < input.file.Count(); ++number) {
    progress.Step(number);
    ContainerView const view = ReadContainer(input.file, number);
    isSound = isSound && view.IsContainer();
    take(view, number);
  }
  return isSound;
}

bool ListAsText(Input const& input) {
  TextOut out(stdout);
  if (input.file.IsEmpty()) {
    out.Write("The file is empty: nothing was saved to this catalogue yet.\n");
    return true;
  }
  std::size_t const width = WidthOfPaths(input.file);
  out.Write(fmt::format("{:>7}  {:<{}}  {:>10}  {:>7}  {:>7}  {:>11}  {}\n", "record", "path",
                        width, "param", "ident 1", "ident 2", "sub-records", "container"));
  return ForEachRecord(input, [&](ContainerView const& view, std::size_t number) {
    out.Write(Row(view, number, width));
  });
}

bool ListAsJson(Input const& input) {
  JsonWriter json(stdout);
  json.BeginObject();
  json.Name("file", input.path);
  json.BeginArray("records");
  bool const isSound = ForEachRecord(input, [&](ContainerView const& view, std::size_t number) {
    WriteJsonRow(json, view, number);
  });
  json.End();
  if (input.file.damage) {
    WriteDamage(json, *input.file.damage);
  }
  json.End();
  return isSound;
}

}  // namespace

ExitStatus ListRecords(Options const& options) {
  Input const input(options);
  bool const isSound = options.isJson ? ListAsJson(input) : ListAsText(input);
  TellDamage(input);
  return isSound && !input.file.damage ? ExitStatus::Success : ExitStatus::Damaged;
}

}  // namespace inspect
