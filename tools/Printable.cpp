#include "tools/Printable.h"

#include <array>
#include <clocale>
#include <cwchar>
#include <cwctype>

namespace inspect {

namespace {

constexpr char kDigits[] = "0123456789abcdef";
constexpr std::size_t kShownInShortHex = 16;

// Selects UTF-8 for this thread as long as it lives.
class Utf8Locale {
 public:
  Utf8Locale() : m_before(::uselocale(Locale())) {}
  Utf8Locale(Utf8Locale const&) = delete;
  Utf8Locale& operator=(Utf8Locale const&) = delete;
  ~Utf8Locale() { ::uselocale(m_before); }

 private:
  static locale_t Locale() {
    static locale_t const locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;  // Null, which selects nothing, where the system has none.
  }
  locale_t m_before;
};

unsigned char ByteAt(std::string_view text, std::size_t position) {
  return static_cast<unsigned char>(text[position]);
}

// The bytes of the character at `position`, 0 when it is not one to give to a terminal.
std::size_t LengthOfPrintable(std::string_view text, std::size_t position) {
  unsigned char const byte = ByteAt(text, position);
  if (byte < 0x80) {
    return byte >= 0x20 && byte != 0x7F ? 1 : 0;
  }
  Utf8Locale const selected;
  wchar_t character = 0;
  std::mbstate_t state{};
  std::size_t const length =
      std::mbrtowc(&character, text.data() + position, text.size() - position, &state);
  bool const isWhole = length >= 1 && length <= 4;
  return isWhole && std::iswalnum(static_cast<wint_t>(character)) != 0 ? length : 0;
}

// The bytes of the character at `position` in UTF-8, 0 when there is none.
std::size_t LengthOfUtf8(std::string_view text, std::size_t position) {
  unsigned char const first = ByteAt(text, position);
  if (first < 0x80) {
    return 1;
  }
  std::size_t const length = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (length == 0 || first > 0xF4 || length > text.size() - position) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((ByteAt(text, position + i) & 0xC0) != 0x80) {
      return 0;
    }
  }
  // Neither a longer form than needed, nor a surrogate, nor behind the last character.
  unsigned char const second = ByteAt(text, position + 1);
  bool const isOutside = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                         (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
  return isOutside ? 0 : length;
}

int ValueOfDigit(char digit) {
  if (digit >= '0' && digit <= '9') {
    return digit - '0';
  }
  if (digit >= 'a' && digit <= 'f') {
    return digit - 'a' + 10;
  }
  return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string printable;
  for (std::size_t position = 0; position < text.size();) {
    std::size_t const length = LengthOfPrintable(text, position);
    if (length == 0) {
      printable += "\\x";
      printable += ToHex(text.substr(position, 1));
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

bool IsUtf8(std::string_view text) {
  for (std::size_t position = 0; position < text.size();) {
    std::size_t const length = LengthOfUtf8(text, position);
    if (length == 0) {
      return false;
    }
    position += length;
  }
  return true;
}

std::string Readable(std::string_view text) {
  std::string readable;
  for (std::size_t position = 0; position < text.size();) {
    std::size_t const length = LengthOfUtf8(text, position);
    if (length == 0) {
      readable += "\xEF\xBF\xBD";
      ++position;
    } else {
      readable += text.substr(position, length);
      position += length;
    }
  }
  return readable;
}

std::string ToHex(std::string_view bytes) {
  std::string digits;
  digits.reserve(2 * bytes.size());
  for (char const c : bytes) {
    auto const byte = static_cast<unsigned char>(c);
    digits += kDigits[byte >> 4];
    digits += kDigits[byte & 0xF];
  }
  return digits;
}

std::string ToShortHex(std::string_view bytes) {
  return ToHex(bytes.substr(0, kShownInShortHex)) + (bytes.size() > kShownInShortHex ? "..." : "");
}

bool FromHex(std::string_view digits, std::string& bytes) {
  if (digits.size() % 2 != 0) {
    return false;
  }
  bytes.clear();
  bytes.reserve(digits.size() / 2);
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    int const high = ValueOfDigit(digits[i]);
    int const low = ValueOfDigit(digits[i + 1]);
    if (high < 0 || low < 0) {
      return false;
    }
    bytes += static_cast<char>(16 * high + low);
  }
  return true;
}

}  // namespace inspect
