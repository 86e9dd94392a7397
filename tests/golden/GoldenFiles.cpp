#include "tests/golden/GoldenFiles.h"

#include <sstream>

#include "tests/support/Bytes.h"

std::string GoldenBytes(char const* text) {
  std::istringstream lines(text);
  std::string digits;
  for (std::string line; std::getline(lines, line);) {
    digits += line.substr(0, line.find('#'));
  }
  return Hex(digits);
}
