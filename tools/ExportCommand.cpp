// quendril-inspect export and import

#include <fmt/format.h>

#include "tools/CatalogueJson.h"
#include "tools/Commands.h"
#include "tools/Console.h"
#include "tools/Input.h"
#include "tools/JsonWriter.h"
#include "tools/OutputFile.h"
#include "tools/Printable.h"
#include "tools/Progress.h"

namespace inspect {

ExitStatus ExportFile(Options const& options, OutputOptions const& output) {
  Input const input(options);
  RequireOther(input.path, output.file);
  {
    Progress progress("exporting " + Printable(input.path), input.file.Count());
    WriteOutput(output, [&](std::FILE* out) {
      WriteCatalogueJson(input.file, out,
                         [&progress](std::size_t number) { progress.Step(number); });
    });
  }
  TellDamage(input);
  return input.file.damage ? ExitStatus::Damaged : ExitStatus::Success;
}

ExitStatus ImportFile(Options const& options, std::string const& json,
                      OutputOptions const& output) {
  RequireOther(json, output.file);
  Progress progress("importing records of " + Printable(json));
  Input const result(output.file,
                     ReadCatalogueJson(ReadText(json), json,
                                       [&progress](std::size_t number) { progress.Step(number); }));
  WriteCatalogue(output, result.bytes, "", options.isLocked);
  if (options.isJson) {
    JsonWriter writer(stdout);
    writer.BeginObject();
    writer.Name("file", output.file);
    writer.Number("size", result.bytes.size());
    writer.Number("records", result.file.Count());
    writer.End();
  } else {
    fmt::print("{}: {}, {}\n", Printable(output.file), Count(result.bytes.size(), "byte", "bytes"),
               Count(result.file.Count(), "record", "records"));
  }
  TellDamage(result);
  return result.file.damage ? ExitStatus::Damaged : ExitStatus::Success;
}

}  // namespace inspect
