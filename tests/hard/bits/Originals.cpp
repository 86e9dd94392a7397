#include "tests/hard/bits/Originals.h"

#include <stdexcept>

#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"

namespace {

// One record is long enough for its length to take two bytes.
std::string Plain() {
  return RecordFile(0x2A, 0, "a header",
                    {"one", "", Pattern(10, 1), Pattern(300, 2), "x", Pattern(17, 3), "", "last"});
}

std::string Catalogue() {
  std::string const whole =
      ContainerBytes("/keys/M\xc3\xbcller/k1", Pattern(9, 4), Pattern(16, 5), 0x12345678,
                     {{"ab", 7, 8}, {"", 0, 0xFFFFFFFF}, {Pattern(12, 6), 1, 0x80000000}});
  return RecordFile(
      0, 1, "hd",
      {whole, ContainerBytes("/keys/k2"), ContainerBytes("", "first", "", 1, {{"z", 2, 3}}),
       ContainerBytes("/keys/cur_pers", "", "second", 0xFFFFFFFF), whole});
}

std::string Short() { return RecordFile({"", "", "x", "ab", "", "abc", "wxyz", "", "v", ""}); }

// Beside ordinary sub-records one whose blob is empty and one whose blob has a tail, and a tail
// behind the record.
std::string Record() {
  std::string bytes = Item("/p@th") + Item(Pattern(7, 7)) + Item("2") + Word(0x01020304) + Word(4);
  bytes += Item(Item("sub") + Word(5) + Word(6));
  bytes += Item("");
  bytes += Item(Item("") + Word(7) + Word(8) + "tail");
  bytes += Item(Item("another") + Word(9) + Word(10));
  return bytes + "behind";
}

}  // namespace

std::string OriginalBytes(std::string const& name) {
  if (name == "plain") {
    return Plain();
  }
  if (name == "catalogue") {
    return Catalogue();
  }
  if (name == "short") {
    return Short();
  }
  if (name == "record") {
    return Record();
  }
  throw std::invalid_argument("no such original: " + name);
}
