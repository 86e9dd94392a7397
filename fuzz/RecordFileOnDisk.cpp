// Any bytes as a record file: opened, scanned and read, and loaded as a catalogue.

#include "catalogue/ContainerInfoList.h"
#include "fuzz/Support.h"
#include "recordstore/CQuasiStructFile.h"

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  std::string const bytes = Input(data, size).Rest();
  std::string const& file = FileOf(bytes);
  DescriptorsStay const descriptors;
  CQuasiStructFile store(file.c_str(), false, false);
  Require(size != 0 || store.Status() != 0, "an empty file is none");
  ReadEverything(store, bytes);
  ContainerInfoList list(file.c_str());
  for (char const* path = list.GetFirst(); path != nullptr; path = list.GetNext()) {
    static_cast<void>(list.FindRecord(path, true));
  }
  return 0;
}
