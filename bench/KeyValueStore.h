#ifndef QUENDRIL_BENCH_KEYVALUESTORE_H
#define QUENDRIL_BENCH_KEYVALUESTORE_H

#include <functional>
#include <list>
#include <string>
#include <string_view>

#include "bench/Contender.h"

// A store of keys and values: the key is the path in small letters, the value the encoded record.
class KeyValueStore : public Contender {
 public:
  void AddAll(std::vector<PlainRecord> const& records) override;
  void AddOne(std::string const& path) override;
  void AddOneUnderContract(std::string const& path) override;
  std::size_t Load() override;
  bool Find(std::string const& path) override;
  std::size_t Walk() override;

 protected:
  // What stands between Begin and Commit: one Put; one Put and a visit of all before; many Puts.
  enum class Extent { One, OneAmongAll, Many };
  using Visitor = std::function<void(std::string_view value)>;

  virtual void Begin(Extent extent) = 0;
  virtual void Commit() = 0;
  // Nothing when the key is there already.
  virtual void Put(std::string_view key, std::string_view value) = 0;
  virtual bool Contains(std::string_view key) = 0;
  virtual void Visit(Visitor const& visitor) = 0;

 private:
  std::list<PlainRecord> m_records;
};

#endif
