#ifndef QUENDRIL_BENCH_KEEP_H
#define QUENDRIL_BENCH_KEEP_H

// The compiler must have the value at hand, as if somebody used it.
inline void Keep(void const* value) { asm volatile("" : : "r"(value)); }

#endif
