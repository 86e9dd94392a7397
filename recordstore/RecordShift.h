#ifndef QUENDRIL_RECORDSTORE_RECORDSHIFT_H
#define QUENDRIL_RECORDSTORE_RECORDSHIFT_H

#include <list>

#include "recordstore/QuasiStructFileBase.h"

// Writes the records of `pending` (at least one), and after them all that `next` up to `end` still
// points at, back to back from byte `position` on; `current` is the offset of the first one to
// write. Sets every offset as its record is written and cuts the storage behind the last one.
//
// Reads ahead only as far as the next write would overrun what is unread, so that the memory needed
// is bounded by the size difference between new and old, not by the file.
void ShiftRecords(QuasiStructFileBase& store, CTOOFile* file, std::list<IdentObj>& pending,
                  unsigned long position, std::list<unsigned int>::iterator current,
                  std::list<unsigned int>::iterator next, std::list<unsigned int>::iterator end);

#endif
