// What the index finds is what a walk with the strings' own comparison finds.

#include "catalogue/PathIndex.h"

#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Containers.h"

namespace {

ContainerInfo const* FirstInWalk(std::list<ContainerInfo> const& records, CTOOString const& path) {
  for (ContainerInfo const& record : records) {
    if (record.Path.CollateNoCase(path) == 0) {
      return &record;
    }
  }
  return nullptr;
}

ContainerInfo const* FirstInIndex(PathIndex const& index, CTOOString const& path) {
  PathIndex::Record const* const found = index.Find(path);
  return found == nullptr ? nullptr : &**found;
}

// Capital and small letters, a Kelvin sign beside k, letters beyond ASCII, bytes that are no text.
std::vector<std::string> const kPaths = {
    "",
    "/",
    "/a",
    "/A",
    "/y",
    "/Y",
    "/z",
    "/Z",
    "/keys/k",
    "/KEYS/K",
    "/keys/\u212A",
    "/keys/\u0444",
    "/Keys/\u0424",
    "/a-b",
    "/a_b",
    "/ab",
    "/a1",
    "/A1",
    "/a/1",
    "/\xFF",
    "/\xFE",
    "/\xFF"
    "A",
    "/\xFF"
    "a",
    "/stra\u00DFe",
    "/STRASSE",
    "/@",
    "/`",
    "/[",
    "/{",
    "/\u0130",
    "/i",
    "/I",
    "/\u0131",
    "/a ",
};

TEST(PathIndex, FindsWhatAWalkFinds) {
  std::list<ContainerInfo> records;
  PathIndex index(kPaths.size());
  for (std::string const& path : kPaths) {
    records.push_back(Record(path));
    index.Insert(std::prev(records.end()));
    for (std::string const& asked : kPaths) {
      EXPECT_EQ(FirstInWalk(records, asked.c_str()), FirstInIndex(index, asked.c_str())) << asked;
    }
  }
}

TEST(PathIndex, FindsNoMoreWhatWasRemoved) {
  std::list<ContainerInfo> records;
  PathIndex index(0);
  for (std::string const& path : kPaths) {
    records.push_back(Record(path));
    index.Insert(std::prev(records.end()));
  }
  while (!records.empty()) {
    auto const middle = std::next(records.begin(), static_cast<long>(records.size() / 2));
    index.Remove(middle);
    index.Remove(middle);
    records.erase(middle);
    for (std::string const& asked : kPaths) {
      EXPECT_EQ(FirstInWalk(records, asked.c_str()), FirstInIndex(index, asked.c_str())) << asked;
    }
  }
}

}  // namespace
