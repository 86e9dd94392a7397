#include "foundation/embedded/CaseFolding.h"

#include <algorithm>
#include <clocale>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <cwctype>

namespace {

// What a byte that is no UTF-8 counts as: above every code point, so that it equals nothing else.
constexpr unsigned int kInvalidByte = 0x80000000;

unsigned char FoldAscii(char c) {
  auto const byte = static_cast<unsigned char>(c);
  return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte | 0x20) : byte;
}

bool IsSmallLetter(char c) { return c >= 'a' && c <= 'z'; }

bool BeginsWithAsciiNoCase(char const* text, char const* wanted) {
  while (*wanted != 0 && FoldAscii(*text) == FoldAscii(*wanted)) {
    ++text;
    ++wanted;
  }
  return *wanted == 0;
}

bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }

constexpr std::size_t kWordSize = sizeof(std::uint64_t);

constexpr std::uint64_t EachByte(unsigned char byte) {
  return std::uint64_t{0x0101010101010101} * byte;
}
static_assert(EachByte(0x80) == 0x8080808080808080);

std::uint64_t LoadBytes(char const* from) {
  std::uint64_t bytes = 0;
  std::memcpy(&bytes, from, sizeof bytes);
  return bytes;
}

bool AreAscii(std::uint64_t bytes) { return (bytes & EachByte(0x80)) == 0; }

// FoldAscii of eight ASCII bytes at once: bit 7 of each sum tells that its byte is "A" or more, or
// more than "Z", and the letter's bit of case is two bits below.
std::uint64_t FoldAsciiBytes(std::uint64_t bytes) {
  std::uint64_t const fromA = bytes + EachByte(0x80 - 'A');
  std::uint64_t const behindZ = bytes + EachByte(0x7F - 'Z');
  return bytes | ((fromA & ~behindZ & EachByte(0x80)) >> 2);
}

// How many bytes at the start of both texts are ASCII and the same but for their case, in whole
// words. Paths mostly differ at their ends.
std::size_t SameWords(char const* first, char const* second) {
  std::size_t const room = std::min(std::strlen(first), std::strlen(second));
  std::size_t same = 0;
  for (; room - same >= kWordSize; same += kWordSize) {
    std::uint64_t const bytes = LoadBytes(first + same);
    std::uint64_t const others = LoadBytes(second + same);
    if (!AreAscii(bytes | others) ||
        (bytes != others && FoldAsciiBytes(bytes) != FoldAsciiBytes(others))) {
      break;
    }
  }
  return same;
}

int Sign(unsigned int first, unsigned int second) {
  return first == second ? 0 : (first < second ? -1 : 1);
}

// The C library's tables for all of Unicode; "C" knows ASCII alone. Never freed.
locale_t FoldingLocale() {
  static locale_t const locale = [] {
    locale_t const unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return unicode != nullptr ? unicode : ::newlocale(LC_CTYPE_MASK, "C", nullptr);
  }();
  return locale;
}

// Puts the folding locale in place for the calling thread.
class LocaleScope {
 public:
  LocaleScope() : m_before(::uselocale(FoldingLocale())) {}
  LocaleScope(LocaleScope const&) = delete;
  LocaleScope& operator=(LocaleScope const&) = delete;
  ~LocaleScope() { ::uselocale(m_before); }

 private:
  locale_t m_before;
};

// Decodes and folds the character at `text`, which is not at its end, and moves behind it.
unsigned int NextFolded(char const*& text) {
  wchar_t character = 0;
  std::mbstate_t state{};
  // A character takes 4 bytes at most, and a cut one stops at the terminator. So the length is
  // never that of a zero, and a failure's is huge.
  std::size_t const length = std::mbrtowc(&character, text, ::strnlen(text, 4), &state);
  if (length > 4) {
    return kInvalidByte | static_cast<unsigned char>(*text++);
  }
  text += length;
  return static_cast<unsigned int>(std::towlower(static_cast<wint_t>(character)));
}

int CompareDecoded(char const* first, char const* second) {
  LocaleScope const scope;
  while (*first != 0 && *second != 0) {
    int const order = Sign(NextFolded(first), NextFolded(second));
    if (order != 0) {
      return order;
    }
  }
  return Sign(static_cast<unsigned char>(*first), static_cast<unsigned char>(*second));
}

}  // namespace

int CompareAsciiNoCase(char const* first, char const* second) {
  while (*first != 0 && FoldAscii(*first) == FoldAscii(*second)) {
    ++first;
    ++second;
  }
  return Sign(FoldAscii(*first), FoldAscii(*second));
}

char const* FindAsciiNoCase(char const* text, char const* wanted) {
  if (*wanted == 0) {
    return text;
  }
  char const small = static_cast<char>(FoldAscii(*wanted));
  char const capital = IsSmallLetter(small) ? static_cast<char>(small & ~0x20) : small;
  char const begins[] = {small, capital, 0};
  // The C library looks for the first letter many bytes at a time.
  for (text = std::strpbrk(text, begins); text != nullptr; text = std::strpbrk(text + 1, begins)) {
    if (BeginsWithAsciiNoCase(text, wanted)) {
      return text;
    }
  }
  return nullptr;
}

int CompareFoldedUtf8(char const* first, char const* second) {
  std::size_t const same = SameWords(first, second);
  first += same;
  second += same;
  // Two ASCII texts never leave this loop; the rest starts at the first character that is not
  // ASCII.
  while (*first != 0 && IsAscii(*first) && FoldAscii(*first) == FoldAscii(*second)) {
    ++first;
    ++second;
  }
  if (IsAscii(*first) && IsAscii(*second)) {
    return Sign(FoldAscii(*first), FoldAscii(*second));
  }
  return CompareDecoded(first, second);
}
