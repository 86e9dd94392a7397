// SQLite: a table whose paths are unique whatever their case. Synchronous off.

#include <sqlite3.h>
#include <unistd.h>

#include <list>
#include <stdexcept>

#include "bench/Contender.h"
#include "bench/Keep.h"

namespace {

constexpr int kBusyTimeout = 60000;  // Milliseconds.

class Sqlite : public Contender {
 public:
  Sqlite(std::string const& file, char const* journal);
  ~Sqlite() override;

  void AddAll(std::vector<PlainRecord> const& records) override;
  void AddOne(std::string const& path) override;
  void AddOneUnderContract(std::string const& path) override;
  std::size_t Load() override;
  bool Find(std::string const& path) override;
  std::size_t Walk() override;

 private:
  void Run(char const* statement);
  sqlite3_stmt* Prepare(char const* statement);
  // Whether there is a row.
  bool Step(sqlite3_stmt* statement);
  void Insert(PlainRecord const& record);
  [[noreturn]] void Fail() const;

  sqlite3* m_base = nullptr;
  sqlite3_stmt* m_insert = nullptr;
  sqlite3_stmt* m_select = nullptr;
  sqlite3_stmt* m_selectAll = nullptr;
  sqlite3_stmt* m_selectPaths = nullptr;
  std::list<PlainRecord> m_records;
};

Sqlite::Sqlite(std::string const& file, char const* journal) {
  if (sqlite3_open(file.c_str(), &m_base) != SQLITE_OK) {
    Fail();
  }
  sqlite3_busy_timeout(m_base, kBusyTimeout);
  Run(journal);
  Run("PRAGMA synchronous = OFF");
  Run("CREATE TABLE IF NOT EXISTS containers (path TEXT COLLATE NOCASE UNIQUE, param INTEGER,"
      " ident1 BLOB, ident2 BLOB, subs BLOB)");
}

Sqlite::~Sqlite() {
  for (sqlite3_stmt* const statement : {m_insert, m_select, m_selectAll, m_selectPaths}) {
    sqlite3_finalize(statement);
  }
  sqlite3_close(m_base);
}

void Sqlite::AddAll(std::vector<PlainRecord> const& records) {
  Run("BEGIN IMMEDIATE");
  for (PlainRecord const& record : records) {
    Insert(record);
  }
  Run("COMMIT");
}

void Sqlite::AddOne(std::string const& path) {
  PlainRecord record;
  record.path = path;
  Insert(record);
}

void Sqlite::AddOneUnderContract(std::string const& path) {
  Run("BEGIN IMMEDIATE");
  if (m_selectPaths == nullptr) {
    m_selectPaths = Prepare("SELECT path FROM containers");
  }
  while (Step(m_selectPaths)) {
    auto const* const text = sqlite3_column_text(m_selectPaths, 0);
    if (::access(reinterpret_cast<char const*>(text), F_OK) != 0) {
      // All of them exist here, so nobody is measured removing any.
      throw std::runtime_error("a container is gone");
    }
  }
  AddOne(path);
  Run("COMMIT");
}

std::size_t Sqlite::Load() {
  if (m_selectAll == nullptr) {
    m_selectAll = Prepare("SELECT path, param, ident1, ident2, subs FROM containers");
  }
  auto const bytes = [this](int column) {
    auto const* const data = static_cast<char const*>(sqlite3_column_blob(m_selectAll, column));
    return std::string_view(data,
                            static_cast<std::size_t>(sqlite3_column_bytes(m_selectAll, column)));
  };
  m_records.clear();
  while (Step(m_selectAll)) {
    PlainRecord& record = m_records.emplace_back();
    record.path = bytes(0);
    record.param = static_cast<std::uint32_t>(sqlite3_column_int64(m_selectAll, 1));
    record.ident1 = bytes(2);
    record.ident2 = bytes(3);
    std::size_t position = 0;
    TakeSubRecords(bytes(4), position, record);
  }
  return m_records.size();
}

bool Sqlite::Find(std::string const& path) {
  if (m_select == nullptr) {
    m_select = Prepare("SELECT param, ident1, ident2, subs FROM containers WHERE path = ?");
  }
  sqlite3_bind_text(m_select, 1, path.data(), static_cast<int>(path.size()), SQLITE_STATIC);
  bool const isThere = Step(m_select);
  sqlite3_reset(m_select);
  return isThere;
}

std::size_t Sqlite::Walk() {
  if (m_selectPaths == nullptr) {
    m_selectPaths = Prepare("SELECT path FROM containers");
  }
  std::size_t count = 0;
  while (Step(m_selectPaths)) {
    Keep(sqlite3_column_text(m_selectPaths, 0));
    ++count;
  }
  return count;
}

void Sqlite::Run(char const* statement) {
  if (sqlite3_exec(m_base, statement, nullptr, nullptr, nullptr) != SQLITE_OK) {
    Fail();
  }
}

sqlite3_stmt* Sqlite::Prepare(char const* statement) {
  sqlite3_stmt* result = nullptr;
  if (sqlite3_prepare_v2(m_base, statement, -1, &result, nullptr) != SQLITE_OK) {
    Fail();
  }
  return result;
}

bool Sqlite::Step(sqlite3_stmt* statement) {
  int const result = sqlite3_step(statement);
  if (result == SQLITE_ROW) {
    return true;
  }
  sqlite3_reset(statement);
  if (result != SQLITE_DONE) {
    Fail();
  }
  return false;
}

void Sqlite::Insert(PlainRecord const& record) {
  if (m_insert == nullptr) {
    m_insert = Prepare("INSERT OR IGNORE INTO containers VALUES (?, ?, ?, ?, ?)");
  }
  std::string subs;
  AppendSubRecords(subs, record);
  auto const bindBlob = [this](int column, std::string const& blob) {
    sqlite3_bind_blob(m_insert, column, blob.data(), static_cast<int>(blob.size()), SQLITE_STATIC);
  };
  sqlite3_bind_text(m_insert, 1, record.path.data(), static_cast<int>(record.path.size()),
                    SQLITE_STATIC);
  sqlite3_bind_int64(m_insert, 2, record.param);
  bindBlob(3, record.ident1);
  bindBlob(4, record.ident2);
  bindBlob(5, subs);
  Step(m_insert);
}

void Sqlite::Fail() const {
  throw std::runtime_error(std::string("SQLite: ") + sqlite3_errmsg(m_base));
}

}  // namespace

std::unique_ptr<Contender> MakeSqliteWal(std::string const& file, std::size_t /*expected*/) {
  return std::make_unique<Sqlite>(file, "PRAGMA journal_mode = WAL");
}

std::unique_ptr<Contender> MakeSqliteRollback(std::string const& file, std::size_t /*expected*/) {
  return std::make_unique<Sqlite>(file, "PRAGMA journal_mode = DELETE");
}
