#ifndef QUENDRIL_TOOLS_INPUTFILE_H
#define QUENDRIL_TOOLS_INPUTFILE_H

#include <string>

#include "tools/Options.h"

namespace inspect {

// The path that was asked for: the one in the options, or that of the machine-wide catalogue.
std::string PathOf(Options const& options);

// The whole content of the file at `path`. Unless told otherwise it is read under the file's shared
// lock, which is waited for, so that no writer that locks is caught half-way. What is no regular
// file is not opened for long and never waited for. Throws a Failure.
std::string ReadInput(std::string const& path, bool isLocked);

// A text from `path`, a regular file or, for "-", the standard input. No lock. Throws a Failure.
std::string ReadText(std::string const& path);

}  // namespace inspect

#endif
