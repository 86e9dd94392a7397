#include "tools/AnnotatedDump.h"

#include <algorithm>

#include <fmt/compile.h>
#include <fmt/format.h>

#include "tools/Printable.h"

namespace inspect {

namespace {

constexpr std::size_t kBytesPerLine = 16;
constexpr std::size_t kHexWidth = 3 * kBytesPerLine;
constexpr std::size_t kTextShown = 80;

// "0a 0b", as wide as a full line.
std::string HexColumn(std::string_view bytes, std::size_t width) {
  std::string const digits = ToHex(bytes);
  std::string column;
  column.reserve(width + 3);
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    column.append(digits, i, 2);
    column += ' ';
  }
  column.pop_back();
  column.resize(std::max(width, column.size()), ' ');
  return column;
}

bool IsText(FieldKind kind) {
  FieldGroup const group = GroupOf(kind);
  return group == FieldGroup::Path || group == FieldGroup::Ident || group == FieldGroup::Header ||
         kind == FieldKind::SubIdent;
}

std::string MeaningOf(Field const& field) {
  std::string name = NameOf(field);
  if (field.kind == FieldKind::CleanedMark) {
    return fmt::format("{} (0: the next load tests the records): {}", name, field.value);
  }
  if (IsWord(field.kind)) {
    bool const isLength = name.size() > 6 && name.substr(name.size() - 6) == "length";
    return fmt::format("{}: {}{}", name, field.value, isLength ? " bytes" : "");
  }
  if (!IsText(field.kind)) {
    return name;
  }
  std::string_view const shown = field.bytes.substr(0, kTextShown);
  return fmt::format("{} \"{}\"{}", name, Printable(shown),
                     shown.size() < field.bytes.size() ? "..." : "");
}

}  // namespace

void AnnotatedDump::Heading() {
  m_out.Write(fmt::format("{:<8}  {:<{}}  {}\n", "offset", "bytes", kHexWidth, "meaning"));
}

void AnnotatedDump::Take(Field const& field) {
  std::string const meaning(2 * static_cast<std::size_t>(DepthOf(field.kind)), ' ');
  for (std::size_t done = 0; done < field.bytes.size(); done += kBytesPerLine) {
    Line(field.offset + done, field.bytes.substr(done, kBytesPerLine), GroupOf(field.kind),
         done == 0 ? meaning + MeaningOf(field) : "");
  }
}

void AnnotatedDump::Take(Damage const& damage) {
  m_out.Write(fmt::format("{:08x}  {}DAMAGED: {}{}\n", damage.offset,
                          m_hasColor ? ColorOf(FieldGroup::Damage) : "", Explain(damage),
                          m_hasColor ? kColorEnd : ""));
  m_isDamaged = true;
}

void AnnotatedDump::Line(std::size_t offset, std::string_view bytes, FieldGroup group,
                         std::string const& meaning) {
  m_out.Write(fmt::format(FMT_COMPILE("{:08x}  "), offset));
  m_out.Write(m_hasColor ? ColorOf(group) : "");
  m_out.Write(HexColumn(bytes, meaning.empty() ? 0 : kHexWidth));
  m_out.Write(meaning.empty() ? "" : "  ");
  m_out.Write(meaning);
  m_out.Write(m_hasColor ? kColorEnd : "");
  m_out.Write("\n");
}

}  // namespace inspect
