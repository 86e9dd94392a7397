#ifndef QUENDRIL_BENCH_GROUND_H
#define QUENDRIL_BENCH_GROUND_H

#include <optional>
#include <string>
#include <vector>

#include "bench/Contender.h"
#include "bench/Place.h"
#include "bench/Records.h"

// A file system to measure on: a folder with the containers, and one file of each contender that is
// put back before each measurement. All of it is made when it is first needed.
class Ground {
 public:
  // `name` is for the table; `parent` an existing folder.
  Ground(std::string name, std::string parent)
      : m_name(std::move(name)), m_parent(std::move(parent)) {}

  std::string const& Name() const { return m_name; }
  // With `count` containers at least.
  Records const& WithContainers(std::size_t count);

  // The contender's file with the first `count` records, as it was made; nobody may have it open.
  // Its name stays the same.
  std::string const& Restore(std::string const& contender, MakeContender make, std::size_t count);
  // A new file's name; there is nothing.
  std::string Fresh(std::string const& contender);

 private:
  Place const& Folder();
  void MakeModel(std::string const& model, MakeContender make, std::size_t count);

  std::string const m_name;
  std::string const m_parent;
  std::optional<Place> m_place;
  std::optional<Records> m_records;
  std::string m_file;  // The one restored.
};

#endif
