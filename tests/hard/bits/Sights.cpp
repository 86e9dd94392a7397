#include "tests/hard/bits/Sights.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "catalogue/ContainerInfoList.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/QuasiStructBuffer.h"
#include "tests/support/Allocations.h"
#include "tests/support/Bytes.h"

namespace {

// The file's time lies long ago, so no store finds it newer than its own scan.
constexpr time_t kLongAgo = 1000000000;

template <typename Backend>
class Exposed : public Backend {
 public:
  using Backend::Backend;
  using Backend::m_offsets;
};

struct Fetched {
  unsigned int code = 0;
  IdentObj record;
};

struct AllFetched {
  unsigned int code = 0;
  std::list<IdentObj> records;
};

// Everything a store shows, gathered without making text of it: what that takes would be counted.
struct StoreView {
  int status = 0;
  QuasiStructFileBase::HeaderWords words{};
  IdentObj header;
  std::list<unsigned int> offsets;
  std::list<Fetched> each;
  AllFetched all;
  // Once more after the status was cleared, if it was not 0.
  std::list<Fetched> eachCleared;
  AllFetched allCleared;
};

// Every record, and what stands before the first and behind the last.
std::list<Fetched> FetchEach(QuasiStructFileBase& store, std::size_t count) {
  std::list<Fetched> each;
  for (long index = -1; index <= static_cast<long>(count); ++index) {
    each.emplace_back();
    each.back().code = store.Get(index, each.back().record);
  }
  return each;
}

template <typename Backend>
StoreView ViewOf(Exposed<Backend>& store) {
  StoreView view;
  view.status = store.Status();
  view.words = store.Words;
  view.header = store.GetHeader();
  view.offsets = store.m_offsets;
  view.each = FetchEach(store, view.offsets.size());
  view.all.code = store.GetAll(view.all.records);
  if (view.status != 0) {
    store.Clear();
    view.eachCleared = FetchEach(store, view.offsets.size());
    store.Clear();
    view.allCleared.code = store.GetAll(view.allCleared.records);
  }
  return view;
}

// Two digits a byte and no blanks.
std::string Digits(void const* data, std::size_t size) {
  static char const digits[] = "0123456789abcdef";
  auto const* const bytes = static_cast<unsigned char const*>(data);
  std::string text;
  text.reserve(2 * size);
  for (std::size_t i = 0; i < size; ++i) {
    text += digits[bytes[i] >> 4];
    text += digits[bytes[i] & 15];
  }
  return text;
}

std::string Digits(IdentObj const& blob) { return Digits(blob.Data, blob.Length); }

std::string TextOf(std::list<Fetched> const& each) {
  std::string text;
  for (Fetched const& one : each) {
    text += std::to_string(one.code) + ":" + Digits(one.record) + ",";
  }
  return text;
}

std::string TextOf(AllFetched const& all) {
  std::string text = std::to_string(all.code) + ":";
  for (IdentObj const& record : all.records) {
    text += Digits(record) + ",";
  }
  return text;
}

std::string TextOf(StoreView const& view) {
  std::string text = std::to_string(view.status) + " words=" + std::to_string(view.words.Reserved) +
                     "," + std::to_string(view.words.CleanedMark) + "," +
                     std::to_string(view.words.HeaderLength) + " header=" + Digits(view.header) +
                     " offsets=";
  for (unsigned int const offset : view.offsets) {
    text += std::to_string(offset) + ",";
  }
  text += " each=" + TextOf(view.each) + " all=" + TextOf(view.all);
  if (view.status != 0) {
    text += " cleared=" + TextOf(view.eachCleared) + " again=" + TextOf(view.allCleared);
  }
  return text;
}

std::string TextOf(ContainerInfo const& record) {
  char const* const path = record.Path;
  std::string text = Digits(path, std::strlen(path)) + "/" + Digits(record.Ident1) + "/" +
                     Digits(record.Ident2) + "/" + std::to_string(record.Param) + "/" +
                     std::to_string(record.State) + "/";
  for (SubContInfo const& sub : record.SubConts) {
    text += Digits(sub.Ident) + "." + std::to_string(sub.Param1) + "." +
            std::to_string(sub.Param2) + ",";
  }
  return text;
}

void ThrowUnless(bool done, char const* what) {
  if (!done) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

// Runs `what`; `largest` becomes the largest block in it, if that is larger.
template <typename What>
void Count(std::size_t& largest, What const& what) {
  Allocations const allocations;
  what();
  largest = std::max(largest, allocations.Largest());
}

}  // namespace

Sights::Sights() : m_file(::open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
  ThrowUnless(m_file != -1, "open");
}

Sights::~Sights() { ::close(m_file); }

std::string Sights::OfFile(std::string const& bytes) {
  std::list<std::string> records;
  std::string line = "disk=" + OnDisk(bytes, records) + " memory=" + InMemory(bytes) +
                     " catalogue=" + InCatalogue(bytes) + " decoded=";
  for (std::string const& record : records) {
    line += Decoded(record) + ";";
  }
  return line + Figures();
}

std::string Sights::OfRecord(std::string const& bytes) {
  std::string const decoded = Decoded(bytes);
  return "decoded=" + decoded + ";" + Figures();
}

void Sights::Write(std::string const& bytes) {
  ThrowUnless(::ftruncate(m_file, 0) == 0, "ftruncate");
  auto const size = static_cast<ssize_t>(bytes.size());
  ThrowUnless(::pwrite(m_file, bytes.data(), bytes.size(), 0) == size, "pwrite");
  timespec const times[2] = {{kLongAgo, 0}, {kLongAgo, 0}};
  ThrowUnless(::futimens(m_file, times) == 0, "futimens");
}

// Whether the name still stands for the file that was written, with its bytes and its time.
bool Sights::IsUntouched(std::string const& bytes) const {
  struct stat named {};
  struct stat written {};
  if (::stat(m_path.c_str(), &named) != 0 || ::fstat(m_file, &written) != 0) {
    return false;
  }
  std::string now(bytes.size(), '\0');
  auto const size = static_cast<ssize_t>(bytes.size());
  return named.st_ino == written.st_ino && named.st_size == size &&
         named.st_mtim.tv_sec == kLongAgo && named.st_mtim.tv_nsec == 0 &&
         ::pread(m_file, now.data(), now.size(), 0) == size && now == bytes;
}

std::string Sights::OnDisk(std::string const& bytes, std::list<std::string>& records) {
  Write(bytes);
  StoreView view;
  Count(m_disk, [&] {
    Exposed<CQuasiStructFile> store(m_path.c_str(), false, false);
    view = ViewOf(store);
  });
  records = DataOf(view.all.records);
  return TextOf(view) + (IsUntouched(bytes) ? "" : " changed");
}

std::string Sights::InMemory(std::string const& bytes) {
  // Ends where the file does, so that a sanitizer sees a read past its end.
  std::vector<char> const content(bytes.begin(), bytes.end());
  StoreView view;
  std::string buffer;
  Count(m_memory, [&] {
    Exposed<QuasiStructBuffer> store(content.data(), content.size());
    view = ViewOf(store);
    buffer = store.GetBuffer();
  });
  return TextOf(view) + " buffer=" + Digits(buffer.data(), buffer.size());
}

// With the mark set, so that no record is dropped because there is no such container.
std::string Sights::InCatalogue(std::string bytes) {
  if (bytes.size() >= 8 && bytes.compare(4, 4, std::string(4, '\0')) == 0) {
    bytes[4] = 1;
  }
  Write(bytes);
  ContainerInfoList list;
  Count(m_catalogue, [&] { list.Load(m_path.c_str()); });
  std::list<ContainerInfo> const& records = list.GetSyncList()->Records;
  std::string text = std::to_string(records.size()) + ":";
  for (ContainerInfo const& record : records) {
    text += TextOf(record) + ";";
  }
  return text + (IsUntouched(bytes) ? "" : " changed");
}

std::string Sights::Decoded(std::string const& bytes) {
  std::vector<unsigned char> const blob(bytes.begin(), bytes.end());
  ContainerInfo record;
  unsigned int consumed = 0;
  int code = 0;
  std::string failure;
  Count(m_decoding, [&] {
    try {
      consumed = record.ReadData(blob.data(), static_cast<unsigned int>(blob.size()));
    } catch (XTOOStatus const& status) {
      code = status.Status();
      failure = status.ErrorMessage();
    }
  });
  return std::to_string(consumed) + "/" + std::to_string(code) + "/" + failure + "/" +
         TextOf(record);
}

// Of this variant alone.
std::string Sights::Figures() {
  std::string text = " largest=";
  for (std::size_t* const figure : {&m_disk, &m_memory, &m_catalogue, &m_decoding}) {
    text += std::to_string(std::exchange(*figure, 0)) + ",";
  }
  return text;
}
