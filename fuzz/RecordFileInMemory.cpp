// Any bytes as a record file in memory: scanned and read.

#include "fuzz/Support.h"
#include "recordstore/QuasiStructBuffer.h"

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  std::string const bytes = Input(data, size).Rest();
  DescriptorsStay const descriptors;
  QuasiStructBuffer store(bytes.data(), bytes.size());
  Require(store.Status() != 0 || store.GetBuffer() == bytes, "the bytes are kept");
  ReadEverything(store, bytes);
  return 0;
}
