#ifndef QUENDRIL_TESTS_HARD_BITS_SIGHTS_H
#define QUENDRIL_TESTS_HARD_BITS_SIGHTS_H

#include <ctime>
#include <list>
#include <string>

#include "tests/support/TempFolder.h"

// What the library sees in a file or in a record, as one line of text for the driver, which lays
// down the form of it and gives its meaning (independent_reader.py).
class Sights {
 public:
  Sights();
  Sights(Sights const&) = delete;
  Sights& operator=(Sights const&) = delete;
  ~Sights();

  // The record store over both backends, the catalogue, and every record decoded alone.
  std::string OfFile(std::string const& bytes);
  // The bytes as one container record.
  std::string OfRecord(std::string const& bytes);

 private:
  void Write(std::string const& bytes);
  bool IsUntouched(std::string const& bytes) const;
  std::string OnDisk(std::string const& bytes, std::list<std::string>& records);
  std::string InMemory(std::string const& bytes);
  std::string InCatalogue(std::string bytes);

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  int m_file;  // Open all the time, so that making a variant costs little.
  // Bytes of the largest blocks that were asked for: by both backends, the catalogue and decoding.
  std::size_t m_disk = 0;
  std::size_t m_memory = 0;
  std::size_t m_catalogue = 0;
  std::size_t m_decoding = 0;

  std::string Figures();
  std::string Decoded(std::string const& bytes);
};

#endif
