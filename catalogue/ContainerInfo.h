#ifndef QUENDRIL_CATALOGUE_CONTAINERINFO_H
#define QUENDRIL_CATALOGUE_CONTAINERINFO_H

#include <list>

#include "foundation/CTOOString.h"
#include "foundation/export.h"
#include "foundation/IdentObj.h"

// One sub-record of a container. The catalogue stores it for its callers and reads nothing in it.
//
// Its blob, all integers unsigned 32-bit little-endian, "item" being a serialized IdentObj:
//
//   offset  width  field
//   0       4 + M  Ident as an item
//   4 + M   4      Param1
//   8 + M   4      Param2
class QUENDRIL_EXPORT SubContInfo {
 public:
  SubContInfo();
  SubContInfo(SubContInfo const& other);
  ~SubContInfo();
  SubContInfo& operator=(SubContInfo const& other);

  // The blob. Throws std::length_error when it does not fit into 32 bits.
  IdentObj WriteData();
  // Decodes a blob of `len` bytes and returns the bytes consumed; what follows them is ignored.
  // Null or 0 bytes change nothing and return 0. Throws XTOOStatus 37 when it is cut; Ident is then
  // already the new one, or empty when it was cut itself.
  unsigned int ReadData(unsigned char const* data, unsigned int len);

  IdentObj Ident;
  unsigned int Param1 = 0;
  unsigned int Param2 = 0xFFFFFFFF;
};

// One key container: its full path, which is the record's key, and what its owners keep about it.
//
// Its blob, each part back to back, in the order below; `Param` stands behind the two blobs:
//
//   width      field
//   4 + P      Path as an item, without a terminating zero
//   4 + A      Ident1 as an item
//   4 + B      Ident2 as an item
//   4          Param
//   4          K, the number of sub-records
//   each 16+M  the K sub-record blobs, each as an item
//
// A plain value; what guards it is the lock of the list that holds it.
class QUENDRIL_EXPORT ContainerInfo {
 public:
  // What the next save does with a record. The numbers are fixed; 2 is never used.
  enum : unsigned int {
    StateSynced = 0,   // In step with the file, whose version wins.
    StateAdded = 1,    // Added by this process: kept even if the file lacks it.
    StateRemoved = 3,  // To be dropped from memory and file.
  };

  ContainerInfo();
  ContainerInfo(ContainerInfo const& other);
  ~ContainerInfo();
  // Copies the state too.
  ContainerInfo& operator=(ContainerInfo const& other);

  // The blob. Throws std::length_error when it does not fit into 32 bits.
  IdentObj WriteData();
  // Decodes a blob of `len` bytes and returns the bytes consumed; what follows them is ignored. The
  // sub-records are appended to those there are; State is left alone. Throws XTOOStatus 37 for a
  // blob that is cut or holds a cut sub-record; what was decoded until then stays. Reads no more
  // than `len` bytes; the memory taken is bounded by them, a sub-record object for each 4 at most.
  unsigned int ReadData(unsigned char const* data, unsigned int len);

  CTOOString Path;
  unsigned int Param = 0;
  IdentObj Ident1;
  IdentObj Ident2;
  std::list<SubContInfo> SubConts;
  unsigned int State = StateSynced;  // In memory only.
};

#endif
