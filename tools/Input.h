#ifndef QUENDRIL_TOOLS_INPUT_H
#define QUENDRIL_TOOLS_INPUT_H

#include <string>

#include "tools/Failure.h"
#include "tools/InputFile.h"
#include "tools/Options.h"
#include "tools/RecordFile.h"

namespace inspect {

// A catalogue file that was read, with what its bytes are. It stays where it is: the parts refer to
// the bytes.
class Input {
 public:
  // Reads the file that the options name. Throws a Failure.
  explicit Input(Options const& options)
      : path(PathOf(options)), bytes(ReadInput(path, options.isLocked)), file(ParseFile(bytes)) {}
  // A file that was read.
  Input(std::string name, std::string content)
      : path(std::move(name)), bytes(std::move(content)), file(ParseFile(bytes)) {}
  Input(Input const&) = delete;
  Input& operator=(Input const&) = delete;
  ~Input() = default;

  std::string const path;
  std::string const bytes;
  RecordFile const file;
};

// Says on the standard error where the file stops making sense, if it does.
void TellDamage(Input const& input);

}  // namespace inspect

#endif
