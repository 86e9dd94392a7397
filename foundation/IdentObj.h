#ifndef QUENDRIL_FOUNDATION_IDENTOBJ_H
#define QUENDRIL_FOUNDATION_IDENTOBJ_H

#include "foundation/export.h"

class CTOOFile;

// A byte blob that carries its length and owns its bytes. Every record of a record file, the
// header of one and every part of a container record is such a blob.
//
// Serialized form (all there is: no padding, no terminator, no type tag):
//
//   offset  width  field
//   0       4      N, the data length in bytes, unsigned, little-endian
//   4       N      the data bytes
//
// Threads: one object, one thread at a time.
class QUENDRIL_EXPORT IdentObj {
 public:
  // An empty blob.
  IdentObj();
  // A blob of `n` bytes copied from `data`; with `data` null, `n` zero bytes for the caller to fill
  // through `Data`. Throws std::bad_alloc.
  IdentObj(void const* data, unsigned int n);
  IdentObj(IdentObj const& other);
  // Takes the other blob's bytes and leaves it empty. Inline, so that the library asks nothing more
  // of a host's base library than copying.
  IdentObj(IdentObj&& other) noexcept : Length(other.Length), Data(other.Data) {
    other.Length = 0;
    other.Data = nullptr;
  }
  virtual ~IdentObj();

  IdentObj& operator=(IdentObj const& other);
  IdentObj& operator=(IdentObj&& other) noexcept {
    unsigned int const length = Length;
    unsigned char* const data = Data;
    Length = other.Length;
    Data = other.Data;
    other.Length = length;
    other.Data = data;
    return *this;
  }

  // Back to length 0.
  void Empty();

  // Same length and same bytes.
  bool operator==(IdentObj const& other) const;

  // Size of the serialized form in bytes: 4 + Length, cut to 32 bits.
  unsigned int GetObjectSize() const;

  // Writes the serialized form at `buf`, which has `room` bytes. Returns the bytes written; with
  // too little room writes nothing and returns 0.
  unsigned int WriteData(void* buf, unsigned int room) const;

  // Parses one serialized blob from `len` bytes at `buf`. Returns the bytes consumed, 4 + N. A blob
  // that does not fit into `len` bytes leaves the object empty and returns a number greater than
  // `len` (0xFFFFFFFF where the true one does not fit into 32 bits; for `len` 0xFFFFFFFF there is
  // no greater one). Reads and allocates no more than `len` bytes.
  unsigned int ReadData(void const* buf, unsigned int len);

  // Writes the serialized form to `file`, at byte `position` or, with 0xFFFFFFFF, at the file's own
  // position. Returns the bytes written, 0 on failure.
  unsigned int WriteData(CTOOFile& file, unsigned int position) const;

  // Reads one serialized blob from `file`; `position` as above. Returns the bytes read, 4 + N, and
  // leaves the file's position behind the blob. On failure, at the end of the file included,
  // returns 0, leaves the object empty and the file's position where it was. Allocates no more than
  // the file still holds.
  unsigned int ReadData(CTOOFile const& file, unsigned int position);

  unsigned int Length;
  // Owned; null when Length is 0.
  unsigned char* Data;
};

#endif
