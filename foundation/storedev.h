#ifndef QUENDRIL_FOUNDATION_STOREDEV_H
#define QUENDRIL_FOUNDATION_STOREDEV_H

#include "foundation/CTOOString.h"
#include "foundation/export.h"

// Full container paths, which are file-system paths. Only the text is worked on; nothing on disk is
// looked at. Neither function throws anything but std::bad_alloc.
namespace storedev {

// Splits `path` (null counts as empty) into its last component, the name, and what stands before
// it, the folder; the last part is always empty. Repeated slashes, "." components and a trailing
// slash go, ".." stays. `flag` is true for the empty path only. Each output may be null and is then
// skipped.
QUENDRIL_EXPORT void ParseFullPath(char const* path, bool* flag, CTOOString* folder,
                                   CTOOString* name, CTOOString* last);

// Joins the parts that are not empty with one "/" each: the inverse of ParseFullPath.
QUENDRIL_EXPORT void MakeFullPath(CTOOString& path, CTOOString const& folder,
                                  CTOOString const& name, CTOOString const& last);

}  // namespace storedev

#endif
