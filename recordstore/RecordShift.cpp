#include "recordstore/RecordShift.h"

#include "recordstore/RecordFormat.h"

namespace {

using Offset = std::list<unsigned int>::iterator;

// Reads one record, and more while the write of the first pending one would overrun them.
void ReadAhead(QuasiStructFileBase& store, CTOOFile* file, std::list<IdentObj>& pending,
               unsigned long position, Offset& next, Offset end) {
  while (next != end) {
    store.stor_Seek(file, *next, kFromStart);
    pending.emplace_back();
    store.stor_ReadIdentObject(file, pending.back(), kCurrentPosition);
    ++next;
    store.stor_Seek(file, static_cast<long>(position), kFromStart);
    // Kept on purpose: the 4 bytes of the length prefix are not counted, so a record that starts in
    // the last 4 bytes of what is about to be written is not saved first.
    long const writtenUpTo = static_cast<long>(position + pending.front().Length);
    if (next == end || static_cast<long>(*next) >= writtenUpTo) {
      return;
    }
  }
}

}  // namespace

void ShiftRecords(QuasiStructFileBase& store, CTOOFile* file, std::list<IdentObj>& pending,
                  unsigned long position, Offset current, Offset next, Offset end) {
  while (!pending.empty()) {
    ReadAhead(store, file, pending, position, next, end);
    *current = static_cast<unsigned int>(position);
    ++current;
    store.stor_Seek(file, static_cast<long>(position), kFromStart);
    position += store.stor_WriteIdentObject(file, pending.front(), kCurrentPosition);
    pending.pop_front();
  }
  store.stor_Truncate(file);
}
