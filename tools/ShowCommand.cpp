// quendril-inspect show

#include <vector>

#include <fmt/format.h>

#include "tools/Commands.h"
#include "tools/Console.h"
#include "tools/Containers.h"
#include "tools/Input.h"
#include "tools/JsonWriter.h"
#include "tools/Printable.h"
#include "tools/RecordJson.h"

namespace inspect {

namespace {

// The records with exactly this path, else the first that the catalogue takes for it.
std::vector<std::size_t> FindRecords(RecordFile const& file, std::string const& path) {
  CTOOString const normalised = Normalised(path);
  std::vector<std::size_t> exact;
  std::vector<std::size_t> alike;
  for (std::size_t number = 0; number < file.Count(); ++number) {
    ContainerView const view = ReadContainer(file, number);
    if (!view.IsContainer()) {
      continue;
    }
    if (view.path == path) {
      exact.push_back(number);
    } else if (alike.empty() && ToPath(view.Text()).CollateNoCase(normalised) == 0) {
      alike.push_back(number);
    }
  }
  return exact.empty() ? alike : exact;
}

char const* Explain(Fate fate) {
  switch (fate) {
    case Fate::Missing:
      return "gone; the next save drops the record";
    case Fate::ReservedWord:
      return "exists; the next save drops the record, for a word in its path";
    case Fate::EmptyPath:
      return "none; the next save drops the record, for its empty path";
    default:
      return "exists";
  }
}

std::string Blob(std::string_view bytes) {
  std::string const text = bytes.empty() ? "" : "  " + ToHex(bytes);
  return Count(bytes.size(), "byte", "bytes") + text;
}

void ShowAsText(Input const& input, std::size_t number) {
  ContainerView const view = ReadContainer(input.file, number);
  TextOut out(stdout);
  out.Write(fmt::format("path        {}\n", Printable(view.path)));
  out.Write(fmt::format("record      {}, {} {}\n", number,
                        Count(input.file.Blob(number).size(), "byte", "bytes"),
                        AtOffset(input.file.offsets[number])));
  out.Write(fmt::format("container   {}\n", Explain(Fates().Judge(view.Text()))));
  out.Write(fmt::format("param       {0} ({0:#x})\n", view.param));
  out.Write(fmt::format("ident 1     {}\n", Blob(view.ident1)));
  out.Write(fmt::format("ident 2     {}\n", Blob(view.ident2)));
  out.Write(fmt::format("sub-records {}\n", view.subCount));
  std::size_t index = 0;
  ForEachSubRecord(view, [&](SubView const& sub) {
    out.Write(fmt::format("  {}  param 1 {}, param 2 {}, ident {}{}\n", index++, sub.param1,
                          sub.param2, Blob(sub.ident),
                          sub.isEmpty ? " (of length 0: default values)" : ""));
  });
  if (!view.tail.empty()) {
    out.Write(fmt::format("unused      {}\n", Blob(view.tail)));
  }
}

void ShowAsJson(Input const& input, std::vector<std::size_t> const& numbers) {
  JsonWriter json(stdout);
  json.BeginObject();
  json.Name("file", input.path);
  json.BeginArray("records");
  for (std::size_t const number : numbers) {
    ContainerView const view = ReadContainer(input.file, number);
    json.BeginObject();
    json.Number("record", number);
    json.Number("offset", input.file.offsets[number]);
    json.Bool("exists", DoesContainerExist(view.Text()));
    WriteRecord(json, view, input.file.Blob(number));
    json.End();
  }
  json.End();
  json.End();
}

}  // namespace

ExitStatus ShowRecords(Options const& options, std::string const& path) {
  Input const input(options);
  std::vector<std::size_t> const numbers = FindRecords(input.file, path);
  if (options.isJson) {
    ShowAsJson(input, numbers);
  } else {
    for (std::size_t const number : numbers) {
      ShowAsText(input, number);
    }
  }
  TellDamage(input);
  if (numbers.empty()) {
    fmt::print(stderr,
               "quendril-inspect: {}: there is no record of {}\n"
               "  what to do: \"quendril-inspect list\" shows the paths that there are\n",
               Printable(input.path), Printable(path));
  }
  if (input.file.damage) {
    return ExitStatus::Damaged;
  }
  return numbers.empty() ? ExitStatus::Different : ExitStatus::Success;
}

}  // namespace inspect
