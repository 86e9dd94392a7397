// quendril-inspect watch

#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "tools/Commands.h"
#include "tools/Console.h"
#include "tools/Difference.h"
#include "tools/Input.h"
#include "tools/Interruption.h"
#include "tools/JsonWriter.h"
#include "tools/OutputFile.h"
#include "tools/Printable.h"
#include "tools/RecordJson.h"

namespace inspect {

namespace {

// What tells that a file may have changed.
struct Stamp {
  explicit Stamp(std::string const& path) {
    struct stat what {};
    if (::stat(path.c_str(), &what) == 0) {
      isThere = true;
      number = what.st_ino;
      size = what.st_size;
      written = Nanoseconds(what.st_mtim);
      changed = Nanoseconds(what.st_ctim);
      device = what.st_dev;
    }
  }
  bool operator==(Stamp const& other) const {
    return isThere == other.isThere && device == other.device && number == other.number &&
           size == other.size && written == other.written && changed == other.changed;
  }
  // Since 1970; what does not fit wraps, and is no other then.
  static std::uint64_t Nanoseconds(timespec const& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * 1000000000 +
           static_cast<std::uint64_t>(time.tv_nsec);
  }

  bool isThere = false;
  ino_t number = 0;
  off_t size = 0;
  dev_t device = 0;
  std::uint64_t written = 0;
  std::uint64_t changed = 0;  // By anything; no program can put this time back.
};

std::string Now() {
  return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(std::time(nullptr)));
}

void PrintAsText(Input const& after, Comparison const& comparison) {
  TextOut out(stdout);
  out.Write(fmt::format("{}  {}, {}\n", Now(), Count(after.bytes.size(), "byte", "bytes"),
                        Count(after.file.Count(), "record", "records")));
  for (std::string const& line : Describe(comparison)) {
    out.Write("  " + line + "\n");
  }
  if (after.file.damage) {
    out.Write(fmt::format("  ! damaged {}: {}\n", AtOffset(after.file.damage->offset),
                          Explain(*after.file.damage)));
  }
}

// One line for each change, so that a program can take them as they come.
void PrintAsJson(Input const& after, Comparison const& comparison) {
  JsonWriter json(stdout);
  json.BeginObject("", JsonWriter::Shape::Line);
  json.Text("time", Now());
  json.Number("size", after.bytes.size());
  WriteComparison(json, comparison);
  if (after.file.damage) {
    WriteDamage(json, *after.file.damage);
  }
  json.End();
}

class Watcher {
 public:
  Watcher(Options const& options, WatchOptions const& watch)
      : m_options(options),
        m_watch(watch),
        m_path(PathOf(options)),
        m_stamp(m_path),
        m_content(Read()) {}

  void Run() {
    for (std::size_t seen = 0; m_watch.count == 0 || seen < m_watch.count;) {
      if (m_interruption.Pause(m_watch.interval)) {
        return;
      }
      std::unique_ptr<Input> next = ReadIfChanged();
      if (next && next->bytes != m_content->bytes) {
        Print(*next);
        m_content = std::move(next);
        ++seen;
      }
    }
  }

 private:
  std::unique_ptr<Input> Read() {
    Interruption::EndsProcess const ends(m_interruption);
    return std::make_unique<Input>(m_path, ReadInput(m_path, m_options.isLocked));
  }

  // Null while nothing has changed, or a change may be half-way: a save empties the file and then
  // writes it, so what is empty or damaged must stay so for one more look.
  std::unique_ptr<Input> ReadIfChanged() {
    Stamp const stamp(m_path);
    if (stamp == m_stamp) {
      return nullptr;
    }
    std::unique_ptr<Input> next = stamp.isThere ? ReadUnlessGone() : NoContent();
    bool const isSuspect = next->file.IsEmpty() || next->file.damage;
    bool const isSettled = m_suspect && *m_suspect == stamp;
    m_suspect = stamp;
    if (isSuspect && !isSettled) {
      return nullptr;
    }
    m_stamp = stamp;
    return next;
  }

  std::unique_ptr<Input> NoContent() const { return std::make_unique<Input>(m_path, ""); }
  std::unique_ptr<Input> ReadUnlessGone() {
    try {
      return Read();
    } catch (Failure const&) {
      if (Stamp(m_path).isThere) {
        throw;
      }
      return NoContent();
    }
  }

  void Print(Input const& next) const {
    Comparison const comparison = Compare(m_content->file, next.file);
    if (m_options.isJson) {
      PrintAsJson(next, comparison);
    } else {
      PrintAsText(next, comparison);
    }
    FlushStandardOutput();
  }

  Options const& m_options;
  WatchOptions const& m_watch;
  Interruption const m_interruption;
  std::string const m_path;
  Stamp m_stamp;  // Of what was read last.
  std::optional<Stamp> m_suspect;
  std::unique_ptr<Input> m_content;
};

}  // namespace

ExitStatus WatchFile(Options const& options, WatchOptions const& watch) {
  Watcher(options, watch).Run();
  return ExitStatus::Success;
}

}  // namespace inspect
