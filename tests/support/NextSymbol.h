#ifndef QUENDRIL_TESTS_SUPPORT_NEXTSYMBOL_H
#define QUENDRIL_TESTS_SUPPORT_NEXTSYMBOL_H

#include <dlfcn.h>

#include <stdexcept>
#include <string>

// A test program may define a function of the base services itself: the library, which imports
// them, then calls the program's. This gives the one that was replaced, by its mangled name.
template <typename Function>
Function* NextSymbol(char const* mangled) {
  void* const found = ::dlsym(RTLD_NEXT, mangled);
  if (found == nullptr) {
    throw std::runtime_error(std::string("no other ") + mangled);
  }
  return reinterpret_cast<Function*>(found);
}

#endif
