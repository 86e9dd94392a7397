#ifndef QUENDRIL_BENCH_TABLE_H
#define QUENDRIL_BENCH_TABLE_H

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

// What is measured: the workload, the number of records, the kind of file system ("" for none).
struct Workload {
  std::string name;
  std::size_t count = 0;
  std::string place;
  // Of the figures; "us" unless said otherwise.
  std::string unit = "us";
};

struct Figures {
  std::string contender;
  std::vector<double> values;  // Of each repetition.
};

// Prints, workload by workload, each contender's median, minimum and maximum, the ratio of its
// median to the floor's, and that of quendril's to it; and appends them to a file of
// comma-separated values.
class Table {
 public:
  // No file for an empty name. Throws std::runtime_error.
  explicit Table(std::string const& file);

  void Print(Workload const& workload, std::vector<Figures> contenders);

 private:
  std::ofstream m_file;
};

#endif
