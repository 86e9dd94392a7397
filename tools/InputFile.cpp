#include "tools/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include <fmt/format.h>

#include "common/CommonContInfoFileCreater.h"
#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"
#include "tools/Descriptor.h"
#include "tools/Failure.h"
#include "tools/Printable.h"
#include "tools/Progress.h"

namespace inspect {

namespace {

constexpr std::size_t kBlockSize = 1U << 20U;
constexpr off_t kLargest = 0xFFFFFFFF;  // More no length in a catalogue can say.

char const* KindOf(mode_t mode) {
  if (S_ISDIR(mode)) {
    return "it is a folder";
  }
  if (S_ISFIFO(mode)) {
    return "it is a FIFO";
  }
  return S_ISSOCK(mode) ? "it is a socket" : "it is a device";
}

std::string AdviceFor(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return "check the name; the machine-wide catalogue is made by the first program that uses it";
    case EACCES:
    case EPERM:
      return "run this as a user who may read the file, or as root";
    default:
      return "";
  }
}

Failure CannotRead(std::string const& path, int error) {
  return Failure(Printable(path), std::string("cannot be read: ") + std::strerror(error),
                 AdviceFor(error));
}

// Opened without waiting for anybody at the other end of a FIFO.
Descriptor OpenRegular(std::string const& path) {
  Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  struct stat what {};
  if (!file.IsOpen() || ::fstat(file.Get(), &what) != 0) {
    int const error = errno;
    // A socket cannot be opened, and says so in words that help nobody.
    if (error == ENXIO && ::stat(path.c_str(), &what) == 0 && !S_ISREG(what.st_mode)) {
      throw Failure(Printable(path), KindOf(what.st_mode), "name the catalogue file itself");
    }
    throw CannotRead(path, error);
  }
  if (!S_ISREG(what.st_mode)) {
    throw Failure(Printable(path), KindOf(what.st_mode), "name the catalogue file itself");
  }
  return file;
}

std::string ReadAll(Descriptor const& file, std::string const& path) {
  std::string content;
  struct stat what {};
  if (::fstat(file.Get(), &what) == 0 && S_ISREG(what.st_mode)) {
    if (what.st_size > kLargest) {
      throw Failure(Printable(path), fmt::format("has {} bytes", what.st_size),
                    "no catalogue is larger than 4 GiB; name another file");
    }
    content.resize(static_cast<std::size_t>(what.st_size) + 1);  // One more shows its end.
  }
  Progress progress("reading " + Printable(path), content.size());
  for (std::size_t size = 0;;) {
    progress.Step(size);
    if (size == content.size()) {
      content.resize(size + kBlockSize);
    }
    ssize_t const count = ::read(file.Get(), &content[size], content.size() - size);
    if (count < 0 && errno != EINTR) {
      throw CannotRead(path, errno);
    }
    size += count > 0 ? static_cast<std::size_t>(count) : 0;
    if (count == 0) {
      content.resize(size);
      return content;
    }
  }
}

}  // namespace

std::string PathOf(Options const& options) {
  if (!options.file.empty()) {
    return options.file;
  }
  CTOOString const name = CommonContInfoFileCreater().GetCommonContInfoFileName();
  return static_cast<char const*>(name);
}

std::string ReadInput(std::string const& path, bool isLocked) {
  static_cast<void>(OpenRegular(path));  // Nothing else may be asked for its lock.
  try {
    IPC::CReadWriteLock_file lock(path.c_str());
    std::optional<IPC::CReadLocker> locker;
    if (isLocked) {
      Waiting const waiting("waiting for the lock of " + Printable(path) +
                            "; \"quendril-inspect locks\" tells who holds it");
      locker.emplace(lock);
    }
    // Opened under the lock: what the path names may have changed while it was waited for.
    return ReadAll(OpenRegular(path), path);
  } catch (XTOOStatus const& error) {
    throw Failure(Printable(path),
                  std::string("cannot be locked: ") + std::strerror(error.Status()),
                  "read a copy of it, with --no-lock");
  }
}

std::string ReadText(std::string const& path) {
  if (path == "-") {
    return ReadAll(Descriptor(::dup(STDIN_FILENO)), "the standard input");
  }
  return ReadAll(OpenRegular(path), path);
}

}  // namespace inspect
