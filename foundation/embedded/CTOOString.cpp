#include "foundation/CTOOString.h"

#include <cstring>
#include <memory>

#include "foundation/embedded/CaseFolding.h"
#include "foundation/embedded/OrEmpty.h"

namespace {

constexpr unsigned int kNotFound = 0xFFFFFFFF;

// A new buffer with `length` bytes of text and a terminator.
std::unique_ptr<char[]> NewText(char const* text, std::size_t length) {
  std::unique_ptr<char[]> buffer(new char[length + 1]);
  std::memcpy(buffer.get(), text, length);
  buffer[length] = 0;
  return buffer;
}

std::unique_ptr<char[]> Concatenate(char const* first, char const* second) {
  std::size_t const firstLength = std::strlen(first);
  std::size_t const secondLength = std::strlen(second);
  std::unique_ptr<char[]> buffer(new char[firstLength + secondLength + 1]);
  std::memcpy(buffer.get(), first, firstLength);
  std::memcpy(buffer.get() + firstLength, second, secondLength);
  buffer[firstLength + secondLength] = 0;
  return buffer;
}

}  // namespace

CTOOString::CTOOString() : m_text(nullptr), m_none(0) {}

CTOOString::CTOOString(char const* text) : CTOOString() { *this = text; }

CTOOString::CTOOString(CTOOString const& other) : CTOOString() { *this = other.m_text; }

CTOOString::~CTOOString() { delete[] m_text; }

CTOOString& CTOOString::operator=(char const* text) {
  if (text == nullptr || *text == 0) {
    Adopt(nullptr);
  } else if (text != m_text) {
    Adopt(NewText(text, std::strlen(text)).release());
  }
  return *this;
}

CTOOString& CTOOString::operator=(CTOOString const& other) {
  if (this != &other) {
    *this = other.m_text;
  }
  return *this;
}

CTOOString& CTOOString::operator+=(char const* text) {
  Adopt(Concatenate(*this, OrEmpty(text)).release());
  return *this;
}

CTOOString& CTOOString::operator+=(CTOOString const& other) {
  return *this += static_cast<char const*>(other);
}

CTOOString CTOOString::operator+(char const* text) const {
  CTOOString sum;
  sum.Adopt(Concatenate(*this, OrEmpty(text)).release());
  return sum;
}

bool CTOOString::operator==(CTOOString const& other) const {
  return *this == static_cast<char const*>(other);
}

bool CTOOString::operator==(char const* text) const {
  return std::strcmp(*this, OrEmpty(text)) == 0;
}

CTOOString::operator char const*() const { return m_text == nullptr ? &m_none : m_text; }

bool CTOOString::IsEmpty() const { return m_text == nullptr || *m_text == 0; }

unsigned int CTOOString::Length() const {
  return m_text == nullptr ? 0 : static_cast<unsigned int>(std::strlen(m_text));
}

void CTOOString::Load(unsigned char const* bytes, unsigned int n) {
  if (bytes == nullptr || n == 0) {
    Adopt(nullptr);
    return;
  }
  char const* const text = reinterpret_cast<char const*>(bytes);
  Adopt(NewText(text, ::strnlen(text, n)).release());
}

int CTOOString::CompareNoCase(char const* text) const {
  return CompareAsciiNoCase(*this, OrEmpty(text));
}

int CTOOString::CollateNoCase(char const* text) const {
  return CompareFoldedUtf8(*this, OrEmpty(text));
}

unsigned int CTOOString::FindNocase(char const* text) const {
  char const* const own = *this;
  char const* const found = FindAsciiNoCase(own, OrEmpty(text));
  return found == nullptr ? kNotFound : static_cast<unsigned int>(found - own);
}

void CTOOString::RemoveSubstring(char const* text, bool ignoreCase) {
  char const* const wanted = OrEmpty(text);
  char const* const own = *this;
  char const* const found = ignoreCase ? FindAsciiNoCase(own, wanted) : std::strstr(own, wanted);
  if (found == nullptr || *wanted == 0) {
    return;
  }
  std::unique_ptr<char[]> const head = NewText(own, static_cast<std::size_t>(found - own));
  Adopt(Concatenate(head.get(), found + std::strlen(wanted)).release());
}

void CTOOString::StrAddSlash() {
  unsigned int const length = Length();
  if (length == 0 || m_text[length - 1] != '/') {
    *this += "/";
  }
}

void CTOOString::StrCutSlash(char* text) {
  std::size_t const length = text == nullptr ? 0 : std::strlen(text);
  if (length != 0 && text[length - 1] == '/') {
    text[length - 1] = 0;
  }
}

void CTOOString::Adopt(char* text) {
  delete[] m_text;
  m_text = text;
}
