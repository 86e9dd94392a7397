#ifndef QUENDRIL_CATALOGUE_NORMALISEDPATH_H
#define QUENDRIL_CATALOGUE_NORMALISEDPATH_H

#include "foundation/CTOOString.h"

// The form of a container's path under which a lookup finds it: split and joined again. Null goes
// to the splitting as it is.
CTOOString NormalisedPath(char const* path);

#endif
