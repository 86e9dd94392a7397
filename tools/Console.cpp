#include "tools/Console.h"

#include <unistd.h>

#include <array>
#include <cstdlib>

#include <fmt/format.h>

namespace inspect {

namespace {

constexpr std::size_t kGathered = 1U << 16U;

std::string Environment(char const* name) {
  char const* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets it
  return value == nullptr ? "" : value;
}

}  // namespace

char const* const kColorEnd = "\x1b[0m";

bool HasColor(Options const& options) {
  if (options.color != "auto") {
    return options.color == "always";
  }
  return ::isatty(STDOUT_FILENO) != 0 && Environment("NO_COLOR").empty() &&
         Environment("TERM") != "dumb";
}

char const* ColorOf(FieldGroup group) {
  constexpr std::array<char const*, 9> kColors{
      "\x1b[36m",  // Header words: cyan.
      "\x1b[96m",  // Header: bright cyan.
      "\x1b[90m",  // Lengths: grey.
      "\x1b[32m",  // Path: green.
      "\x1b[33m",  // Idents: yellow.
      "\x1b[35m",  // Param: magenta.
      "\x1b[34m",  // Sub-records: blue.
      "\x1b[2m",   // Unused: dim.
      "\x1b[31m",  // Damage: red.
  };
  return kColors.at(static_cast<std::size_t>(group));
}

void TextOut::Write(std::string_view text) {
  m_text += text;
  if (m_text.size() > kGathered) {
    Flush();
  }
}

void TextOut::Flush() {
  static_cast<void>(std::fwrite(m_text.data(), 1, m_text.size(), m_out));
  m_text.clear();
}

std::string Count(std::size_t count, char const* one, char const* several) {
  return fmt::format("{} {}", Grouped(count), count == 1 ? one : several);
}

std::string Grouped(std::size_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t place = digits.size(); place > 3; place -= 3) {
    digits.insert(place - 3, ",");
  }
  return digits;
}

std::string AtOffset(std::size_t offset) { return fmt::format("at byte {0} ({0:#x})", offset); }

}  // namespace inspect
