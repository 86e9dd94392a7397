#ifndef QUENDRIL_BENCH_CONTESTANTS_H
#define QUENDRIL_BENCH_CONTESTANTS_H

#include <string>
#include <vector>

#include "bench/Contender.h"

// The contenders by the names that the table and the helper programs use.
struct Contestant {
  std::string name;
  MakeContender make;
};

std::vector<Contestant> const& Contestants();

#endif
