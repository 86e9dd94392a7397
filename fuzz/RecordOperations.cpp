// Record operations on a damaged file. The input: a byte that says where the store is (odd: in
// memory), the file's length as two bytes, the file, then operations, each a byte that names it,
// one with an index and two with a length of which it takes what it needs.

#include <list>
#include <memory>
#include <string>

#include "fuzz/Support.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/QuasiStructBuffer.h"
#include "tests/support/Bytes.h"

namespace {

void Operate(QuasiStructFileBase& store, Input& input) {
  unsigned int const operation = input.Byte();
  long const index = static_cast<long>(input.Byte()) - 1;
  IdentObj blob = Blob(Pattern(input.Number() % 2000, operation));
  std::list<IdentObj> list{blob, IdentObj(), blob};
  long found = 0;
  switch (operation % 13) {
    case 0:
      return store.Clear();
    case 1:
      return static_cast<void>(store.Get(index, blob));
    case 2:
      return static_cast<void>(store.Put(index, blob));
    case 3:
      return static_cast<void>(store.Add(blob));
    case 4:
      return static_cast<void>(store.PutList(list));
    case 5:
      return static_cast<void>(store.Del(index));
    case 6:
      return static_cast<void>(store.EmptyFile());
    case 7:
      return static_cast<void>(store.PutHeader(blob));
    case 8:
      return static_cast<void>(store.GetAll(list));
    case 9:
      return static_cast<void>(store.Reload(nullptr, index % 2 == 0, false));
    case 10:
      return static_cast<void>(store.IsItInFile(blob, &found));
    case 11:
      return static_cast<void>(store.GetHeader() = blob);
    default:
      return static_cast<void>(store.Init());
  }
}

std::unique_ptr<QuasiStructFileBase> StoreOf(bool inMemory, std::string const& bytes) {
  if (inMemory) {
    return std::make_unique<QuasiStructBuffer>(bytes.data(), bytes.size());
  }
  return std::make_unique<CQuasiStructFile>(FileOf(bytes).c_str(), true, false);
}

}  // namespace

int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
  static_cast<void>(FileOf(""));  // The folder's first use opens nothing later.
  DescriptorsStay const descriptors;
  Input input(data, size);
  bool const inMemory = input.Byte() % 2 == 1;
  unsigned int const length = input.Number();
  std::unique_ptr<QuasiStructFileBase> const store = StoreOf(inMemory, input.Bytes(length));
  while (!input.IsEmpty()) {
    Operate(*store, input);
  }
  return 0;
}
