#ifndef QUENDRIL_TOOLS_OUTPUTFILE_H
#define QUENDRIL_TOOLS_OUTPUTFILE_H

#include <sys/types.h>

#include <cstdio>
#include <functional>
#include <string>

#include "tools/Options.h"

namespace inspect {

// A new file, which appears under its name whole or not at all: what is written goes to a temporary
// file beside it, which takes the name in the end. A file of that name that is there already is
// kept, unless the user said that it may be replaced; it then hands on its rights. Throws a
// Failure.
//
// REQUIRES: `content` throws or writes everything.
void WriteOutput(OutputOptions const& output, std::function<void(std::FILE*)> const& content);

// The same for a catalogue file: with the rights of `like` (empty: those of any new file) and,
// where one is replaced, under its exclusive lock if `isLocked`.
void WriteCatalogue(OutputOptions const& output, std::string const& bytes, std::string const& like,
                    bool isLocked);

// Throws a Failure when the output has the name of the input, or is it under another name.
void RequireOther(std::string const& input, std::string const& output);

// Writes out what is gathered. Throws a Failure when not all of the standard output was taken.
void FlushStandardOutput();

}  // namespace inspect

#endif
