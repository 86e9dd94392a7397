// quendril-inspect map

#include "tools/Commands.h"
#include "tools/Input.h"
#include "tools/JsonWriter.h"
#include "tools/MapPicture.h"
#include "tools/OutputFile.h"
#include "tools/Printable.h"
#include "tools/Progress.h"

namespace inspect {

ExitStatus DrawMap(Options const& options, OutputOptions const& output) {
  Input const input(options);
  RequireOther(input.path, output.file);
  bool const isFile = !output.file.empty() && output.file != "-";
  if (options.isJson && !isFile) {
    throw Failure("map", "has a picture for the standard output and cannot write JSON there too",
                  "give the picture a file with -o");
  }
  bool isDamaged = false;
  {
    Progress progress("drawing " + Printable(input.path), input.file.Count());
    WriteOutput(output, [&](std::FILE* out) {
      isDamaged = DrawPicture(input.file, Printable(input.path), out,
                              [&progress](std::size_t number) { progress.Step(number); });
    });
  }
  if (options.isJson) {
    JsonWriter json(stdout);
    json.BeginObject();
    json.Name("file", input.path);
    json.Name("picture", output.file);
    json.Bool("damaged", isDamaged);
    json.End();
  }
  TellDamage(input);
  return isDamaged ? ExitStatus::Damaged : ExitStatus::Success;
}

}  // namespace inspect
