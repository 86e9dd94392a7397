#ifndef QUENDRIL_FOUNDATION_CTOOSTRING_H
#define QUENDRIL_FOUNDATION_CTOOSTRING_H

#include "foundation/export.h"

// The string of every path and name: 8-bit text that ends at its first zero byte. It owns its
// buffer and never shares it. Wherever a text is asked for, null counts as the empty text.
//
// No length is stored: a caller may shorten the text in place through the pointer that
// `operator char const*` gives, and every operation sees the shortened text.
//
// Threads: one object, one thread at a time; several may read it at once.
class QUENDRIL_EXPORT CTOOString {
 public:
  CTOOString();
  // Not explicit: names are passed as literals.
  CTOOString(char const* text);  // NOLINT(google-explicit-constructor)
  CTOOString(CTOOString const& other);
  // Takes the other's buffer and leaves it empty. Inline, so that the library asks nothing more of
  // a host's base library than copying.
  CTOOString(CTOOString&& other) noexcept : m_text(other.m_text), m_none(0) {
    other.m_text = nullptr;
  }
  ~CTOOString();

  // Assigning a string from (a part of) its own buffer works.
  CTOOString& operator=(char const* text);
  CTOOString& operator=(CTOOString const& other);
  // cppcheck-suppress operatorEqVarError ; m_none never changes
  CTOOString& operator=(CTOOString&& other) noexcept {
    char* const text = m_text;
    m_text = other.m_text;
    other.m_text = text;
    return *this;
  }

  CTOOString& operator+=(char const* text);
  CTOOString& operator+=(CTOOString const& other);
  CTOOString operator+(char const* text) const;

  // Exact, case-sensitive equality.
  bool operator==(CTOOString const& other) const;
  bool operator==(char const* text) const;

  // The string's own zero-terminated buffer; valid until the string is changed or destroyed. The
  // text may be shortened in place by writing a zero through it.
  operator char const*() const;  // NOLINT(google-explicit-constructor)

  bool IsEmpty() const;
  // In bytes, without the terminator.
  unsigned int Length() const;

  // Sets the text from `n` bytes that need no terminator; it ends early at a zero byte.
  void Load(unsigned char const* bytes, unsigned int n);

  // 0 when equal, the case of ASCII letters ignored; otherwise the sign of the order.
  int CompareNoCase(char const* text) const;
  // 0 when equal under case folding over UTF-8, whatever the locale of the process; otherwise the
  // sign of the order. Bytes that are no UTF-8 are compared as they are.
  int CollateNoCase(char const* text) const;
  // Index in bytes of the first occurrence, the case of ASCII letters ignored; 0xFFFFFFFF when
  // there is none.
  unsigned int FindNocase(char const* text) const;

  // Removes the first occurrence of `text`, if there is one; `ignoreCase` as in FindNocase.
  void RemoveSubstring(char const* text, bool ignoreCase);

  // Appends "/" unless the text already ends with one.
  void StrAddSlash();
  // Removes one trailing "/" from a zero-terminated buffer, in place.
  static void StrCutSlash(char* text);

 private:
  // Takes over a buffer made by new char[].
  void Adopt(char* text);

  char* m_text;  // Owned; null for the text that was never set, which m_none then stands for.
  char m_none;   // Always 0.
};

#endif
