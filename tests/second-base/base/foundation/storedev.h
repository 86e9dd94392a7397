#ifndef QUENDRIL_SECOND_BASE_STOREDEV_H
#define QUENDRIL_SECOND_BASE_STOREDEV_H

#include "foundation/CTOOString.h"
#include "foundation/export.h"

// Paths split at their last slash and nothing else.
namespace storedev {

QUENDRIL_EXPORT void ParseFullPath(char const* path, bool* flag, CTOOString* folder,
                                   CTOOString* name, CTOOString* last);
QUENDRIL_EXPORT void MakeFullPath(CTOOString& path, CTOOString const& folder,
                                  CTOOString const& name, CTOOString const& last);

}  // namespace storedev

#endif
