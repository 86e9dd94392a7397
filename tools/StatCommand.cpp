// quendril-inspect stat

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "tools/Commands.h"
#include "tools/Console.h"
#include "tools/Input.h"
#include "tools/JsonWriter.h"
#include "tools/Printable.h"
#include "tools/Progress.h"

namespace inspect {

namespace {

constexpr std::size_t kGroups = 9;

// Counts the bytes of each sort of fields, and what the records are.
class Counter : public FieldSink {
 public:
  void Take(Field const& field) override {
    m_sizes.at(static_cast<std::size_t>(GroupOf(field.kind))) += field.bytes.size();
    m_subRecords += field.kind == FieldKind::SubLength ? 1 : 0;
  }
  void Take(Damage const& damage) override {
    static_cast<void>(damage);
    ++m_damages;
  }

  std::size_t SizeOf(FieldGroup group) const { return m_sizes.at(static_cast<std::size_t>(group)); }
  std::size_t SubRecords() const { return m_subRecords; }
  std::size_t Damages() const { return m_damages; }

 private:
  std::array<std::size_t, kGroups> m_sizes{};
  std::size_t m_subRecords = 0;
  std::size_t m_damages = 0;
};

struct Statistics {
  Counter counter;
  std::size_t containers = 0;
  std::size_t smallest = 0;
  std::size_t largest = 0;
};

Statistics CountAll(Input const& input) {
  Progress progress("counting " + Printable(input.path), input.file.Count());
  Statistics statistics;
  WalkFile(input.file, statistics.counter,
           [&progress](std::size_t number) { progress.Step(number); });
  for (std::size_t number = 0; number < input.file.Count(); ++number) {
    std::size_t const size = input.file.Blob(number).size();
    statistics.smallest = number == 0 ? size : std::min(statistics.smallest, size);
    statistics.largest = std::max(statistics.largest, size);
    statistics.containers += ReadContainer(input.file, number).IsContainer() ? 1 : 0;
  }
  return statistics;
}

std::string WrittenAt(std::string const& path) {
  struct stat what {};
  if (::stat(path.c_str(), &what) != 0) {
    return "unknown";
  }
  std::tm time{};
  if (::gmtime_r(&what.st_mtim.tv_sec, &time) == nullptr) {
    return fmt::format("{} seconds after 1970", what.st_mtim.tv_sec);
  }
  return fmt::format("{:%Y-%m-%d %H:%M:%S} UTC", time);
}

char const* ExplainMark(std::uint32_t mark) {
  return mark == 0 ? "never cleaned: the next load tests the records" : "cleaned";
}

void ShowAsText(Input const& input, Statistics const& statistics) {
  RecordFile const& file = input.file;
  TextOut out(stdout);
  auto const line = [&out](char const* name, std::string const& value) {
    out.Write(fmt::format("{:<26}{}\n", name, value));
  };
  line("file", Printable(input.path));
  line("last written", WrittenAt(input.path));
  line("size", Count(input.bytes.size(), "byte", "bytes"));
  if (file.hasHead) {
    line("first reserved word", std::to_string(file.reserved));
    line("cleaned mark", fmt::format("{} ({})", file.mark, ExplainMark(file.mark)));
    line("header", Count(file.header.size(), "byte", "bytes"));
  }
  line("records", Grouped(file.Count()));
  line("  container records", Grouped(statistics.containers));
  line("  sub-records in them", Grouped(statistics.counter.SubRecords()));
  line("  smallest, largest",
       fmt::format("{}, {} bytes", Grouped(statistics.smallest), Grouped(statistics.largest)));
  out.Write("bytes by what they are\n");
  for (std::size_t group = 0; group < kGroups; ++group) {
    auto const which = static_cast<FieldGroup>(group);
    line(fmt::format("  {}", NameOf(which)).c_str(), Grouped(statistics.counter.SizeOf(which)));
  }
  std::size_t const holes =
      statistics.counter.SizeOf(FieldGroup::Unused) + statistics.counter.SizeOf(FieldGroup::Damage);
  line("holes", holes == 0 ? "none: every byte belongs to a field"
                           : Count(holes, "byte belongs", "bytes belong") + " to no field");
}

void ShowAsJson(Input const& input, Statistics const& statistics) {
  RecordFile const& file = input.file;
  JsonWriter json(stdout);
  json.BeginObject();
  json.Name("file", input.path);
  json.Text("lastWritten", WrittenAt(input.path));
  json.Number("size", input.bytes.size());
  if (file.hasHead) {
    json.Number("reserved", file.reserved);
    json.Number("mark", file.mark);
    json.Number("headerSize", file.header.size());
  }
  json.Number("records", file.Count());
  json.Number("containers", statistics.containers);
  json.Number("subRecords", statistics.counter.SubRecords());
  json.Number("smallestRecord", statistics.smallest);
  json.Number("largestRecord", statistics.largest);
  json.Number("damages", statistics.counter.Damages());
  json.BeginObject("bytes");
  for (std::size_t group = 0; group < kGroups; ++group) {
    auto const which = static_cast<FieldGroup>(group);
    json.Number(NameOf(which), statistics.counter.SizeOf(which));
  }
  json.End();
  json.Number("holes", statistics.counter.SizeOf(FieldGroup::Unused) +
                           statistics.counter.SizeOf(FieldGroup::Damage));
  json.End();
}

}  // namespace

ExitStatus ShowStatistics(Options const& options) {
  Input const input(options);
  Statistics const statistics = CountAll(input);
  if (options.isJson) {
    ShowAsJson(input, statistics);
  } else {
    ShowAsText(input, statistics);
  }
  TellDamage(input);
  return statistics.counter.Damages() != 0 ? ExitStatus::Damaged : ExitStatus::Success;
}

}  // namespace inspect
