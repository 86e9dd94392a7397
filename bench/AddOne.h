#ifndef QUENDRIL_BENCH_ADDONE_H
#define QUENDRIL_BENCH_ADDONE_H

#include "bench/Contestants.h"
#include "bench/Ground.h"

// Contender::AddOne, or what stands for it.
using AddOneRecord = void (Contender::*)(std::string const&);

// Microseconds of the second add that a handle makes to `count` records: what the first one finds
// out is known.
double AddWithOpenHandle(Ground& ground, Contestant const& one, std::size_t count,
                         AddOneRecord add);

// Throws unless there are so many in the file.
void RequireCount(Contestant const& one, std::string const& file, std::size_t count);

#endif
