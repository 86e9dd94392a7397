#include "bench/SqliteCatalogue.h"

#include <sqlite3.h>

#include <stdexcept>

SqliteCatalogue::SqliteCatalogue(std::string const& path, Journal journal) {
  if (sqlite3_open(path.c_str(), &m_base) != SQLITE_OK) {
    Fail();
  }
  Run(journal == Journal::Wal ? "PRAGMA journal_mode = WAL" : "PRAGMA journal_mode = DELETE");
  Run("PRAGMA synchronous = OFF");
  Run("CREATE TABLE IF NOT EXISTS containers (path TEXT COLLATE NOCASE UNIQUE, param INTEGER,"
      " ident1 BLOB, ident2 BLOB, subs BLOB)");
  if (sqlite3_prepare_v2(m_base, "INSERT OR IGNORE INTO containers VALUES (?, ?, ?, ?, ?)", -1,
                         &m_insert, nullptr) != SQLITE_OK) {
    Fail();
  }
}

SqliteCatalogue::~SqliteCatalogue() {
  sqlite3_finalize(m_insert);
  sqlite3_close(m_base);
}

void SqliteCatalogue::AddAll(std::vector<ContainerInfo> const& records, std::size_t from,
                             std::size_t count) {
  Run("BEGIN IMMEDIATE");
  for (std::size_t number = from; number < from + count; ++number) {
    Add(records[number]);
  }
  Run("COMMIT");
}

void SqliteCatalogue::Add(ContainerInfo const& record) {
  std::string subs;
  for (SubContInfo const& sub : record.SubConts) {
    IdentObj const blob = const_cast<SubContInfo&>(sub).WriteData();
    subs.append(reinterpret_cast<char const*>(blob.Data), blob.Length);
  }
  auto const blob = [&](int column, void const* data, std::size_t size) {
    sqlite3_bind_blob(m_insert, column, data, static_cast<int>(size), SQLITE_STATIC);
  };
  sqlite3_bind_text(m_insert, 1, record.Path, static_cast<int>(record.Path.Length()),
                    SQLITE_STATIC);
  sqlite3_bind_int64(m_insert, 2, record.Param);
  blob(3, record.Ident1.Data, record.Ident1.Length);
  blob(4, record.Ident2.Data, record.Ident2.Length);
  blob(5, subs.data(), subs.size());
  int const result = sqlite3_step(m_insert);
  sqlite3_reset(m_insert);
  if (result != SQLITE_DONE) {
    Fail();
  }
}

long SqliteCatalogue::Count() {
  sqlite3_stmt* count = nullptr;
  if (sqlite3_prepare_v2(m_base, "SELECT count(*) FROM containers", -1, &count, nullptr) !=
          SQLITE_OK ||
      sqlite3_step(count) != SQLITE_ROW) {
    Fail();
  }
  long const result = sqlite3_column_int64(count, 0);
  sqlite3_finalize(count);
  return result;
}

void SqliteCatalogue::Run(char const* statement) {
  if (sqlite3_exec(m_base, statement, nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail();
  }
}

void SqliteCatalogue::Fail() {
  throw std::runtime_error(std::string("SQLite: ") + sqlite3_errmsg(m_base));
}
