#ifndef QUENDRIL_TESTS_TOOLS_SAMPLES_H
#define QUENDRIL_TESTS_TOOLS_SAMPLES_H

#include <string>
#include <vector>

#include "tools/Field.h"

// Files to look into, and what was found in them.

// A catalogue with a header and three containers, the middle one with sub-records.
std::string SampleCatalogue();
// The paths in it.
std::vector<std::string> SamplePaths();
// The golden files and the sample.
std::vector<std::string> WholeFiles();

// Every fields' bytes, one behind the other, and the damages in words.
class Gathered : public inspect::FieldSink {
 public:
  void Take(inspect::Field const& field) override;
  void Take(inspect::Damage const& damage) override;

  std::string bytes;
  std::vector<std::string> names;
  std::vector<std::string> damages;
  bool isInOrder = true;  // Each field begins where the one before ends.
};

#endif
