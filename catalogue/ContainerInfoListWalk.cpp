// Walking a catalogue, each thread with a cursor of its own.

#include <pthread.h>

#include "catalogue/ContainerInfoList.h"

namespace {

// Kept on purpose: the low half of the thread's identity. The key's width is part of the interface.
unsigned int OwnThreadKey() { return static_cast<unsigned int>(::pthread_self()); }

// A cursor that was never set refers to nothing, not even to the end of a list.
bool IsUnset(ContainerInfoItrMgr::Cursor const& cursor) {
  return cursor == ContainerInfoItrMgr::Cursor();
}

}  // namespace

char const* ContainerInfoList::GetFirst() {
  Cursor& cursor = OwnCursor();
  cursor = m_sync.Records.begin();
  return cursor == m_sync.Records.end() ? nullptr : static_cast<char const*>(cursor->Path);
}

char const* ContainerInfoList::GetNext() {
  Cursor& cursor = OwnCursor();
  if (IsUnset(cursor) || cursor == m_sync.Records.end() || ++cursor == m_sync.Records.end()) {
    return nullptr;
  }
  return cursor->Path;
}

char const* ContainerInfoList::GetPrevious() {
  Cursor& cursor = OwnCursor();
  if (IsUnset(cursor) || cursor == m_sync.Records.begin()) {
    return nullptr;
  }
  --cursor;
  return cursor->Path;
}

ContainerInfoItrMgr::Cursor& ContainerInfoList::OwnCursor() {
  return GetItrForThread(OwnThreadKey());
}
