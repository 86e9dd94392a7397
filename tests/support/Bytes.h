#ifndef QUENDRIL_TESTS_SUPPORT_BYTES_H
#define QUENDRIL_TESTS_SUPPORT_BYTES_H

#include <iosfwd>
#include <list>
#include <string>

#include "foundation/IdentObj.h"

// Bytes as tests write them down. All of these are independent of the code under test.

// "05 00 00 00 61" as bytes; blanks are ignored.
std::string Hex(std::string const& text);
// The other way, for messages: two lower-case digits a byte, with blanks.
std::string ToHex(std::string const& bytes);
// A 32-bit little-endian word.
std::string Word(unsigned int value);
// A serialized IdentObj.
std::string Item(std::string const& data);
// A whole record file.
std::string RecordFile(unsigned int reserved, unsigned int mark, std::string const& header,
                       std::list<std::string> const& records);
// The same with the header words 0.
std::string RecordFile(std::list<std::string> const& records);
// `size` bytes that differ from those of another `seed`.
std::string Pattern(unsigned int size, unsigned int seed);

IdentObj Blob(std::string const& data);
std::string DataOf(IdentObj const& blob);
std::list<std::string> DataOf(std::list<IdentObj> const& blobs);

#endif
