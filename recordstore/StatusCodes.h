#ifndef QUENDRIL_RECORDSTORE_STATUSCODES_H
#define QUENDRIL_RECORDSTORE_STATUSCODES_H

// The codes by which a record store reports. Set means: on the store itself; IsItInFile, Get, Put,
// Add, Del and PutHeader on an existing file then refuse until Clear or Reload, all others go on. A
// failed open sets the handle's own code.

constexpr unsigned int kSuccess = 0;
constexpr unsigned int kNoFile = 4;     // Set: missing or empty, and not to be created (or GetAll).
constexpr unsigned int kShortRead = 5;  // Set: the file ends inside the header or a length.
constexpr unsigned int kNotSearchable = 22;    // Set by IsItInFile; returned by Get, see there.
constexpr unsigned int kBadIndex = 28;         // Returned by Put and Del.
constexpr unsigned int kLengthTooLarge = 134;  // Set: a length runs past the end of the file.
constexpr unsigned int kNoSuchRecord = 194;    // Returned by Get.

#endif
