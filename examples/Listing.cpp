#include "examples/Listing.h"

#include <cstdio>
#include <cstring>
#include <list>

#include "foundation/CTOOFile.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/StatusCodes.h"

namespace {

std::string Explain(unsigned int code) {
  switch (code) {
    case kNoFile:
      return "there is no such file, or it is empty";
    case kShortRead:
      return "the file ends inside its header words, its header or the length of a record";
    case kLengthTooLarge:
      return "a length in the file runs past the file's end";
    default:
      return std::strerror(static_cast<int>(code));
  }
}

int Report(std::string const& fileName, unsigned int code) {
  std::fprintf(stderr, "%s: %s (status %u)\n", fileName.c_str(), Explain(code).c_str(), code);
  return 1;
}

int ListRecords(CQuasiStructFile& file, std::string const& fileName) {
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
      std::fprintf(stderr, "%s: record %lu is no container record (%s, status %d)\n",
                   fileName.c_str(), number, damage.ErrorMessage(), damage.Status());
      result = 1;
    }
    ++number;
  }
  return status != 0 ? Report(fileName, status) : result;
}

}  // namespace

std::string Printable(std::string const& text) {
  std::string printable;
  for (char const c : text) {
    auto const byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      printable += c;
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
      printable += escaped;
    }
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
    CQuasiStructFile file(fileName.c_str(), false, false);
    return ListRecords(file, fileName);
  } catch (XTOOStatus const& error) {
    return Report(fileName, static_cast<unsigned int>(error.Status()));
  }
}
