#ifndef QUENDRIL_BENCH_FLOOR_H
#define QUENDRIL_BENCH_FLOOR_H

#include <list>
#include <string>

#include "bench/Contender.h"

// What a catalogue cannot do without, and nothing else, over the catalogue's own file: the measure
// of what the library's own work costs. It keeps no promise: no check of what it reads beyond its
// own safety, no merging, no look whether a path is there already.
//
// Why an add reads and writes the whole file: other processes write it too, under a protocol that
// knows no journal, so the file as it is at that moment is the only truth, and it asks of every
// record whether its container is still there.
class Floor : public Contender {
 public:
  // With `checks` an add and a save ask for every record's container.
  Floor(std::string file, bool checks) : m_file(std::move(file)), m_checks(checks) {}

  // One lock, one read, decoding, one access per record, encoding, a truncation, one write.
  void AddAll(std::vector<PlainRecord> const& records) override;
  // The same.
  void AddOne(std::string const& path) override;
  // One read, decoding.
  std::size_t Load() override;
  // A lean walk: compares the lengths first, then the texts. REQUIRES: Load.
  bool Find(std::string const& path) override;
  // REQUIRES: Load.
  std::size_t Walk() override;

  // The same, with nothing added.
  void Save();

 private:
  void Rewrite(std::vector<PlainRecord> const& added);

  std::string const m_file;
  bool const m_checks;
  std::list<PlainRecord> m_records;
};

#endif
