#ifndef QUENDRIL_TOOLS_COMMANDS_H
#define QUENDRIL_TOOLS_COMMANDS_H

#include <cstddef>
#include <optional>
#include <string>

#include "tools/Failure.h"
#include "tools/Options.h"

// The commands of quendril-inspect. Each does its work, writes to the standard output and returns
// how the program is to end; what cannot be done is a Failure.
namespace inspect {

// A table of the records.
ExitStatus ListRecords(Options const& options);

// All about the records with this path: those that have exactly this one, or else the one that the
// catalogue would find.
ExitStatus ShowRecords(Options const& options, std::string const& path);

// Every byte of the file, or of one record, with its meaning.
ExitStatus DumpFields(Options const& options, std::optional<std::size_t> record);

// What is wrong with the file.
struct CheckOptions {
  bool isAll = false;  // Otherwise what is found too often is counted only.
  bool asksForContainers = true;
};
ExitStatus CheckFile(Options const& options, CheckOptions const& check);

// Counts and sizes.
ExitStatus ShowStatistics(Options const& options);

// What the file in the options lacks, and has, in comparison with another one.
ExitStatus ShowDifferences(Options const& options, std::string const& other);

// The file as JSON that ImportFile makes the same bytes of.
ExitStatus ExportFile(Options const& options, OutputOptions const& output);
ExitStatus ImportFile(Options const& options, std::string const& json, OutputOptions const& output);

// Every record that can still be decoded, into a new file.
ExitStatus SalvageFile(Options const& options, OutputOptions const& output);

struct WatchOptions {
  std::size_t count = 0;        // Changes to wait for; 0: until a signal ends it.
  unsigned int interval = 200;  // Milliseconds between two looks.
};
ExitStatus WatchFile(Options const& options, WatchOptions const& watch);

// Who holds the file's lock.
ExitStatus ShowLocks(Options const& options);

// A picture of the file, in SVG.
ExitStatus DrawMap(Options const& options, OutputOptions const& output);

}  // namespace inspect

#endif
