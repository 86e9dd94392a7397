#ifndef QUENDRIL_CATALOGUE_CCONTAINERPATHCOMPARE_H
#define QUENDRIL_CATALOGUE_CCONTAINERPATHCOMPARE_H

#include <cstring>

#include "foundation/CTOOString.h"

// Orders paths byte by byte, upper case before lower case: two are the same exactly when their
// bytes are.
struct CContainerPathCompare {
  bool operator()(CTOOString const& first, CTOOString const& second) const {
    return std::strcmp(first, second) < 0;
  }
};

#endif
