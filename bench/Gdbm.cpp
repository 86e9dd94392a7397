// GDBM, without syncing. It has no transactions, and whoever has it open for writing has it alone:
// so it may keep what was added to itself for a while.

#include <gdbm.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "bench/KeyValueStore.h"

namespace {

datum DatumOf(std::string_view text) {
  return {const_cast<char*>(text.data()), static_cast<int>(text.size())};
}

struct Free {
  void operator()(char* memory) const { std::free(memory); }
};
using Owned = std::unique_ptr<char, Free>;

// Waits, as it does not itself, while another process has it.
GDBM_FILE Open(std::string const& file) {
  for (;;) {
    GDBM_FILE const base = gdbm_open(file.c_str(), 0, GDBM_WRCREAT, 0666, nullptr);
    if (base != nullptr) {
      return base;
    }
    if (gdbm_errno != GDBM_CANT_BE_WRITER) {
      throw std::runtime_error("GDBM: cannot open " + file);
    }
    ::usleep(1000);
  }
}

class Gdbm : public KeyValueStore {
 public:
  explicit Gdbm(std::string const& file) : m_base(Open(file)) {}
  ~Gdbm() override { gdbm_close(m_base); }

 protected:
  void Begin(Extent /*extent*/) override {}
  void Commit() override {}

  void Put(std::string_view key, std::string_view value) override {
    if (gdbm_store(m_base, DatumOf(key), DatumOf(value), GDBM_INSERT) < 0) {
      throw std::runtime_error(std::string("GDBM: ") + gdbm_db_strerror(m_base));
    }
  }

  bool Contains(std::string_view key) override { return gdbm_exists(m_base, DatumOf(key)) != 0; }

  void Visit(Visitor const& visitor) override {
    datum key = gdbm_firstkey(m_base);
    while (key.dptr != nullptr) {
      Owned const ownedKey(key.dptr);
      datum const value = gdbm_fetch(m_base, key);
      Owned const ownedValue(value.dptr);
      visitor({value.dptr, static_cast<std::size_t>(value.dsize)});
      key = gdbm_nextkey(m_base, key);
    }
  }

 private:
  GDBM_FILE const m_base;
};

}  // namespace

std::unique_ptr<Contender> MakeGdbm(std::string const& file, std::size_t /*expected*/) {
  return std::make_unique<Gdbm>(file);
}
