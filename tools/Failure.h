#ifndef QUENDRIL_TOOLS_FAILURE_H
#define QUENDRIL_TOOLS_FAILURE_H

#include <stdexcept>
#include <string>

namespace inspect {

// How the program ends. What a command found counts from the top: a damaged file is 4 even if it
// differs from another, too.
enum class ExitStatus : int {
  Success = 0,
  Different = 1,  // diff: the files differ. check: the next save changes or drops something.
                  // show: there is no such record.
  Usage = 2,
  Failed = 3,   // It could not be done: no such file, no right to it, no room for the output.
  Damaged = 4,  // Something in the file does not fit; what can be read was shown or taken.
};

// Why something could not be done, and what the user can do about it. Ends the program with
// ExitStatus::Failed.
class Failure : public std::runtime_error {
 public:
  // `where` is a path or, with its offset or its record, a place in one.
  Failure(std::string const& where, std::string const& why, std::string advice = "")
      : std::runtime_error(where + ": " + why), m_advice(std::move(advice)) {}

  std::string const& Advice() const { return m_advice; }

 private:
  std::string m_advice;
};

}  // namespace inspect

#endif
