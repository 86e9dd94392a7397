#ifndef QUENDRIL_TOOLS_ANNOTATEDDUMP_H
#define QUENDRIL_TOOLS_ANNOTATEDDUMP_H

#include "tools/Console.h"
#include "tools/Field.h"

namespace inspect {

// Prints the fields that it takes: offset, bytes, and what they mean.
class AnnotatedDump : public FieldSink {
 public:
  AnnotatedDump(TextOut& out, bool hasColor) : m_out(out), m_hasColor(hasColor) {}

  void Heading();
  void Take(Field const& field) override;
  void Take(Damage const& damage) override;
  bool IsDamaged() const { return m_isDamaged; }

 private:
  void Line(std::size_t offset, std::string_view bytes, FieldGroup group,
            std::string const& meaning);

  TextOut& m_out;
  bool const m_hasColor;
  bool m_isDamaged = false;
};

}  // namespace inspect

#endif
