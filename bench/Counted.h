#ifndef QUENDRIL_BENCH_COUNTED_H
#define QUENDRIL_BENCH_COUNTED_H

#include <functional>

// Does `work` so that those who watch the process can tell it from what stands before and after:
// its instructions are those inside of this function, its system calls those between two that
// calls.py knows.
extern "C" void CountedWork(std::function<void()> const& work);

#endif
