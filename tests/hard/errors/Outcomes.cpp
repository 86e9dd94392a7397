#include "tests/hard/errors/Outcomes.h"

#include <cerrno>
#include <filesystem>
#include <map>

#include "foundation/IPC.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Peer.h"

namespace {

constexpr char kNoFile[] = "there is no file";

bool IsCut(std::string const& content, std::string const& whole, unsigned long room) {
  return room != 0 && content.size() == room && whole.compare(0, room, content) == 0;
}

}  // namespace

std::string NameOfCode(unsigned int code) {
  static std::map<unsigned int, std::string> const names{{0, "ok"},
                                                         {EACCES, "EACCES"},
                                                         {EFBIG, "EFBIG"},
                                                         {EISDIR, "EISDIR"},
                                                         {ELOOP, "ELOOP"},
                                                         {EMFILE, "EMFILE"},
                                                         {ENAMETOOLONG, "ENAMETOOLONG"},
                                                         {ENOENT, "ENOENT"},
                                                         {ENOTDIR, "ENOTDIR"},
                                                         {ENXIO, "ENXIO"},
                                                         {EROFS, "EROFS"},
                                                         {ESPIPE, "ESPIPE"}};
  auto const name = names.find(code);
  return name == names.end() ? std::to_string(code) : name->second;
}

std::string NameOfCodes(unsigned int code, unsigned int status) {
  return NameOfCode(code) + (code == status ? "" : "/" + NameOfCode(status));
}

void Table::Add(std::string const& outcome, std::string const& operation) {
  for (std::string& line : m_lines) {
    if (line.compare(0, outcome.size() + 1, outcome + ":") == 0) {
      line += " " + operation;
      return;
    }
  }
  m_lines.push_back(outcome + ": " + operation);
}

std::string AlmostOnePage(std::list<std::string> const& paths) {
  constexpr unsigned int kSize = 4090;
  std::list<std::string> records;
  for (std::string const& path : paths) {
    records.push_back(ContainerBytes(path));
  }
  auto const rest = kSize - static_cast<unsigned int>(RecordFile(0, 1, "", records).size());
  records.back() = ContainerBytes(paths.back(), Pattern(rest, 1));
  return RecordFile(0, 1, "", records);
}

std::string ContentOf(std::string const& path) { return IsThere(path) ? ReadFile(path) : kNoFile; }

std::string StateOf(std::string const& content, Contents const& contents, unsigned long room) {
  if (content == contents.before) {
    return "=";
  }
  if (content == contents.whole) {
    return "+";
  }
  if (content == contents.anew) {
    return "*";
  }
  bool const isCut = IsCut(content, contents.whole, room) || IsCut(content, contents.anew, room);
  return isCut ? "<" : "?";
}

std::set<std::string> AllIn(std::string const& folder) {
  std::set<std::string> names;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(folder)) {
    names.insert(entry.path().string());
  }
  return names;
}

void ExpectLockable(Place const& place) {
  EXPECT_EQ(Lock::None, FileLockOf(place.File));
  EXPECT_EQ(Lock::None, FolderLockOf(place.Folder));
  EXPECT_TRUE(InProcess([&] {
    IPC::CReadWriteLock_file lock(place.File.c_str());
    IPC::CWriteLocker const locker(lock);
    return true;
  }));
}
