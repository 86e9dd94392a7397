#ifndef QUENDRIL_TESTS_CATALOGUE_SEAMS_DECODER_H
#define QUENDRIL_TESTS_CATALOGUE_SEAMS_DECODER_H

#include <list>
#include <string>

#include "tests/support/Containers.h"

// Container records and record files decoded by none of the code under test.

// What a fresh record holds once a blob has been read into it, to the end or to where it is cut.
struct Decoded {
  std::string path;
  std::string ident1;
  std::string ident2;
  unsigned int param = 0;
  std::list<SubRecord> subRecords;
  // Bytes; of a blob that is whole.
  std::size_t consumed = 0;
  // The text of the failure; empty for a blob that is whole.
  std::string failure;

  // As the record is encoded again.
  std::string Bytes() const { return ContainerBytes(path, ident1, ident2, param, subRecords); }
};
Decoded Decode(std::string const& blob);

// What opening a record file finds.
struct DecodedFile {
  unsigned int reserved = 0;
  unsigned int mark = 0;
  std::string header;
  std::list<std::string> records;
  bool isDamaged = false;
};
DecodedFile DecodeFile(std::string const& bytes);

#endif
