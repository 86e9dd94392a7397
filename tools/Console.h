#ifndef QUENDRIL_TOOLS_CONSOLE_H
#define QUENDRIL_TOOLS_CONSOLE_H

#include <cstdio>
#include <string>
#include <string_view>

#include "tools/Field.h"
#include "tools/Options.h"

namespace inspect {

// Whether text for the standard output may carry colours: as the user says, or else on a terminal
// that knows them, unless NO_COLOR is set and not empty.
bool HasColor(Options const& options);

// What turns the colour of the group on for a terminal, and what turns it off again.
char const* ColorOf(FieldGroup group);
extern char const* const kColorEnd;

// What is written to a stream in pieces, gathered. The stream's state tells of failures.
class TextOut {
 public:
  explicit TextOut(std::FILE* out) : m_out(out) {}
  TextOut(TextOut const&) = delete;
  TextOut& operator=(TextOut const&) = delete;
  ~TextOut() { Flush(); }

  void Write(std::string_view text);
  void Flush();

 private:
  std::FILE* m_out;
  std::string m_text;
};

// "1 record", "2 records".
std::string Count(std::size_t count, char const* one, char const* several);
// "1,234,567".
std::string Grouped(std::size_t number);
// "at byte 164 (0xa4)".
std::string AtOffset(std::size_t offset);

}  // namespace inspect

#endif
