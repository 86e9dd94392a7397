#ifndef QUENDRIL_SECOND_BASE_CTOOSTRING_H
#define QUENDRIL_SECOND_BASE_CTOOSTRING_H

#include <string>

#include "foundation/export.h"

// The text is what stands before the first zero byte of a std::string: a caller may shorten it in
// place. It is copied, never moved, and null is no text: it ends the program.
class QUENDRIL_EXPORT CTOOString {
 public:
  CTOOString();
  CTOOString(char const* text);  // NOLINT(google-explicit-constructor)
  CTOOString(CTOOString const& other);
  ~CTOOString();

  CTOOString& operator=(char const* text);
  CTOOString& operator=(CTOOString const& other);
  CTOOString& operator+=(char const* text);
  CTOOString& operator+=(CTOOString const& other);
  CTOOString operator+(char const* text) const;
  bool operator==(CTOOString const& other) const;
  operator char const*() const;  // NOLINT(google-explicit-constructor)

  bool IsEmpty() const;
  unsigned int Length() const;
  void Load(unsigned char const* bytes, unsigned int n);
  int CompareNoCase(char const* text) const;
  int CollateNoCase(char const* text) const;
  unsigned int FindNocase(char const* text) const;
  void RemoveSubstring(char const* text, bool ignoreCase);
  void StrAddSlash();
  static void StrCutSlash(char* text);

 private:
  unsigned long m_changes = 0;  // Of no use but to give the object another size.
  std::string m_text;
};

#endif
