// An example host: it carries the embedded base and uses the machine-wide catalogue.

#include <cstdio>
#include <exception>
#include <string>

#include "examples/AnnotatedDump.h"
#include "examples/Demonstration.h"
#include "examples/Listing.h"
#include "foundation/XTOOStatus.h"

namespace {

constexpr char kUsage[] =
    "usage: quendril-example-host                      shows the machine-wide catalogue at work, "
    "in a\n"
    "                                                  scratch folder\n"
    "       quendril-example-host CATALOGUE            lists a catalogue file; it is only read\n"
    "       quendril-example-host --dump CATALOGUE     prints it byte by byte\n"
    "       quendril-example-host --add FOLDER PATH    adds a container to the catalogue under "
    "FOLDER\n";

int Run(int count, char** arguments) {
  std::string const first = count > 1 ? arguments[1] : "";
  if (count == 1) {
    return Demonstrate();
  }
  if (count == 3 && first == "--dump") {
    return DumpFile(arguments[2]);
  }
  if (count == 4 && first == "--add") {
    return AddContainer(arguments[2], arguments[3]);
  }
  if (count == 2 && first.substr(0, 1) != "-") {
    return ListFile(first);
  }
  bool const isAsked = first == "--help" || first == "-h";
  std::fputs(kUsage, isAsked ? stdout : stderr);
  return isAsked ? 0 : 2;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    int const result = Run(count, arguments);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
      return result;
    }
    std::fputs("quendril-example-host: not all of the output could be written\n", stderr);
  } catch (XTOOStatus const& status) {
    std::fprintf(stderr, "quendril-example-host: %s (status %d)\n", status.ErrorMessage(),
                 status.Status());
  } catch (std::exception const& error) {
    std::fprintf(stderr, "quendril-example-host: %s\n", error.what());
  }
  return 1;
}
