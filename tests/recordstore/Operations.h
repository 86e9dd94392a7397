#ifndef QUENDRIL_TESTS_RECORDSTORE_OPERATIONS_H
#define QUENDRIL_TESTS_RECORDSTORE_OPERATIONS_H

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "recordstore/QuasiStructFileBase.h"
#include "tests/support/Bytes.h"
#include "tests/support/LockProbe.h"

// Every record operation, for tests that must hold for all of them.
struct Operation {
  std::string name;
  // The result; of IsItInFile 1 for true.
  std::function<unsigned int(QuasiStructFileBase&)> run;
  // What it holds of the file while that is open.
  Lock lock;
  bool isBlockedByStatus;
  // Whether it asks first if the file changed since the latest scan.
  bool refreshes;
};

// They need a store over a file with kOperationRecords.
inline std::list<std::string> const kOperationRecords{"first record", "the second record", "third"};

inline std::vector<Operation> Operations() {
  using Store = QuasiStructFileBase;
  auto get = [](Store& store) {
    IdentObj out;
    return store.Get(1, out);
  };
  auto getAll = [](Store& store) {
    std::list<IdentObj> out;
    return store.GetAll(out);
  };
  auto isItInFile = [](Store& store) {
    return store.IsItInFile(Blob("first record"), nullptr) ? 1U : 0U;
  };
  auto putLonger = [](Store& store) { return store.Put(0, Blob(Pattern(60, 1))); };
  auto putShorter = [](Store& store) { return store.Put(0, Blob("short")); };
  auto putAtEnd = [](Store& store) { return store.Put(-1, Blob("at the end")); };
  auto add = [](Store& store) { return store.Add(Blob("one more")); };
  auto putList = [](Store& store) { return store.PutList({Blob("one more"), Blob("another")}); };
  auto del = [](Store& store) { return store.Del(0); };
  auto emptyFile = [](Store& store) { return store.EmptyFile(); };
  return {{"IsItInFile", isItInFile, Lock::None, true, true},
          {"Get", get, Lock::Shared, true, true},
          {"GetAll", getAll, Lock::Shared, false, false},
          {"Put longer", putLonger, Lock::Exclusive, true, true},
          {"Put shorter", putShorter, Lock::Exclusive, true, true},
          {"Put at the end", putAtEnd, Lock::Exclusive, true, true},
          {"Add", add, Lock::Exclusive, true, true},
          {"PutList", putList, Lock::None, false, false},
          {"Del", del, Lock::Exclusive, true, true},
          {"EmptyFile", emptyFile, Lock::Exclusive, false, false}};
}

// Those that make a file where there is none, in the same manner.
inline std::vector<Operation> CreatingOperations() {
  using Store = QuasiStructFileBase;
  auto add = [](Store& store) { return store.Add(Blob("one more")); };
  auto put = [](Store& store) { return store.Put(0, Blob("one more")); };
  auto putList = [](Store& store) { return store.PutList({Blob("one more")}); };
  return {{"Add", add, Lock::Exclusive, true, true},
          {"Put", put, Lock::Exclusive, true, true},
          {"PutList", putList, Lock::None, false, false}};
}

#endif
