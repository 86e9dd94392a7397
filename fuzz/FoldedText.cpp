// Two texts compared without regard to case.

#include <climits>
#include <clocale>
#include <cwchar>
#include <cwctype>
#include <string>

#include "foundation/CTOOString.h"
#include "fuzz/Support.h"

namespace {

int Collate(std::string const& first, std::string const& second) {
  int const order = CTOOString(first.c_str()).CollateNoCase(second.c_str());
  return (order > 0 ? 1 : 0) - (order < 0 ? 1 : 0);
}

// Every character in lower case, or in upper case and then in lower case; other bytes as they are.
std::string Folded(std::string const& text) {
  std::string folded;
  for (std::size_t at = 0; at < text.size();) {
    wchar_t character = 0;
    std::mbstate_t state{};
    std::size_t const length = std::mbrtowc(&character, &text[at], text.size() - at, &state);
    if (length == 0 || length > 4) {
      folded += text[at++];
      continue;
    }
    char bytes[MB_LEN_MAX];
    std::mbstate_t written{};
    auto const lower = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(character)));
    folded.append(bytes, std::wcrtomb(bytes, lower, &written));
    at += length;
  }
  return folded;
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  static bool const hasLocale = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
  Require(hasLocale, "the machine has C.UTF-8");
  Input input(data, size);
  std::string const first = input.Bytes(input.Byte()).c_str();  // Up to the first zero.
  std::string const second = input.Rest().c_str();
  Require(Collate(first, first) == 0, "a text equals itself");
  Require(Collate(first, second) == -Collate(second, first), "the order has one direction");
  Require(Collate(first, Folded(first)) == 0, "a text equals itself folded");
  Require(Collate(Folded(first), Folded(second)) == Collate(first, second),
          "folding keeps the order");
  bool const isSameAscii = CTOOString(first.c_str()).CompareNoCase(second.c_str()) == 0;
  Require(!isSameAscii || Collate(first, second) == 0, "what is the same over ASCII is the same");
  return 0;
}
