#include "tools/JsonWriter.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "tools/Printable.h"

namespace inspect {

namespace {

constexpr std::size_t kGathered = 1U << 16U;

bool IsPlain(char c) { return c >= 0x20 && c < 0x7F && c != '"' && c != '\\'; }

}  // namespace

JsonWriter::~JsonWriter() { Flush(); }

// What could not be written shows in the stream's own state, which is looked at in the end.
void JsonWriter::Flush() {
  static_cast<void>(std::fwrite(m_text.data(), 1, m_text.size(), m_out));
  m_text.clear();
}

void JsonWriter::NewLine() {
  m_text += '\n';
  m_text.append(2 * m_levels.size(), ' ');
}

void JsonWriter::StartValue(std::string_view key) {
  if (!m_levels.empty()) {
    Level& level = m_levels.back();
    if (!level.isEmpty) {
      m_text += level.isLine ? ", " : ",";
    }
    level.isEmpty = false;
    if (!level.isLine) {
      NewLine();
    }
  }
  if (!key.empty()) {
    Quoted(key);
    m_text += ": ";
  }
  if (m_text.size() > kGathered) {
    Flush();
  }
}

void JsonWriter::Quoted(std::string_view text) {
  if (std::all_of(text.begin(), text.end(), IsPlain)) {
    m_text += '"';
    m_text += text;
    m_text += '"';
  } else {
    m_text += nlohmann::json(text).dump();
  }
}

void JsonWriter::Begin(std::string_view key, char begin, char end, Shape shape) {
  StartValue(key);
  m_text += begin;
  bool const isWithinLine = !m_levels.empty() && m_levels.back().isLine;
  m_levels.push_back(Level{end, shape == Shape::Line || isWithinLine, true});
}

void JsonWriter::BeginObject(std::string_view key, Shape shape) { Begin(key, '{', '}', shape); }

void JsonWriter::BeginArray(std::string_view key, Shape shape) { Begin(key, '[', ']', shape); }

void JsonWriter::End() {
  Level const level = m_levels.back();
  m_levels.pop_back();
  if (!level.isLine && !level.isEmpty) {
    NewLine();
  }
  m_text += level.end;
  if (m_levels.empty()) {
    m_text += '\n';
    Flush();
  }
}

void JsonWriter::Text(std::string_view key, std::string_view value) {
  StartValue(key);
  Quoted(value);
}

void JsonWriter::Number(std::string_view key, std::uint64_t value) {
  StartValue(key);
  m_text += std::to_string(value);
}

void JsonWriter::Bool(std::string_view key, bool value) {
  StartValue(key);
  m_text += value ? "true" : "false";
}

void JsonWriter::Name(std::string_view key, std::string_view bytes) {
  if (IsUtf8(bytes)) {
    Text(key, bytes);
    return;
  }
  Text(key, Readable(bytes));
  Hex(std::string(key) + "Hex", bytes);
}

void JsonWriter::Hex(std::string_view key, std::string_view bytes) { Text(key, ToHex(bytes)); }

}  // namespace inspect
