// quendril-inspect check

#include <array>
#include <memory>

#include <fmt/format.h>

#include "tools/Commands.h"
#include "tools/Console.h"
#include "tools/Findings.h"
#include "tools/Input.h"
#include "tools/JsonWriter.h"
#include "tools/Printable.h"
#include "tools/Progress.h"

namespace inspect {

namespace {

constexpr std::size_t kListed = 1000;

// Counts findings and passes on those that are to be listed.
class Tally {
 public:
  explicit Tally(bool isAll) : m_isAll(isAll) {}

  bool Note(Finding const& finding) {
    ++m_counts.at(static_cast<std::size_t>(finding.level));
    return m_isAll || ++m_total <= kListed;
  }
  std::size_t Of(Level level) const { return m_counts.at(static_cast<std::size_t>(level)); }
  std::size_t Omitted() const { return m_isAll || m_total <= kListed ? 0 : m_total - kListed; }
  ExitStatus Status() const {
    if (Of(Level::Damage) != 0) {
      return ExitStatus::Damaged;
    }
    return Of(Level::Loss) != 0 ? ExitStatus::Different : ExitStatus::Success;
  }

 private:
  bool const m_isAll;
  std::size_t m_total = 0;
  std::array<std::size_t, 3> m_counts{};
};

// A file to be checked, and how.
struct Job {
  Input const& input;
  CheckOptions const& check;
};

template <typename List>
void Check(Job const& job, Tally& tally, List const& list) {
  Input const& input = job.input;
  Progress progress("checking " + Printable(input.path), input.file.Count());
  FindAll(
      input.file, job.check.asksForContainers,
      [&](Finding const& finding) {
        if (tally.Note(finding)) {
          list(finding);
        }
      },
      [&progress](std::size_t number) { progress.Step(number); });
}

char const* ColorOfLevel(Level level) {
  switch (level) {
    case Level::Damage:
      return "\x1b[31m";
    case Level::Loss:
      return "\x1b[33m";
    default:
      return "\x1b[36m";
  }
}

std::string LineOf(Finding const& finding, bool hasColor) {
  std::string const record = finding.record ? fmt::format("record {}, ", *finding.record) : "";
  return fmt::format("{}{}{}: {}{}: {}\n", hasColor ? ColorOfLevel(finding.level) : "",
                     NameOf(finding.level), hasColor ? kColorEnd : "", record,
                     AtOffset(finding.offset), finding.text);
}

void TellEnd(Input const& input, Tally const& tally, TextOut& out) {
  if (tally.Omitted() != 0) {
    out.Write(fmt::format("... and {} more, which --all lists\n", Grouped(tally.Omitted())));
  }
  out.Write(fmt::format(
      "{}: {}, {}: {}, {} that the next save drops or changes, {}\n", Printable(input.path),
      Count(input.bytes.size(), "byte", "bytes"), Count(input.file.Count(), "record", "records"),
      Count(tally.Of(Level::Damage), "damage", "damages"), Grouped(tally.Of(Level::Loss)),
      Count(tally.Of(Level::Hint), "hint", "hints")));
  if (tally.Of(Level::Damage) != 0) {
    out.Write(
        "what to do: let no program save to this file, keep a copy of it, and take what can "
        "still be decoded with \"quendril-inspect salvage\"\n");
  }
}

void CheckAsText(Options const& options, Job const& job, Tally& tally) {
  TextOut out(stdout);
  bool const hasColor = HasColor(options);
  Check(job, tally, [&](Finding const& finding) { out.Write(LineOf(finding, hasColor)); });
  TellEnd(job.input, tally, out);
}

void CheckAsJson(Job const& job, Tally& tally) {
  Input const& input = job.input;
  JsonWriter json(stdout);
  json.BeginObject();
  json.Name("file", input.path);
  json.Number("size", input.bytes.size());
  json.Number("records", input.file.Count());
  json.BeginArray("findings");
  Check(job, tally, [&json](Finding const& finding) {
    json.BeginObject("", JsonWriter::Shape::Line);
    json.Text("level", NameOf(finding.level));
    json.Text("kind", finding.kind);
    if (finding.record) {
      json.Number("record", *finding.record);
    }
    json.Number("offset", finding.offset);
    json.Text("text", finding.text);
    json.End();
  });
  json.End();
  json.Number("omitted", tally.Omitted());
  json.Number("damage", tally.Of(Level::Damage));
  json.Number("loss", tally.Of(Level::Loss));
  json.Number("hint", tally.Of(Level::Hint));
  json.End();
}

}  // namespace

ExitStatus CheckFile(Options const& options, CheckOptions const& check) {
  Input const input(options);
  Job const job{input, check};
  Tally tally(check.isAll);
  if (options.isJson) {
    CheckAsJson(job, tally);
  } else {
    CheckAsText(options, job, tally);
  }
  return tally.Status();
}

}  // namespace inspect
