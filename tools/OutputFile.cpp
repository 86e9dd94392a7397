#include "tools/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>

#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"
#include "tools/Descriptor.h"
#include "tools/Failure.h"
#include "tools/Printable.h"
#include "tools/Progress.h"

namespace inspect {

namespace {

constexpr mode_t kRightsOfAnyFile = 0666;
constexpr mode_t kRights = 0777;

struct CloseStream {
  void operator()(std::FILE* stream) const { static_cast<void>(std::fclose(stream)); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

Failure CannotWrite(std::string const& path, int error) {
  return Failure(Printable(path), std::string("cannot be written: ") + std::strerror(error),
                 error == ENOSPC ? "make room, or write it elsewhere; nothing was left behind"
                                 : "name a file in a folder that you may write to");
}

Failure IsThere(std::string const& path) {
  return Failure(Printable(path), "is there already, and was left as it is",
                 "name a new file, or say --overwrite where the command has it");
}

// The file that will take the place of `path`; removed unless it did.
class TemporaryFile {
 public:
  explicit TemporaryFile(std::string const& path)
      : m_path(path),
        m_name(path + ".part-XXXXXX"),
        m_number(::mkostemp(m_name.data(), O_CLOEXEC)) {
    if (m_number < 0) {
      throw CannotWrite(path, errno);
    }
  }
  TemporaryFile(TemporaryFile const&) = delete;
  TemporaryFile& operator=(TemporaryFile const&) = delete;
  ~TemporaryFile() {
    if (!m_hasMoved) {
      ::unlink(m_name.c_str());
    }
  }

  int Number() const { return m_number; }

  void Move(bool mayOverwrite) {
    int result = ::renameat2(AT_FDCWD, m_name.c_str(), AT_FDCWD, m_path.c_str(),
                             mayOverwrite ? 0 : RENAME_NOREPLACE);
    if (result != 0 && errno == EINVAL) {  // A file system that cannot do both at once.
      result = ::link(m_name.c_str(), m_path.c_str());
      m_hasMoved = false;
    } else {
      m_hasMoved = result == 0;
    }
    if (result != 0) {
      throw errno == EEXIST ? IsThere(m_path) : CannotWrite(m_path, errno);
    }
  }

 private:
  std::string const m_path;
  std::string m_name;
  int m_number;
  bool m_hasMoved = false;
};

// The rights of the file that is replaced or copied, else those that any new file has.
void SetRights(int file, std::string const& like) {
  struct stat what {};
  if (!like.empty() && ::stat(like.c_str(), &what) == 0) {
    static_cast<void>(::fchown(file, what.st_uid, what.st_gid) == 0);  // Where this user may.
    static_cast<void>(::fchmod(file, what.st_mode & kRights));
    return;
  }
  mode_t const mask = ::umask(0);
  ::umask(mask);
  static_cast<void>(::fchmod(file, kRightsOfAnyFile & ~mask));
}

void RequireReplaceable(std::string const& path, bool mayOverwrite) {
  struct stat what {};
  if (::lstat(path.c_str(), &what) != 0) {
    return;
  }
  if (!mayOverwrite) {
    throw IsThere(path);
  }
  if (!S_ISREG(what.st_mode)) {
    throw Failure(Printable(path), "is not a regular file, and was left as it is",
                  "name a new file");
  }
}

void Write(OutputOptions const& output, std::string const& like,
           std::function<void(std::FILE*)> const& content) {
  RequireReplaceable(output.file, output.mayOverwrite);
  TemporaryFile temporary(output.file);
  Stream stream(::fdopen(temporary.Number(), "wb"));
  if (!stream) {
    throw CannotWrite(output.file, errno);
  }
  content(stream.get());
  SetRights(temporary.Number(), like);
  if (std::fflush(stream.get()) != 0 || std::ferror(stream.get()) != 0 ||
      ::fsync(temporary.Number()) != 0 || std::fclose(stream.release()) != 0) {
    throw CannotWrite(output.file, errno);
  }
  temporary.Move(output.mayOverwrite);
}

}  // namespace

void WriteOutput(OutputOptions const& output, std::function<void(std::FILE*)> const& content) {
  if (output.file.empty() || output.file == "-") {
    content(stdout);
    return;
  }
  Write(output, output.mayOverwrite ? output.file : "", content);
}

void WriteCatalogue(OutputOptions const& output, std::string const& bytes, std::string const& like,
                    bool isLocked) {
  try {
    bool const isReplaced = output.mayOverwrite && std::filesystem::exists(output.file);
    IPC::CReadWriteLock_file lock(output.file.c_str());
    std::optional<IPC::CWriteLocker> locker;
    if (isLocked && isReplaced) {
      Waiting const waiting("waiting for the lock of " + Printable(output.file));
      locker.emplace(lock);
    }
    Write(output, isReplaced ? output.file : like, [&bytes](std::FILE* stream) {
      static_cast<void>(std::fwrite(bytes.data(), 1, bytes.size(), stream));  // The flush tells.
    });
  } catch (XTOOStatus const& error) {
    throw Failure(Printable(output.file),
                  std::string("cannot be locked: ") + std::strerror(error.Status()),
                  "write to a new file");
  }
}

void RequireOther(std::string const& input, std::string const& output) {
  std::error_code ignored;
  if (input == output || std::filesystem::equivalent(input, output, ignored)) {
    throw Failure(Printable(output), "is the file that is read, and is never written",
                  "name another file for what is to be written");
  }
}

void FlushStandardOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw Failure("the standard output", std::string("cannot be written: ") + std::strerror(errno),
                  "make room, or write elsewhere");
  }
}

}  // namespace inspect
