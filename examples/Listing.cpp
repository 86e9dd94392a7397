#include "examples/Listing.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <list>

#include "foundation/CTOOFile.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/StatusCodes.h"
#include "tools/Printable.h"

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

void PrintContainer(ContainerInfo& record) {
  std::string const path = inspect::Printable(static_cast<char const*>(record.Path));
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
