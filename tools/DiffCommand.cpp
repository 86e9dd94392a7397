// quendril-inspect diff

#include <fmt/format.h>

#include "tools/Commands.h"
#include "tools/Console.h"
#include "tools/Difference.h"
#include "tools/Input.h"
#include "tools/Printable.h"
#include "tools/Progress.h"

namespace inspect {

namespace {

void ShowAsJson(Input const& before, Input const& after, Comparison const& comparison) {
  JsonWriter json(stdout);
  json.BeginObject();
  json.Name("before", before.path);
  json.Name("after", after.path);
  json.Bool("same", comparison.IsSame());
  WriteComparison(json, comparison);
  json.End();
}

}  // namespace

ExitStatus ShowDifferences(Options const& options, std::string const& other) {
  Input const before(options);
  Options second = options;
  second.file = other;  // Empty: the machine-wide catalogue.
  Input const after(second);
  Comparison const comparison = [&] {
    Progress progress("comparing " + Printable(before.path) + " and " + Printable(after.path));
    return Compare(before.file, after.file,
                   [&progress](std::size_t number) { progress.Step(number); });
  }();
  if (options.isJson) {
    ShowAsJson(before, after, comparison);
  } else {
    TextOut out(stdout);
    for (std::string const& line : Describe(comparison)) {
      out.Write(line + "\n");
    }
  }
  TellDamage(before);
  TellDamage(after);
  if (before.file.damage || after.file.damage) {
    return ExitStatus::Damaged;
  }
  return comparison.IsSame() ? ExitStatus::Success : ExitStatus::Different;
}

}  // namespace inspect
