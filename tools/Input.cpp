#include "tools/Input.h"

#include <fmt/core.h>

#include "tools/Console.h"
#include "tools/Printable.h"

namespace inspect {

void TellDamage(Input const& input) {
  if (!input.file.damage) {
    return;
  }
  static_cast<void>(std::fflush(stdout));  // In the order in which things were found.
  fmt::print(stderr,
             "quendril-inspect: {}: damaged {}: {}\n"
             "  what to do: keep a copy, then \"quendril-inspect salvage\" takes what can still be "
             "decoded into a new file\n",
             Printable(input.path), AtOffset(input.file.damage->offset),
             Explain(*input.file.damage));
}

}  // namespace inspect
