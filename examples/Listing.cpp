#include "examples/Listing.h"

#include <clocale>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <filesystem>
#include <list>

#include "foundation/CTOOFile.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/StatusCodes.h"

namespace {

std::string Explain(unsigned int code) {
  switch (code) {
    case kNoFile:
      return "there is no file of that name";
    case kShortRead:
      return "the file ends inside its header words or its header";
    case kLengthTooLarge:
      return "the file ends inside a record, or a length in it runs past its end";
    default:
      return std::strerror(static_cast<int>(code));
  }
}

// Selects UTF-8 for this thread as long as it lives.
class Utf8 {
 public:
  Utf8() : m_before(::uselocale(Locale())) {}
  Utf8(Utf8 const&) = delete;
  Utf8& operator=(Utf8 const&) = delete;
  ~Utf8() { ::uselocale(m_before); }

 private:
  static locale_t Locale() {
    static locale_t const locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;  // Null, which selects nothing, where the system has none.
  }
  locale_t m_before;
};

// The bytes of the character at `position`, 0 when it is not one to give to a terminal.
std::size_t LengthOfPrintable(std::string const& text, std::size_t position) {
  auto const byte = static_cast<unsigned char>(text[position]);
  if (byte < 0x80) {
    return byte >= 0x20 && byte != 0x7F ? 1 : 0;
  }
  Utf8 const selected;
  wchar_t character = 0;
  std::mbstate_t state{};
  std::size_t const length =
      std::mbrtowc(&character, text.data() + position, text.size() - position, &state);
  bool const isWhole = length >= 1 && length <= 4;
  return isWhole && std::iswalnum(static_cast<wint_t>(character)) != 0 ? length : 0;
}

int Report(std::string const& fileName, unsigned int code) {
  std::fflush(stdout);  // In the order in which things were found.
  std::fprintf(stderr, "%s: %s (status %u)\n", fileName.c_str(), Explain(code).c_str(), code);
  return 1;
}

int ListRecords(CQuasiStructFile& file, std::string const& fileName) {
  file.Clear();  // What the opening found, the reading finds again.
  std::list<IdentObj> blobs;
  unsigned int const status = file.GetAll(blobs);
  if (status != 0 && !blobs.empty()) {
    blobs.pop_back();  // The record that the walk stopped at is in the list, empty.
  }
  int result = 0;
  unsigned long number = 0;
  for (IdentObj const& blob : blobs) {
    ContainerInfo record;
    try {
      record.ReadData(blob.Data, blob.Length);
      PrintContainer(record);
    } catch (XTOOStatus const& damage) {
      std::fflush(stdout);
      std::fprintf(stderr, "%s: record %lu is no container record (%s, status %d)\n",
                   fileName.c_str(), number, damage.ErrorMessage(), damage.Status());
      result = 1;
    }
    ++number;
  }
  return status != 0 ? Report(fileName, status) : result;
}

}  // namespace

char const* const kNothingSaved = "The file is empty: nothing was saved to this catalogue yet.";

std::string Printable(std::string const& text) {
  std::string printable;
  for (std::size_t position = 0; position < text.size();) {
    std::size_t const length = LengthOfPrintable(text, position);
    if (length == 0) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(text[position]));
      printable += escaped;
      ++position;
      continue;
    }
    if (text[position] == '\\' || text[position] == '"') {
      printable += '\\';
    }
    printable += text.substr(position, length);
    position += length;
  }
  return printable;
}

void PrintContainer(ContainerInfo& record) {
  std::string const path = Printable(static_cast<char const*>(record.Path));
  std::printf("  %-48s  param %-5u blobs %u + %u bytes, sub-records: %zu%s\n", path.c_str(),
              record.Param, record.Ident1.Length, record.Ident2.Length, record.SubConts.size(),
              CTOOFile::IsExists(record.Path) ? "" : "  (container is gone)");
}

int ListFile(std::string const& fileName) {
  try {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(fileName, ignored) &&
        std::filesystem::file_size(fileName, ignored) == 0) {
      std::puts(kNothingSaved);
      return 0;
    }
    CQuasiStructFile file(fileName.c_str(), false, false);
    return ListRecords(file, fileName);
  } catch (XTOOStatus const& error) {
    return Report(fileName, static_cast<unsigned int>(error.Status()));
  }
}
