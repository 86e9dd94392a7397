// bits-reader original NAME: writes the bytes of that original.
//
// bits-reader read: reads variants from standard input, each one byte ("F" for a file, "R" for a
// container record), 4 bytes length in little-endian order and the bytes; writes one line for each,
// at once, so that the driver knows at which variant this program ended, if it does.

#include <unistd.h>

#include <iostream>
#include <string>

#include "tests/hard/bits/Originals.h"
#include "tests/hard/bits/Sights.h"

namespace {

// Seconds for one variant, of which thousands go into one: a generous limit against hanging.
constexpr unsigned int kMostSeconds = 60;

bool ReadVariant(char& kind, std::string& bytes) {
  unsigned char prefix[5];
  if (!std::cin.read(reinterpret_cast<char*>(prefix), sizeof prefix)) {
    return false;
  }
  kind = static_cast<char>(prefix[0]);
  std::size_t size = 0;
  for (int i = 4; i > 0; --i) {
    size = size << 8 | prefix[i];
  }
  bytes.resize(size);
  return static_cast<bool>(std::cin.read(bytes.data(), static_cast<std::streamsize>(size)));
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  std::string const what = argc > 1 ? argv[1] : "";
  if (what == "original" && argc == 3) {
    std::cout << OriginalBytes(argv[2]);
    return 0;
  }
  if (what != "read") {
    std::cerr << "bits-reader original NAME | bits-reader read\n";
    return 2;
  }
  Sights sights;
  char kind = 0;
  for (std::string bytes; ReadVariant(kind, bytes);) {
    ::alarm(kMostSeconds);
    std::cout << (kind == 'F' ? sights.OfFile(bytes) : sights.OfRecord(bytes)) << std::endl;
    ::alarm(0);
  }
  return 0;
}
