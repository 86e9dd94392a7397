// LMDB, without syncing.

#include <lmdb.h>

#include <stdexcept>

#include "bench/KeyValueStore.h"

namespace {

constexpr std::size_t kMapSize = std::size_t{1} << 32;

void Check(int result) {
  if (result != MDB_SUCCESS) {
    throw std::runtime_error(std::string("LMDB: ") + mdb_strerror(result));
  }
}

MDB_val ValOf(std::string_view text) { return {text.size(), const_cast<char*>(text.data())}; }

class Lmdb : public KeyValueStore {
 public:
  explicit Lmdb(std::string const& file) {
    Check(mdb_env_create(&m_environment));
    Check(mdb_env_set_mapsize(m_environment, kMapSize));
    Check(mdb_env_open(m_environment, file.c_str(), MDB_NOSUBDIR | MDB_NOSYNC, 0666));
    MDB_txn* transaction = nullptr;
    Check(mdb_txn_begin(m_environment, nullptr, MDB_RDONLY, &transaction));
    Check(mdb_dbi_open(transaction, nullptr, 0, &m_base));
    Check(mdb_txn_commit(transaction));
  }
  ~Lmdb() override { mdb_env_close(m_environment); }

 protected:
  void Begin(Extent /*extent*/) override {
    Check(mdb_txn_begin(m_environment, nullptr, 0, &m_transaction));
  }

  void Commit() override {
    Check(mdb_txn_commit(m_transaction));
    m_transaction = nullptr;
  }

  void Put(std::string_view key, std::string_view value) override {
    MDB_val keyVal = ValOf(key);
    MDB_val valueVal = ValOf(value);
    int const result = mdb_put(m_transaction, m_base, &keyVal, &valueVal, MDB_NOOVERWRITE);
    Check(result == MDB_KEYEXIST ? MDB_SUCCESS : result);
  }

  bool Contains(std::string_view key) override {
    MDB_val keyVal = ValOf(key);
    MDB_val valueVal{};
    ReadTransaction const reading(*this);
    return mdb_get(reading.Get(), m_base, &keyVal, &valueVal) == MDB_SUCCESS;
  }

  void Visit(Visitor const& visitor) override {
    ReadTransaction const reading(*this);
    MDB_cursor* cursor = nullptr;
    Check(mdb_cursor_open(reading.Get(), m_base, &cursor));
    MDB_val key{};
    MDB_val value{};
    while (mdb_cursor_get(cursor, &key, &value, MDB_NEXT) == MDB_SUCCESS) {
      visitor({static_cast<char const*>(value.mv_data), value.mv_size});
    }
    mdb_cursor_close(cursor);
  }

 private:
  // That for writing if there is one, otherwise one of its own.
  class ReadTransaction {
   public:
    explicit ReadTransaction(Lmdb& store)
        : m_transaction(store.m_transaction), m_isOwn(store.m_transaction == nullptr) {
      if (m_isOwn) {
        Check(mdb_txn_begin(store.m_environment, nullptr, MDB_RDONLY, &m_transaction));
      }
    }
    ReadTransaction(ReadTransaction const&) = delete;
    ReadTransaction& operator=(ReadTransaction const&) = delete;
    ~ReadTransaction() {
      if (m_isOwn) {
        mdb_txn_abort(m_transaction);
      }
    }

    MDB_txn* Get() const { return m_transaction; }

   private:
    MDB_txn* m_transaction;
    bool const m_isOwn;
  };

  MDB_env* m_environment = nullptr;
  MDB_dbi m_base = 0;
  MDB_txn* m_transaction = nullptr;
};

}  // namespace

std::unique_ptr<Contender> MakeLmdb(std::string const& file, std::size_t /*expected*/) {
  return std::make_unique<Lmdb>(file);
}
