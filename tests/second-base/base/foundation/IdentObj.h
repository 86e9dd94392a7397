#ifndef QUENDRIL_SECOND_BASE_IDENTOBJ_H
#define QUENDRIL_SECOND_BASE_IDENTOBJ_H

#include "foundation/export.h"

class CTOOFile;

// A blob that is copied, never moved, and trusts its callers: one that does not fit where it is
// read from or written to ends the program. What fails to be read from a file leaves rubbish.
class QUENDRIL_EXPORT IdentObj {
 public:
  IdentObj();
  // With `data` null the bytes are rubbish until the caller fills them.
  IdentObj(void const* data, unsigned int n);
  IdentObj(IdentObj const& other);
  virtual ~IdentObj();
  IdentObj& operator=(IdentObj const& other);

  void Empty();
  bool operator==(IdentObj const& other) const;
  unsigned int GetObjectSize() const;
  unsigned int WriteData(void* buf, unsigned int room) const;
  unsigned int ReadData(void const* buf, unsigned int len);
  unsigned int WriteData(CTOOFile& file, unsigned int position) const;
  unsigned int ReadData(CTOOFile const& file, unsigned int position);

 private:
  void Assign(void const* data, unsigned int n);

  unsigned int m_room;  // Bytes behind Data, never 0.

 public:
  unsigned char* Data;  // Never null.
  unsigned int Length;
};

#endif
