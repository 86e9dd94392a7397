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

inline std::vector<Contestant> const& Contestants() {
  static std::vector<Contestant> const all{
      {"quendril", &MakeQuendril},
      {"floor", &MakeFloor},
      {"sqlite-wal", &MakeSqliteWal},
      {"sqlite-rollback", &MakeSqliteRollback},
      {"lmdb", &MakeLmdb},
      {"tdb", &MakeTdb},
      {"gdbm", &MakeGdbm},
  };
  return all;
}

#endif
