#ifndef QUENDRIL_TESTS_RECORDSTORE_RAWBUFFER_H
#define QUENDRIL_TESTS_RECORDSTORE_RAWBUFFER_H

#include <iosfwd>
#include <string>
#include <vector>

#include "recordstore/QuasiStructBuffer.h"

// A QuasiStructBuffer over any bytes, which need not be those of a record file, with its storage
// operations in short and with a view of what a failed one does not show.
class RawBuffer : public QuasiStructBuffer {
 public:
  static constexpr unsigned int kHere = 0xFFFFFFFF;
  static constexpr unsigned int kSeekFailed = 0xFFFFFFFF;

  explicit RawBuffer(std::string const& content);

  std::stringstream& Stream();
  bool IsFailed();
  std::string Content();
  // Where the next read and the next write go.
  std::vector<long> Positions();

  // All of `count` bytes.
  std::string ReadSome(unsigned int count);
  unsigned int WriteSome(std::string const& bytes);
  unsigned int Seek(long offset, int origin = 0);
  unsigned int ReadBlob(IdentObj& target, unsigned int position = kHere);
  unsigned int WriteBlob(std::string const& data, unsigned int position = kHere);
  // Reads past the end.
  void Fail();
};

using Pair = std::vector<long>;

#endif
