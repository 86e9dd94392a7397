#ifndef QUENDRIL_FOUNDATION_EMBEDDED_OREMPTY_H
#define QUENDRIL_FOUNDATION_EMBEDDED_OREMPTY_H

// Null counts as the empty text wherever the base services ask for one.
inline char const* OrEmpty(char const* text) { return text == nullptr ? "" : text; }

#endif
