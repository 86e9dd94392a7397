#ifndef QUENDRIL_FUZZ_SUPPORT_H
#define QUENDRIL_FUZZ_SUPPORT_H

#include <cstddef>
#include <string>

#include "recordstore/QuasiStructFileBase.h"

// The functions that libFuzzer calls have no header.
extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size);

// Ends the program, which makes the input a finding, unless `holds`.
void Require(bool holds, char const* what);

// Takes an input apart from its start; what is not there any more counts as zeros.
class Input {
 public:
  Input(unsigned char const* data, std::size_t size);

  bool IsEmpty() const { return m_rest.empty(); }
  unsigned int Byte();
  // Two bytes, the low one first.
  unsigned int Number();
  // At most so many.
  std::string Bytes(std::size_t count);
  std::string Rest() { return Bytes(m_rest.size()); }

 private:
  std::string m_rest;
};

// Writes the one file that a program works on, and gives its path.
std::string const& FileOf(std::string const& content);

// Requires that as many descriptors are open at its end as at its beginning.
class DescriptorsStay {
 public:
  DescriptorsStay();
  DescriptorsStay(DescriptorsStay const&) = delete;
  DescriptorsStay& operator=(DescriptorsStay const&) = delete;
  ~DescriptorsStay();

 private:
  int m_before;
};

// Reads all that the store over `bytes` gives. Where it finds no fault in them, that must be these
// bytes again.
void ReadEverything(QuasiStructFileBase& store, std::string const& bytes);

#endif
