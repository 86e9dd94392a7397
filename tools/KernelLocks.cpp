#include "tools/KernelLocks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

#include <fmt/format.h>

#include "tools/Failure.h"
#include "tools/Printable.h"

namespace inspect {

namespace {

namespace fs = std::filesystem;

constexpr char kWaitsMark[] = "->";

std::string ContentOf(fs::path const& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// The entries of a folder of /proc; none when it is gone or not for this user.
std::vector<fs::path> EntriesOf(fs::path const& folder) {
  std::vector<fs::path> entries;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    entries.push_back(entry->path());
  }
  return entries;
}

bool IsNumber(fs::path const& name) {
  std::string const text = name.filename().string();
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [](unsigned char c) { return std::isdigit(c) != 0; });
}

std::string CommandOf(fs::path const& process) {
  std::string command = ContentOf(process / "cmdline");
  if (command.empty()) {
    command = ContentOf(process / "comm");
  }
  while (!command.empty() && (command.back() == '\0' || command.back() == '\n')) {
    command.pop_back();
  }
  std::replace(command.begin(), command.end(), '\0', ' ');
  return command;
}

// One lock as the kernel writes it: "1: OFDLCK ADVISORY WRITE -1 fe:00:1234 0 EOF", with "->"
// behind the number of one that is waited for.
struct LockLine {
  bool isWaiting = false;
  std::string kind;
  bool isExclusive = false;
  std::string object;  // Device and number of the file.
};

std::optional<LockLine> ParseLock(std::string const& text) {
  std::istringstream words(text);
  LockLine line;
  std::string number;
  std::string strictness;
  std::string mode;
  std::string process;
  words >> number >> line.kind;
  if (line.kind == kWaitsMark) {
    line.isWaiting = true;
    words >> line.kind;
  }
  words >> strictness >> mode >> process >> line.object;
  line.isExclusive = mode == "WRITE";
  return words ? std::optional<LockLine>(line) : std::nullopt;
}

// What may be locked.
struct Place {
  struct stat what {};
  bool isFolder = false;

  bool IsSameAs(struct stat const& other) const {
    return what.st_dev == other.st_dev && what.st_ino == other.st_ino;
  }
  // As in the kernel's table of all locks.
  std::string Object() const {
    return fmt::format("{:02x}:{:02x}:{}", major(what.st_dev), minor(what.st_dev), what.st_ino);
  }
};

// The locks that hang on one open descriptor.
std::vector<LockLine> LocksOf(fs::path const& process, std::string const& descriptor) {
  std::vector<LockLine> locks;
  std::istringstream lines(ContentOf(process / "fdinfo" / descriptor));
  constexpr char kStart[] = "lock:";
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, sizeof kStart - 1, kStart) == 0) {
      if (std::optional<LockLine> const lock = ParseLock(line.substr(sizeof kStart - 1))) {
        locks.push_back(*lock);
      }
    }
  }
  return locks;
}

// Whether a thread of the process sits in a call that waits for a lock through the descriptor. The
// kernel tells the number of the call and its arguments.
std::optional<LockLine> WaitOf(fs::path const& process, std::string const& descriptor) {
  for (fs::path const& thread : EntriesOf(process / "task")) {
    std::istringstream words(ContentOf(thread / "syscall"));
    long call = 0;
    unsigned long file = 0;
    unsigned long argument = 0;
    words >> call >> std::hex >> file >> argument;
    bool const isLock = call == SYS_fcntl && (argument == F_OFD_SETLKW || argument == F_SETLKW);
    if (words && std::to_string(file) == descriptor && (isLock || call == SYS_flock)) {
      LockLine line;
      line.isWaiting = true;
      line.kind = call == SYS_flock ? "FLOCK" : argument == F_SETLKW ? "POSIX" : "OFDLCK";
      return line;
    }
  }
  return std::nullopt;
}

void TakeDescriptor(fs::path const& process, std::string const& descriptor,
                    std::vector<Place> const& places, KernelLocks& found) {
  struct stat what {};
  if (::stat((process / "fd" / descriptor).c_str(), &what) != 0) {
    return;
  }
  for (Place const& place : places) {
    if (!place.IsSameAs(what)) {
      continue;
    }
    std::vector<LockLine> lines = LocksOf(process, descriptor);
    if (std::optional<LockLine> const wait = WaitOf(process, descriptor)) {
      lines.push_back(*wait);
    }
    for (LockLine const& line : lines) {
      found.locks.push_back({std::stoi(process.filename().string()), CommandOf(process),
                             std::stoi(descriptor), line.kind, line.isExclusive, place.isFolder,
                             line.isWaiting});
    }
  }
}

// How many locks on these places the table of all locks has, without those that are waited for.
std::size_t CountHeld(std::vector<Place> const& places) {
  std::istringstream lines(ContentOf("/proc/locks"));
  std::size_t count = 0;
  for (std::string text; std::getline(lines, text);) {
    std::optional<LockLine> const line = ParseLock(text);
    bool const isOne = line && !line->isWaiting &&
                       std::any_of(places.begin(), places.end(), [&line](Place const& place) {
                         return place.Object() == line->object;
                       });
    count += isOne ? 1 : 0;
  }
  return count;
}

std::vector<Place> PlacesOf(std::string const& path) {
  std::vector<Place> places;
  Place place;
  if (::stat(path.c_str(), &place.what) == 0) {
    if (S_ISDIR(place.what.st_mode)) {
      throw Failure(Printable(path), "it is a folder", "name the catalogue file itself");
    }
    places.push_back(place);
  }
  std::string const folder = fs::path(path).parent_path().string();
  place.isFolder = true;
  if (::stat(folder.empty() ? "." : folder.c_str(), &place.what) != 0) {
    throw Failure(Printable(path), std::string("cannot be looked at: ") + std::strerror(errno),
                  "check the name");
  }
  places.push_back(place);
  return places;
}

}  // namespace

KernelLocks FindLocks(std::string const& path) {
  std::vector<Place> const places = PlacesOf(path);
  KernelLocks found;
  for (fs::path const& process : EntriesOf("/proc")) {
    if (!IsNumber(process)) {
      continue;
    }
    for (fs::path const& descriptor : EntriesOf(process / "fd")) {
      TakeDescriptor(process, descriptor.filename().string(), places, found);
    }
  }
  auto const seen = static_cast<std::size_t>(
      std::count_if(found.locks.begin(), found.locks.end(),
                    [](KernelLock const& lock) { return !lock.isWaiting; }));
  std::size_t const held = CountHeld(places);
  found.unseen = held > seen ? held - seen : 0;
  return found;
}

}  // namespace inspect
