#ifndef QUENDRIL_TOOLS_JSONWRITER_H
#define QUENDRIL_TOOLS_JSONWRITER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace inspect {

// Writes JSON as it comes, so that a large file needs no more memory than a small one. Objects and
// arrays that are begun as lines stand on one line with all that is in them.
class JsonWriter {
 public:
  enum class Shape { Block, Line };

  explicit JsonWriter(std::FILE* out) : m_out(out) {}
  JsonWriter(JsonWriter const&) = delete;
  JsonWriter& operator=(JsonWriter const&) = delete;
  // Writes out what is gathered.
  ~JsonWriter();

  // Within an array the key is empty.
  void BeginObject(std::string_view key = "", Shape shape = Shape::Block);
  void BeginArray(std::string_view key = "", Shape shape = Shape::Block);
  void End();
  void Text(std::string_view key, std::string_view value);  // In UTF-8.
  void Number(std::string_view key, std::uint64_t value);
  void Bool(std::string_view key, bool value);

  // Bytes that people call a text: readable under the key and, where they are not UTF-8, exact in
  // hexadecimal digits under the key with "Hex" behind it.
  void Name(std::string_view key, std::string_view bytes);
  // Bytes in hexadecimal digits.
  void Hex(std::string_view key, std::string_view bytes);

 private:
  struct Level {
    char end;
    bool isLine;
    bool isEmpty;
  };

  void Begin(std::string_view key, char begin, char end, Shape shape);
  void StartValue(std::string_view key);
  void NewLine();
  void Quoted(std::string_view text);
  void Flush();

  std::FILE* m_out;
  std::string m_text;
  std::vector<Level> m_levels;
};

}  // namespace inspect

#endif
