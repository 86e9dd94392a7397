#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Contract.h"
#include "foundation/CTOOString.h"
#include "foundation/storedev.h"

void Require(bool holds, char const* what) {
  if (!holds) {
    static_cast<void>(std::fprintf(stderr, "beyond the contract: %s\n", what));
    std::abort();
  }
}

namespace {

constexpr unsigned int kNotFound = 0xFFFFFFFF;

char const* Checked(char const* text) {
  Require(text != nullptr, "a null text");
  return text;
}

}  // namespace

CTOOString::CTOOString() = default;
CTOOString::CTOOString(char const* text) : m_text(Checked(text)) {}
CTOOString::CTOOString(CTOOString const& other) : CTOOString(static_cast<char const*>(other)) {}
CTOOString::~CTOOString() = default;

CTOOString& CTOOString::operator=(char const* text) {
  std::string const copy(Checked(text));  // It may be our own.
  m_text = copy;
  ++m_changes;
  return *this;
}

CTOOString& CTOOString::operator=(CTOOString const& other) {
  if (this != &other) {
    *this = static_cast<char const*>(other);
  }
  return *this;
}

CTOOString& CTOOString::operator+=(char const* text) {
  return *this = (std::string(*this) + Checked(text)).c_str();
}

CTOOString& CTOOString::operator+=(CTOOString const& other) {
  return *this += static_cast<char const*>(other);
}

CTOOString CTOOString::operator+(char const* text) const {
  CTOOString sum(*this);
  sum += text;
  return sum;
}

bool CTOOString::operator==(CTOOString const& other) const {
  return std::strcmp(*this, other) == 0;
}

CTOOString::operator char const*() const { return m_text.c_str(); }
bool CTOOString::IsEmpty() const { return Length() == 0; }
unsigned int CTOOString::Length() const {
  return static_cast<unsigned int>(std::strlen(m_text.c_str()));
}

void CTOOString::Load(unsigned char const* bytes, unsigned int n) {
  *this = std::string(bytes, bytes + n).c_str();
}

int CTOOString::CompareNoCase(char const* text) const { return ::strcasecmp(*this, Checked(text)); }
int CTOOString::CollateNoCase(char const* text) const { return ::strcasecmp(*this, Checked(text)); }

unsigned int CTOOString::FindNocase(char const* text) const {
  char const* const found = ::strcasestr(*this, Checked(text));
  return found == nullptr ? kNotFound : static_cast<unsigned int>(found - m_text.c_str());
}

void CTOOString::RemoveSubstring(char const* text, bool ignoreCase) {
  Require(ignoreCase, "RemoveSubstring with false");
  unsigned int const found = FindNocase(text);
  if (found != kNotFound) {
    *this = std::string(*this).erase(found, std::strlen(text)).c_str();
  }
}

void CTOOString::StrAddSlash() {
  if (IsEmpty() || m_text[Length() - 1] != '/') {
    *this += "/";
  }
}

void CTOOString::StrCutSlash(char* text) {
  std::size_t const length = std::strlen(text);
  if (length != 0 && text[length - 1] == '/') {
    text[length - 1] = 0;
  }
}

void storedev::ParseFullPath(char const* path, bool* flag, CTOOString* folder, CTOOString* name,
                             CTOOString* last) {
  std::string const text(path == nullptr ? "" : path);
  std::size_t const slash = text.rfind('/');
  std::size_t const split = slash == std::string::npos ? 0 : slash + 1;
  if (flag != nullptr) {
    *flag = text.empty();
  }
  if (folder != nullptr) {
    *folder = text.substr(0, split).c_str();
  }
  if (name != nullptr) {
    *name = text.substr(split).c_str();
  }
  if (last != nullptr) {
    *last = "";
  }
}

void storedev::MakeFullPath(CTOOString& path, CTOOString const& folder, CTOOString const& name,
                            CTOOString const& last) {
  path = (std::string(folder) + static_cast<char const*>(name) + static_cast<char const*>(last))
             .c_str();
}
