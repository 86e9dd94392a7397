#ifndef QUENDRIL_TOOLS_OPTIONS_H
#define QUENDRIL_TOOLS_OPTIONS_H

#include <optional>
#include <string>

namespace inspect {

// What the commands have in common.
struct Options {
  std::string file;     // Empty: the machine-wide catalogue.
  bool isJson = false;  // JSON instead of text.
  bool isLocked = true;
  std::string color = "auto";  // auto, always or never.
};

// Where a command writes something besides what it prints.
struct OutputOptions {
  std::string file;  // "-" or empty: the standard output, where the command allows it.
  bool mayOverwrite = false;
};

}  // namespace inspect

#endif
