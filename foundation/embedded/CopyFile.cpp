#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "foundation/CTOOFile.h"
#include "foundation/embedded/Descriptor.h"
#include "foundation/embedded/FileClock.h"
#include "foundation/embedded/OrEmpty.h"

// A copy is written beside its target under a name of its own and put into place in one step, so
// that nobody ever sees half of it.

namespace {

constexpr unsigned long kBlockSize = 65536;
constexpr mode_t kNewFileMode = 0666;

// A file beside the target that goes away unless it was put into place.
class TemporaryFile {
 public:
  TemporaryFile() = default;
  TemporaryFile(TemporaryFile const&) = delete;
  TemporaryFile& operator=(TemporaryFile const&) = delete;
  ~TemporaryFile() {
    if (!m_name.empty()) {
      static_cast<void>(::unlink(m_name.c_str()));  // Nothing more can be done about it.
    }
  }

  // Returns 0 or an errno.
  int CreateBeside(std::string const& target) {
    static std::atomic<unsigned int> number{0};
    std::string const folder = target.substr(0, target.rfind('/') + 1);
    int fd = -1;
    do {
      std::string name = folder + ".copy-" + std::to_string(::getpid()) + "-" +
                         std::to_string(number.fetch_add(1));
      fd = OpenDescriptor(name.c_str(), O_WRONLY | O_CREAT | O_EXCL, kNewFileMode);
      if (fd >= 0) {
        m_name.swap(name);
      }
    } while (fd < 0 && errno == EEXIST);
    int const error = fd < 0 ? errno : 0;
    m_file = Descriptor(fd);
    return error;
  }

  Descriptor& File() { return m_file; }

  // As if `target` itself had been written now.
  void StampLike(char const* target) {
    struct stat what {};
    bool const isThere = ::stat(target, &what) == 0;
    timespec const times[2] = {{0, UTIME_OMIT}, isThere ? NextStamp(what.st_mtim) : FineNow()};
    static_cast<void>(::futimens(m_file.Get(), times));  // At worst the kernel's own stamp stays.
  }

  // Returns 0 or an errno.
  int PutInPlace(char const* target, bool overwrite) {
    int const error = m_file.Close();
    if (error != 0) {
      return error;
    }
    // A link fails where the target exists; a rename replaces it.
    int const result =
        overwrite ? ::rename(m_name.c_str(), target) : ::link(m_name.c_str(), target);
    if (result != 0) {
      return errno;
    }
    if (overwrite) {
      m_name.clear();
    }
    return 0;
  }

 private:
  std::string m_name;
  Descriptor m_file;
};

// A device may have no end, so only a file is copied. Returns 0 or an errno.
int OpenSource(char const* from, Descriptor& source) {
  Descriptor opened;
  struct stat what {};
  int const error = OpenFile(from, O_RDONLY, 0, opened, what);
  if (error != 0) {
    return error;
  }
  if (!S_ISREG(what.st_mode)) {
    return EINVAL;
  }
  source = std::move(opened);
  return 0;
}

int CopyContent(Descriptor const& from, Descriptor const& to) {
  std::unique_ptr<unsigned char[]> const block(new unsigned char[kBlockSize]);
  int error = 0;
  for (off_t offset = 0;;) {
    unsigned long const count = ReadFully(from.Get(), block.get(), kBlockSize, offset, error);
    if (error != 0 || count == 0) {
      return error;
    }
    if (WriteFully(to.Get(), block.get(), count, offset, error) < count) {
      return error != 0 ? error : EIO;
    }
    offset += static_cast<off_t>(count);
  }
}

int CopyTo(Descriptor const& source, char const* to, bool overwrite) {
  TemporaryFile copy;
  int error = copy.CreateBeside(to);
  if (error == 0) {
    error = CopyContent(source, copy.File());
    copy.StampLike(to);
  }
  return error != 0 ? error : copy.PutInPlace(to, overwrite);
}

}  // namespace

bool CTOOFile::CopyFile(char const* from, char const* to, bool overwrite, XTOOFile const& status,
                        bool /*reserved*/) {
  Descriptor source;
  int error = OpenSource(OrEmpty(from), source);
  if (error != 0) {
    status.Fail(error, from);
    return false;
  }
  error = CopyTo(source, OrEmpty(to), overwrite);
  if (error != 0) {
    status.Fail(error, to);
  }
  return error == 0;
}
