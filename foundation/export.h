#ifndef QUENDRIL_FOUNDATION_EXPORT_H
#define QUENDRIL_FOUNDATION_EXPORT_H

// Marks what is seen outside the shared library that defines it. Everything is built with hidden
// visibility, and each library's version script (cmake/*.map) has the last word.
#define QUENDRIL_EXPORT __attribute__((visibility("default")))

#endif
