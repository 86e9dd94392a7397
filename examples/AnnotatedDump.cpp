#include "examples/AnnotatedDump.h"

#include <cstdio>
#include <cstring>

#include "examples/Listing.h"
#include "foundation/CTOOFile.h"
#include "foundation/XTOOStatus.h"
#include "tools/AnnotatedDump.h"
#include "tools/RecordFile.h"

namespace {

constexpr std::size_t kBlockSize = 65536;

// The whole content. Throws an XTOOStatus when the file cannot be read.
std::string ContentOf(std::string const& fileName) {
  CTOOFile file(fileName.c_str(), "rbc", true);
  std::string content;
  char block[kBlockSize];
  while (unsigned int const count = file.Read(block, sizeof block)) {
    content.append(block, count);
  }
  if (file.Status() != 0) {
    throw XTOOStatus(file.Status(), fileName.c_str(), false);
  }
  return content;
}

}  // namespace

int DumpFile(std::string const& fileName) {
  std::string content;
  try {
    content = ContentOf(fileName);
  } catch (XTOOStatus const& error) {
    std::fprintf(stderr, "%s: cannot be read: %s\n", fileName.c_str(),
                 std::strerror(error.Status()));
    return 1;
  }
  if (content.empty()) {
    std::puts(kNothingSaved);
    return 0;
  }
  inspect::TextOut out(stdout);
  inspect::AnnotatedDump dump(out, false);
  dump.Heading();
  inspect::WalkFile(inspect::ParseFile(content), dump);
  return dump.IsDamaged() ? 1 : 0;
}
