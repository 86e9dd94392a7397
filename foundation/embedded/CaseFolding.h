#ifndef QUENDRIL_FOUNDATION_EMBEDDED_CASEFOLDING_H
#define QUENDRIL_FOUNDATION_EMBEDDED_CASEFOLDING_H

// Comparisons that ignore case. None of them looks at the locale of the process: two processes with
// different locales must agree about which record a path names.

// 0 when equal, the case of ASCII letters ignored; otherwise the sign of the order.
int CompareAsciiNoCase(char const* first, char const* second);

// The first occurrence of `wanted` in `text`, the case of ASCII letters ignored; null when there is
// none.
char const* FindAsciiNoCase(char const* text, char const* wanted);

// 0 when equal under lower case over UTF-8; otherwise the sign of the order. Bytes that are no
// UTF-8 equal only themselves.
int CompareFoldedUtf8(char const* first, char const* second);

#endif
