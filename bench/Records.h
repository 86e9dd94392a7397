#ifndef QUENDRIL_BENCH_RECORDS_H
#define QUENDRIL_BENCH_RECORDS_H

#include <string>
#include <vector>

#include "bench/PlainRecord.h"

// The path of container `number` in `folder`: 60 bytes. Throws std::runtime_error for a folder
// whose own path leaves too little of them.
std::string ContainerPath(std::string const& folder, std::size_t number);

// Record `number`; see Records.
PlainRecord MakeRecord(std::string path, std::size_t number);

// The records of every measurement: a path of 60 bytes, blobs of 32 and 64 bytes, and two
// sub-records with blobs of 16 bytes; 240 bytes encoded. Their containers exist.
class Records {
 public:
  // `folder` is made.
  explicit Records(std::string folder);

  // Makes the containers up to `count` that are not there yet. They are files, so this takes time.
  void Provide(std::size_t count);

  std::string const& Folder() const { return m_folder; }
  std::string Path(std::size_t number) const { return ContainerPath(m_folder, number); }
  // REQUIRES: their containers are provided.
  std::vector<PlainRecord> Range(std::size_t from, std::size_t count) const;

 private:
  std::string const m_folder;
  std::size_t m_provided = 0;
};

#endif
