#ifndef QUENDRIL_EXAMPLES_ANNOTATEDDUMP_H
#define QUENDRIL_EXAMPLES_ANNOTATEDDUMP_H

#include <string>

// Prints a catalogue file byte by byte: offset, bytes, and what they mean, down to each field of
// each record. Lengths are not trusted; what does not fit is shown as damage. Returns 0, or 1 for a
// file that cannot be read or is damaged.
int DumpFile(std::string const& fileName);

#endif
