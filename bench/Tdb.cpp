// TDB, without syncing, with about one hash chain for each record that is expected.

#include <fcntl.h>
#include <tdb.h>

#include <algorithm>
#include <stdexcept>

#include "bench/KeyValueStore.h"

namespace {

constexpr std::size_t kFewestChains = 131;

TDB_DATA DataOf(std::string_view text) {
  return {reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())), text.size()};
}

class Tdb : public KeyValueStore {
 public:
  Tdb(std::string const& file, std::size_t expected)
      : m_base(tdb_open(file.c_str(), static_cast<int>(std::max(expected, kFewestChains) | 1U),
                        TDB_NOSYNC, O_RDWR | O_CREAT, 0666)) {
    if (m_base == nullptr) {
      throw std::runtime_error("TDB: cannot open " + file);
    }
  }
  ~Tdb() override { tdb_close(m_base); }

 protected:
  void Begin(Extent extent) override {
    m_extent = extent;
    if (extent == Extent::Many) {
      Check(tdb_transaction_start(m_base));
    } else if (extent == Extent::OneAmongAll) {
      Check(tdb_lockall(m_base));
    }
  }

  void Commit() override {
    if (m_extent == Extent::Many) {
      Check(tdb_transaction_commit(m_base));
    } else if (m_extent == Extent::OneAmongAll) {
      Check(tdb_unlockall(m_base));
    }
    m_extent = Extent::One;
  }

  void Put(std::string_view key, std::string_view value) override {
    if (tdb_store(m_base, DataOf(key), DataOf(value), TDB_INSERT) != 0 &&
        tdb_error(m_base) != TDB_ERR_EXISTS) {
      Check(-1);
    }
  }

  bool Contains(std::string_view key) override {
    auto const look = [](TDB_DATA, TDB_DATA, void*) { return 0; };
    return tdb_parse_record(m_base, DataOf(key), look, nullptr) == 0;
  }

  void Visit(Visitor const& visitor) override {
    auto const visit = [](TDB_CONTEXT*, TDB_DATA, TDB_DATA value, void* state) {
      (*static_cast<Visitor const*>(state))(
          {reinterpret_cast<char const*>(value.dptr), value.dsize});
      return 0;
    };
    // One lock for all: with one for each record it takes ten times as long.
    bool const isLocked = m_extent == Extent::OneAmongAll;
    Check(isLocked ? 0 : tdb_lockall_read(m_base));
    int const visited = tdb_traverse_read(m_base, visit, const_cast<Visitor*>(&visitor));
    Check(isLocked ? 0 : tdb_unlockall_read(m_base));
    Check(visited < 0 ? -1 : 0);
  }

 private:
  void Check(int result) const {
    if (result != 0) {
      throw std::runtime_error(std::string("TDB: ") + tdb_errorstr(m_base));
    }
  }

  TDB_CONTEXT* const m_base;
  Extent m_extent = Extent::One;
};

}  // namespace

std::unique_ptr<Contender> MakeTdb(std::string const& file, std::size_t expected) {
  return std::make_unique<Tdb>(file, expected);
}
