// Any bytes as a container record: decoded, encoded, decoded again.

#include <algorithm>

#include "catalogue/ContainerInfo.h"
#include "foundation/XTOOStatus.h"
#include "fuzz/Support.h"
#include "tests/support/Bytes.h"

namespace {

bool AreEqual(ContainerInfo const& first, ContainerInfo const& second) {
  return first.Path == second.Path && first.Param == second.Param &&
         first.Ident1 == second.Ident1 && first.Ident2 == second.Ident2 &&
         std::equal(first.SubConts.begin(), first.SubConts.end(), second.SubConts.begin(),
                    second.SubConts.end(), [](SubContInfo const& one, SubContInfo const& other) {
                      return one.Ident == other.Ident && one.Param1 == other.Param1 &&
                             one.Param2 == other.Param2;
                    });
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  ContainerInfo record;
  auto const length = static_cast<unsigned int>(size);
  try {
    Require(record.ReadData(data, length) <= length, "no more is consumed than there is");
  } catch (XTOOStatus const& status) {
    Require(status.Status() == 37, "a cut record is refused as one");
  }
  // What was decoded before the cut is a record, too.
  IdentObj const blob = record.WriteData();
  ContainerInfo again;
  Require(again.ReadData(blob.Data, blob.Length) == blob.Length, "all of a record is consumed");
  Require(AreEqual(record, again), "a record is decoded as it was encoded");
  Require(again.WriteData() == blob, "a record is encoded as it was");
  return 0;
}
