#include "tools/Findings.h"

#include <cstring>

#include <fmt/format.h>

#include "tools/Console.h"
#include "tools/Containers.h"
#include "tools/Printable.h"

namespace inspect {

namespace {

constexpr std::size_t kAddressable = 0xFFFFFFFF;

using Report = std::function<void(Finding const&)>;

void ReportHead(RecordFile const& file, Report const& report) {
  if (file.IsEmpty()) {
    report({Level::Hint, "empty-file", {}, 0, "the file is empty: nothing was saved to it yet"});
    return;
  }
  if (!file.hasHead) {
    return;
  }
  if (file.mark == 0) {
    report({Level::Hint,
            "never-cleaned",
            {},
            4,
            "the cleaned mark is 0: the next load drops the records of containers that are gone"});
  }
  if (file.bytes.size() > kAddressable) {
    report({Level::Damage,
            "too-large",
            {},
            kAddressable,
            "the file is larger than the 4 GiB that can be addressed in it"});
  }
}

// What the damage at which the records end is called.
char const* KindOf(RecordFile const& file) {
  if (!file.hasHead) {
    return file.bytes.size() < kHeadSize ? "header-words" : "header";
  }
  return file.damage->isBehindLength ? "record-past-end" : "trailing-bytes";
}

void ReportEnd(RecordFile const& file, Report const& report) {
  if (!file.damage) {
    return;
  }
  std::size_t const lost = file.bytes.size() - file.end;
  std::string const rest = file.hasHead ? fmt::format("; the {} from there on are no record",
                                                      Count(lost, "byte", "bytes"))
                                        : "; no record can be found";
  report({Level::Damage, KindOf(file), file.damage->record, file.hasHead ? file.end : 0,
          Explain(*file.damage) + rest});
}

// What the next save would not write as it is.
void ReportUnused(ContainerView const& view, Finding finding, Report const& report) {
  finding.level = Level::Loss;
  if (!view.tail.empty()) {
    finding.kind = "record-tail";
    finding.text = fmt::format("{} behind the last field, which the next save leaves out",
                               Count(view.tail.size(), "byte", "bytes"));
    report(finding);
  }
  if (view.subTails != 0) {
    finding.kind = "sub-record-tail";
    finding.text =
        fmt::format("{} behind the last fields of sub-records, which the next save leaves out",
                    Count(view.subTails, "byte", "bytes"));
    report(finding);
  }
  if (view.Text().size() != view.path.size()) {
    finding.kind = "zero-in-path";
    finding.text =
        fmt::format("the path holds a zero byte and counts as \"{}\"", Printable(view.Text()));
    report(finding);
  }
  if (view.emptySubs != 0) {
    finding.level = Level::Hint;
    finding.kind = "empty-sub-record";
    finding.text = fmt::format("{} of length 0, which count as default values",
                               Count(view.emptySubs, "sub-record", "sub-records"));
    report(finding);
  }
}

void ReportFate(ContainerView const& view, Fates& fates, Finding finding, Report const& report) {
  std::string const path = Printable(view.Text());
  finding.level = Level::Loss;
  switch (fates.Judge(view.Text())) {
    case Fate::EmptyPath:
      finding.kind = "empty-path";
      finding.text = "the path is empty; the next save drops the record";
      break;
    case Fate::Duplicate:
      finding.kind = "duplicate-path";
      finding.text = "an earlier record has the same path; the next save drops this one: " + path;
      break;
    case Fate::Missing:
      finding.kind = "stale-path";
      finding.text =
          "the container is gone, or not to be seen from here; the next save drops "
          "the record: " +
          path;
      break;
    case Fate::ReservedWord:
      finding.kind = "reserved-word";
      finding.text =
          "the path holds \"cur_pers\", \"usrguard\" or \".lck\"; the next save drops "
          "the record: " +
          path;
      break;
    default:
      if (std::strcmp(Normalised(view.Text()), ToPath(view.Text())) == 0) {
        return;
      }
      finding.level = Level::Hint;
      finding.kind = "not-normalised";
      finding.text = "the path is not in the form in which it would be found: " + path;
  }
  report(finding);
}

}  // namespace

char const* NameOf(Level level) {
  switch (level) {
    case Level::Damage:
      return "damage";
    case Level::Loss:
      return "loss";
    default:
      return "hint";
  }
}

void FindAll(RecordFile const& file, bool asksForContainers, Report const& report,
             Step const& step) {
  ReportHead(file, report);
  Fates fates(asksForContainers);
  for (std::size_t number = 0; number < file.Count(); ++number) {
    step(number);
    ContainerView const view = ReadContainer(file, number);
    Finding const finding{Level::Damage, "no-container", number, file.offsets[number], ""};
    if (view.IsContainer()) {
      ReportFate(view, fates, finding, report);
      ReportUnused(view, finding, report);
    } else {
      Finding damaged = finding;
      Damage what = *view.damage;
      what.record.reset();
      damaged.text =
          fmt::format("no container record: {}, {}", Explain(what), AtOffset(view.damage->offset));
      report(damaged);
    }
  }
  ReportEnd(file, report);
}

}  // namespace inspect
