#ifndef QUENDRIL_BENCH_RECORDS_H
#define QUENDRIL_BENCH_RECORDS_H

#include <list>
#include <string>
#include <vector>

#include "bench/Place.h"
#include "catalogue/ContainerInfo.h"

// The records of every measurement: a path of 60 bytes, blobs of 32 and 64 bytes, and two
// sub-records with blobs of 16 bytes; 240 bytes encoded. Their containers exist.
class Records {
 public:
  Records(Place const& place, std::size_t count);

  std::vector<ContainerInfo> const& All() const { return m_records; }
  // The first `count` of them.
  std::list<ContainerInfo> First(std::size_t count) const;

 private:
  std::vector<ContainerInfo> m_records;
};

// Writes a catalogue file of these.
void WriteCatalogue(std::string const& path, std::list<ContainerInfo> records);

#endif
