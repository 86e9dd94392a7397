#ifndef QUENDRIL_BENCH_SQLITECATALOGUE_H
#define QUENDRIL_BENCH_SQLITECATALOGUE_H

#include <memory>
#include <string>
#include <vector>

#include "catalogue/ContainerInfo.h"

struct sqlite3;
struct sqlite3_stmt;

// The same records in an SQLite table whose paths are unique whatever their case. No fsync
// (synchronous off). Throws std::runtime_error.
class SqliteCatalogue {
 public:
  enum class Journal { Wal, Rollback };

  SqliteCatalogue(std::string const& path, Journal journal);
  SqliteCatalogue(SqliteCatalogue const&) = delete;
  SqliteCatalogue& operator=(SqliteCatalogue const&) = delete;
  ~SqliteCatalogue();

  // In one transaction. A path that is there already is left alone.
  void AddAll(std::vector<ContainerInfo> const& records, std::size_t from, std::size_t count);
  long Count();

 private:
  void Run(char const* statement);
  void Add(ContainerInfo const& record);
  [[noreturn]] void Fail();

  sqlite3* m_base = nullptr;
  sqlite3_stmt* m_insert = nullptr;
};

#endif
