#ifndef QUENDRIL_BENCH_WORKLOADS_H
#define QUENDRIL_BENCH_WORKLOADS_H

#include <stdexcept>

#include "bench/Session.h"

// What is measured, each in a source file of its own.
void RunLoad(Session& session);
void RunAdd(Session& session);
void RunSave(Session& session);
void RunEdit(Session& session);
void RunFind(Session& session);
void RunWalk(Session& session);
void RunCrowd(Session& session);
void RunMemory(Session& session);
void RunMillion(Session& session);

// How often one repetition does a thing to `count` records, so that it takes long enough to be
// timed well.
inline int RoundsFor(std::size_t count) {
  return count <= 100 ? 40 : count <= 1000 ? 20 : count <= 10000 ? 5 : 1;
}

// That what was measured came out as it should.
inline void Require(bool isGood) {
  if (!isGood) {
    throw std::runtime_error("another outcome than it should be");
  }
}

#endif
