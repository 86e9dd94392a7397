// quendril-inspect: looks into catalogue files. A host of the library like any other.

#include <exception>
#include <functional>

#include <fmt/core.h>
#include <CLI/CLI.hpp>

#include "foundation/XTOOStatus.h"
#include "tools/Commands.h"
#include "tools/OutputFile.h"

namespace {

using inspect::ExitStatus;

// What the command line may hold, and the command that it chose.
struct CommandLine {
  inspect::Options options;
  inspect::OutputOptions output;
  inspect::WatchOptions watch;
  std::string argument;  // A path, another file, a JSON file.
  std::optional<std::size_t> record;
  inspect::CheckOptions check;
  std::function<ExitStatus()> run;
};

// An unset variable, say; without a file the machine-wide catalogue would be meant.
std::string RefuseNoName(std::string const& name) { return name.empty() ? "it has no name" : ""; }

CLI::App* AddCommand(CLI::App& app, CommandLine& line, char const* name, char const* description,
                     std::function<ExitStatus()> const& run) {
  CLI::App* const command = app.add_subcommand(name, description);
  command->add_flag("--json", line.options.isJson, "print JSON");
  command->add_flag_callback(
      "--no-lock", [&line] { line.options.isLocked = false; },
      "do not take the file's lock: for a copy that nobody else uses");
  command->callback([&line, run] { line.run = run; });
  return command;
}

void AddFile(CLI::App* command, CommandLine& line) {
  command->add_option("FILE", line.options.file, "the catalogue file; else the machine-wide one")
      ->check(&RefuseNoName);
}

void AddColor(CLI::App* command, CommandLine& line) {
  command->add_option("--color", line.options.color, "auto, always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}));
}

void AddOutput(CLI::App* command, CommandLine& line) {
  command->add_option("-o,--output", line.output.file, "write to this new file")
      ->check(&RefuseNoName);
  command->add_flag("--overwrite", line.output.mayOverwrite, "replace a file that is there");
}

void AddLooking(CLI::App& app, CommandLine& line) {
  AddFile(AddCommand(app, line, "list", "a table of the records",
                     [&line] { return ListRecords(line.options); }),
          line);
  CLI::App* const show = AddCommand(app, line, "show", "all about the record of a container",
                                    [&line] { return ShowRecords(line.options, line.argument); });
  show->add_option("PATH", line.argument, "the container's path")->required();
  AddFile(show, line);
  CLI::App* const dump = AddCommand(app, line, "dump", "every byte, with its meaning",
                                    [&line] { return DumpFields(line.options, line.record); });
  AddFile(dump, line);
  AddColor(dump, line);
  dump->add_option("--record", line.record, "only the record of this number");
  CLI::App* const check = AddCommand(app, line, "check", "what is wrong with the file",
                                     [&line] { return CheckFile(line.options, line.check); });
  AddFile(check, line);
  AddColor(check, line);
  check->add_flag("--all", line.check.isAll, "list all that is found, however much");
  check->add_flag_callback(
      "--no-containers", [&line] { line.check.asksForContainers = false; },
      "do not ask whether containers exist: for a file of another machine");
  AddFile(AddCommand(app, line, "stat", "counts and sizes",
                     [&line] { return ShowStatistics(line.options); }),
          line);
}

void AddComparing(CLI::App& app, CommandLine& line) {
  CLI::App* const diff = AddCommand(app, line, "diff", "what distinguishes two files", [&line] {
    return ShowDifferences(line.options, line.argument);
  });
  diff->add_option("A", line.options.file, "the one file")->required()->check(&RefuseNoName);
  diff->add_option("B", line.argument, "the other; else the machine-wide catalogue")
      ->check(&RefuseNoName);
  CLI::App* const watch = AddCommand(app, line, "watch", "print what changes, until interrupted",
                                     [&line] { return WatchFile(line.options, line.watch); });
  AddFile(watch, line);
  watch->add_option("--count", line.watch.count, "end after so many changes");
  watch->add_option("--interval", line.watch.interval, "milliseconds between two looks")
      ->check(CLI::Range(1, 3600000));
  AddFile(AddCommand(app, line, "locks", "who holds the file's lock",
                     [&line] { return ShowLocks(line.options); }),
          line);
}

void AddWriting(CLI::App& app, CommandLine& line) {
  CLI::App* const exporting = AddCommand(app, line, "export", "the file as JSON",
                                         [&line] { return ExportFile(line.options, line.output); });
  AddFile(exporting, line);
  AddOutput(exporting, line);
  CLI::App* const importing = AddCommand(app, line, "import", "a new file from such JSON", [&line] {
    return ImportFile(line.options, line.argument, line.output);
  });
  importing->add_option("JSON", line.argument, "what export wrote; - for standard input")
      ->required();
  importing->add_option("OUT", line.output.file, "the new catalogue file")
      ->required()
      ->check(&RefuseNoName);
  importing->add_flag("--overwrite", line.output.mayOverwrite, "replace a file that is there");
  CLI::App* const salvage =
      AddCommand(app, line, "salvage", "what can still be decoded, into a new file",
                 [&line] { return SalvageFile(line.options, line.output); });
  salvage->add_option("IN", line.options.file, "the damaged file; it is only read")
      ->required()
      ->check(&RefuseNoName);
  salvage->add_option("OUT", line.output.file, "the new catalogue file")
      ->required()
      ->check(&RefuseNoName);
  CLI::App* const map = AddCommand(app, line, "map", "a picture of the file, in SVG",
                                   [&line] { return DrawMap(line.options, line.output); });
  AddFile(map, line);
  AddOutput(map, line);
}

int Run(int count, char** arguments) {
  CommandLine line;
  CLI::App app("Looks into the catalogue files of key containers.", "quendril-inspect");
  app.require_subcommand(1);
  app.set_version_flag("--version", QUENDRIL_VERSION);
  AddLooking(app, line);
  AddComparing(app, line);
  AddWriting(app, line);
  try {
    app.parse(count, arguments);
  } catch (CLI::ParseError const& error) {
    int const status = app.exit(error);
    return status == 0 ? 0 : static_cast<int>(ExitStatus::Usage);
  }
  ExitStatus const status = line.run();
  inspect::FlushStandardOutput();
  return static_cast<int>(status);
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return Run(count, arguments);
  } catch (inspect::Failure const& failure) {
    fmt::print(stderr, "quendril-inspect: {}\n", failure.what());
    if (!failure.Advice().empty()) {
      fmt::print(stderr, "  what to do: {}\n", failure.Advice());
    }
  } catch (XTOOStatus const& status) {
    fmt::print(stderr, "quendril-inspect: {} (status {})\n", status.ErrorMessage(),
               status.Status());
  } catch (std::exception const& error) {
    fmt::print(stderr, "quendril-inspect: {}\n", error.what());
  }
  return static_cast<int>(ExitStatus::Failed);
}
