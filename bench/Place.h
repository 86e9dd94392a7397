#ifndef QUENDRIL_BENCH_PLACE_H
#define QUENDRIL_BENCH_PLACE_H

#include <string>

// A new folder for one run's files, removed at the end.
class Place {
 public:
  // In `parent`, which says what kind of file system is measured. Throws std::runtime_error.
  explicit Place(std::string const& parent);
  Place(Place const&) = delete;
  Place& operator=(Place const&) = delete;
  ~Place();

  std::string const& Path() const { return m_path; }
  std::string operator/(std::string const& name) const { return m_path + "/" + name; }

 private:
  std::string m_path;
};

#endif
