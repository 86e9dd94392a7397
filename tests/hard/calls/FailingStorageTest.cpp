// Every storage operation that a record operation asks of its backend fails in turn, once and for
// ever: a record store has no say in what its backend does.

#include <cstdio>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "recordstore/CQuasiStructFile.h"
#include "recordstore/QuasiStructBuffer.h"
#include "tests/recordstore/Operations.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/LockProbe.h"
#include "tests/support/TempFolder.h"

namespace {

std::string const kHeader = "the header";
std::string const kFile = RecordFile(1, 2, kHeader, kOperationRecords);
constexpr unsigned int kFailed = 0xFFFFFFFF;
constexpr long kNever = 1000000;

// A backend whose storage operation number FailAt, counted from 0, fails, and all later ones too.
template <typename Backend>
class Faulty : public Backend {
 public:
  using Backend::Backend;

  long FailAt = kNever;
  bool ForEver = false;
  long Calls = 0;

  unsigned int stor_Read(CTOOFile* file, void* buffer, unsigned int count) override {
    return Fails() ? 0 : Backend::stor_Read(file, buffer, count);
  }
  unsigned int stor_Write(CTOOFile* file, void const* buffer, unsigned int count) override {
    return Fails() ? 0 : Backend::stor_Write(file, buffer, count);
  }
  unsigned int stor_Seek(CTOOFile* file, long offset, int origin) override {
    return Fails() ? kFailed : Backend::stor_Seek(file, offset, origin);
  }
  CTOOFile* stor_Open(char const* name, char const* mode, bool flag) override {
    // Owned by the caller.
    return Fails() ? new CTOOFile("/no/such/file", mode, false)
                   : Backend::stor_Open(name, mode, flag);
  }
  bool stor_IsExists(char const* name) override { return !Fails() && Backend::stor_IsExists(name); }
  unsigned int stor_Length(CTOOFile* file) override {
    return Fails() ? 0 : Backend::stor_Length(file);
  }
  unsigned int stor_Length(char const* name) override {
    return Fails() ? 0 : Backend::stor_Length(name);
  }
  CTOOFileTime stor_GetLastWriteTime(char const* name) override {
    return Fails() ? CTOOFileTime() : Backend::stor_GetLastWriteTime(name);
  }
  unsigned int stor_ReadIdentObject(CTOOFile* file, IdentObj& target,
                                    unsigned int position) override {
    return Fails() ? 0 : Backend::stor_ReadIdentObject(file, target, position);
  }
  unsigned int stor_WriteIdentObject(CTOOFile* file, IdentObj const& source,
                                     unsigned int position) override {
    return Fails() ? 0 : Backend::stor_WriteIdentObject(file, source, position);
  }
  unsigned int stor_CurPos(CTOOFile* file) override {
    return Fails() ? kFailed : Backend::stor_CurPos(file);
  }
  void stor_Truncate(CTOOFile* file) override {
    if (!Fails()) {
      Backend::stor_Truncate(file);
    }
  }
  void stor_Close(CTOOFile* file) override {
    if (!Fails()) {
      Backend::stor_Close(file);
    }
  }

 private:
  bool Fails() {
    long const number = Calls++;
    return number == FailAt || (ForEver && number > FailAt);
  }
};

std::vector<Operation> AllOperations() {
  std::vector<Operation> all = Operations();
  for (char const* const header : {"of length!", "of another length"}) {
    all.push_back({std::string("PutHeader ") + header,
                   [header](auto& store) { return store.PutHeader(Blob(header)); }, Lock::Exclusive,
                   true, true});
  }
  all.push_back({"Init", [](auto& store) { return store.Init(); }, Lock::Shared, false, false});
  return all;
}

// A failed call is an end of the operation by itself: a status that the store knows, a result.
void ExpectStated(unsigned int result, int status, std::string const& operation) {
  std::vector<unsigned int> const known{0, 2, 4, 5, 22, 28, 134, 194};
  if (operation != "IsItInFile") {
    EXPECT_EQ(1, std::count(known.begin(), known.end(), result)) << result;
  }
  EXPECT_EQ(1, std::count(known.begin(), known.end(), static_cast<unsigned int>(status))) << status;
}

class FailingStorage : public testing::TestWithParam<bool> {};

TEST_P(FailingStorage, EndsEveryOperationOnDisk) {
  TempFolder const folder;
  std::string const path = folder / "records";
  long failed = 0;
  for (Operation const& operation : AllOperations()) {
    for (long number = 0;; ++number) {
      SCOPED_TRACE(operation.name + " " + std::to_string(number));
      WriteFile(path, kFile);
      AgeFile(path);
      int const descriptors = CountDescriptors();
      Faulty<CQuasiStructFile> store;
      store.Reload(path.c_str(), true, false);
      store.Calls = 0;
      store.FailAt = number;
      store.ForEver = GetParam();
      unsigned int const result = operation.run(store);
      if (store.Calls <= number) {
        break;
      }
      ++failed;
      store.FailAt = kNever;
      ExpectStated(result, store.Status(), operation.name);
      EXPECT_EQ(descriptors, CountDescriptors());
      EXPECT_TRUE(!IsThere(path) || FileLockOf(path) == Lock::None);
      EXPECT_EQ(Lock::None, FolderLockOf(folder.Path()));
      store.Clear();
      WriteFile(path, kFile);
      EXPECT_EQ(0U, store.Reload(nullptr, true, false));
      EXPECT_EQ(0U, store.Add(Blob("added")));
      EXPECT_EQ(kFile + Item("added"), ReadFile(path));
      ASSERT_FALSE(HasFailure());
    }
  }
  std::printf("FIGURE failed storage operations on disk: %ld\n", failed);
}

TEST_P(FailingStorage, EndsEveryOperationInMemory) {
  long failed = 0;
  for (Operation const& operation : AllOperations()) {
    for (long number = 0;; ++number) {
      SCOPED_TRACE(operation.name + " " + std::to_string(number));
      int const descriptors = CountDescriptors();
      Faulty<QuasiStructBuffer> store(kFile.data(), kFile.size());
      store.Calls = 0;
      store.FailAt = number;
      store.ForEver = GetParam();
      unsigned int const result = operation.run(store);
      if (store.Calls <= number) {
        break;
      }
      ++failed;
      store.FailAt = kNever;
      ExpectStated(result, store.Status(), operation.name);
      EXPECT_EQ(descriptors, CountDescriptors());
      store.Clear();
      IdentObj record;
      static_cast<void>(store.Get(0, record));  // A failed stream stays so: no crash is enough.
      ASSERT_FALSE(HasFailure());
    }
  }
  std::printf("FIGURE failed storage operations in memory: %ld\n", failed);
}

INSTANTIATE_TEST_SUITE_P(OnceAndForEver, FailingStorage, testing::Bool());

}  // namespace
