#ifndef QUENDRIL_EXAMPLES_LISTING_H
#define QUENDRIL_EXAMPLES_LISTING_H

#include <string>

#include "catalogue/ContainerInfo.h"

// Printing containers.

// What is said of a catalogue file of length 0, which is what the making of one leaves.
extern char const* const kNothingSaved;

// One container on one line.
void PrintContainer(ContainerInfo& record);

// Lists the catalogue file, which it only reads: a ContainerInfoList would clean a file that was
// never cleaned. Returns 0, or 1 when the file cannot be read or is damaged; what could be read is
// listed.
int ListFile(std::string const& fileName);

#endif
