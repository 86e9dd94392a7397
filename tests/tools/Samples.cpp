#include "tests/tools/Samples.h"

#include "tests/golden/GoldenFiles.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"

std::string SampleCatalogue() {
  return RecordFile(0, 1, "head",
                    {ContainerBytes("/keys/first", "issuer", "key", 5),
                     ContainerBytes("/keys/second", "", "x", 6, {{"one", 1, 2}, {"", 3, 4}}),
                     ContainerBytes("/keys/third", "issuer", "", 7)});
}

std::vector<std::string> SamplePaths() { return {"/keys/first", "/keys/second", "/keys/third"}; }

std::vector<std::string> WholeFiles() {
  return {GoldenBytes(kGoldenRecordFile), GoldenBytes(kGoldenCatalogue),
          GoldenBytes(kGoldenUncleanedCatalogue), SampleCatalogue()};
}

void Gathered::Take(inspect::Field const& field) {
  isInOrder = isInOrder && field.offset == bytes.size();
  bytes += field.bytes;
  names.push_back(NameOf(field));
}

void Gathered::Take(inspect::Damage const& damage) { damages.push_back(Explain(damage)); }
