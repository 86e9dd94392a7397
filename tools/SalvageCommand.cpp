// quendril-inspect salvage

#include <fmt/format.h>

#include "tools/Commands.h"
#include "tools/Console.h"
#include "tools/Input.h"
#include "tools/JsonWriter.h"
#include "tools/OutputFile.h"
#include "tools/Printable.h"
#include "tools/Progress.h"
#include "tools/Salvage.h"

namespace inspect {

namespace {

constexpr std::size_t kListed = 1000;

Salvage Work(Input const& input) {
  Progress progress("salvaging " + Printable(input.path), input.bytes.size());
  return SalvageRecords(input.bytes, [&progress](std::size_t offset) { progress.Step(offset); });
}

void ReportAsText(Salvage const& salvage, std::string const& output) {
  TextOut out(stdout);
  out.Write(fmt::format("{} taken", Count(salvage.taken, "record", "records")));
  if (salvage.mended != 0) {
    out.Write(fmt::format(", {} of them with a length that was made to fit", salvage.mended));
  }
  out.Write(
      fmt::format(", {} bytes written to {}\n", Grouped(salvage.bytes.size()), Printable(output)));
  if (salvage.isHeaderLost) {
    out.Write("the header's length is wrong: the new file has an empty header\n");
  }
  for (std::size_t i = 0; i < salvage.lost.size() && i < kListed; ++i) {
    Stretch const& lost = salvage.lost[i];
    out.Write(fmt::format("left out: {} {}\n", Count(lost.end - lost.begin, "byte", "bytes"),
                          AtOffset(lost.begin)));
  }
  if (salvage.lost.size() > kListed) {
    out.Write(fmt::format("... and {} more stretches\n", Grouped(salvage.lost.size() - kListed)));
  }
  if (salvage.isGivenUp) {
    out.Write("the last of them was not searched to its end: that would take too long\n");
  }
}

void ReportAsJson(Salvage const& salvage, std::string const& output) {
  JsonWriter json(stdout);
  json.BeginObject();
  json.Name("file", output);
  json.Number("size", salvage.bytes.size());
  json.Number("taken", salvage.taken);
  json.Number("mended", salvage.mended);
  json.Bool("headerLost", salvage.isHeaderLost);
  json.Bool("givenUp", salvage.isGivenUp);
  json.BeginArray("lost");
  for (Stretch const& lost : salvage.lost) {
    json.BeginObject("", JsonWriter::Shape::Line);
    json.Number("offset", lost.begin);
    json.Number("length", lost.end - lost.begin);
    json.End();
  }
  json.End();
  json.End();
}

}  // namespace

ExitStatus SalvageFile(Options const& options, OutputOptions const& output) {
  Input const input(options);
  RequireOther(input.path, output.file);
  Salvage const salvage = Work(input);
  if (salvage.taken == 0 && !salvage.IsWhole()) {
    throw Failure(Printable(input.path), "holds no record that can be decoded",
                  "look for an older copy; nothing was written");
  }
  if (salvage.bytes.empty()) {
    throw Failure(Printable(input.path), "is empty: there is nothing to salvage",
                  "look for an older copy; nothing was written");
  }
  WriteCatalogue(output, salvage.bytes, input.path, options.isLocked);
  if (options.isJson) {
    ReportAsJson(salvage, output.file);
  } else {
    ReportAsText(salvage, output.file);
  }
  return salvage.IsWhole() ? ExitStatus::Success : ExitStatus::Damaged;
}

}  // namespace inspect
