#ifndef QUENDRIL_TESTS_SUPPORT_VIRTUALSLOT_H
#define QUENDRIL_TESTS_SUPPORT_VIRTUALSLOT_H

#include <cstdint>
#include <cstring>

// The number of a virtual member function's slot in its class's table, counted from 0 (a virtual
// destructor takes two); -1 for a function that is not virtual. On this ABI a pointer to a virtual
// member is 1 plus the slot's offset, one to any other member is an even address.
template <typename Class, typename Function>
long VirtualSlot(Function Class::*member) {
  std::intptr_t pointer = 0;
  std::memcpy(&pointer, &member, sizeof pointer);
  return pointer % 2 == 0 ? -1
                          : static_cast<long>((pointer - 1) / static_cast<long>(sizeof(void*)));
}

#endif
