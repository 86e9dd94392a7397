#ifndef QUENDRIL_TOOLS_PRINTABLE_H
#define QUENDRIL_TOOLS_PRINTABLE_H

#include <string>
#include <string_view>

// Bytes that came out of a file, as people and programs may be given them.
namespace inspect {

// For a terminal: ASCII, and letters and digits in UTF-8. Any other byte becomes \x and two digits;
// a backslash and a quotation mark get a backslash.
std::string Printable(std::string_view text);

// Whether the bytes are UTF-8, which JSON can carry as they are.
bool IsUtf8(std::string_view text);
// The same text with U+FFFD in the place of each byte that is no part of UTF-8.
std::string Readable(std::string_view text);

// Two lower-case digits a byte.
std::string ToHex(std::string_view bytes);
// The same of the first bytes only, and "..." where there are more.
std::string ToShortHex(std::string_view bytes);
// False for an odd number of digits, or anything but digits.
bool FromHex(std::string_view digits, std::string& bytes);

}  // namespace inspect

#endif
