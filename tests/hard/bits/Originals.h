#ifndef QUENDRIL_TESTS_HARD_BITS_ORIGINALS_H
#define QUENDRIL_TESTS_HARD_BITS_ORIGINALS_H

#include <string>

// What the variants are made of: "plain", a record file with a header and records of mixed sizes;
// "catalogue", containers with blobs and sub-records; "short", a record file without a header, its
// records empty or short; "record", one container record's blob. Throws for any other name.
std::string OriginalBytes(std::string const& name);

#endif
