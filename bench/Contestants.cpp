#include "bench/Contestants.h"

std::vector<Contestant> const& Contestants() {
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
