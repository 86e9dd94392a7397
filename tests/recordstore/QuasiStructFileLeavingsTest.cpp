// What an operation leaves behind when it ends early: no handle, no descriptor, no lock.

#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/LockProbe.h"
#include "tests/support/TempFolder.h"

namespace {

struct Thrown {};

class RecordStoreLeavings : public testing::Test {
 protected:
  // Whether anything is left of an operation that began with that many descriptors open.
  void ExpectNothingLeft(ExposedStore const& store, int descriptors, std::string const& what) {
    EXPECT_EQ(0, store.OpenHandles) << what;
    EXPECT_EQ(descriptors, CountDescriptors()) << what;
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path())) << what;
    if (IsThere(m_path)) {
      EXPECT_EQ(Lock::None, FileLockOf(m_path)) << what;
    }
  }

  // Runs the operation on a new store each time, which throws at its first storage call, at its
  // second, and so on until it runs through.
  template <typename MakeStore>
  void ThrowAtEveryCall(StoreCall const& operation, MakeStore makeStore) {
    for (int throwAt = 1;; ++throwAt) {
      std::string const what = operation.name + ", call " + std::to_string(throwAt);
      std::unique_ptr<ExposedStore> const store = makeStore();
      int calls = 0;
      store->Before = [&](std::string const&) {
        if (++calls == throwAt) {
          throw Thrown();
        }
      };
      int const descriptors = CountDescriptors();
      bool hasThrown = false;
      try {
        operation.run(*store);
      } catch (Thrown const&) {
        hasThrown = true;
      }
      ExpectNothingLeft(*store, descriptors, what);
      ASSERT_EQ(calls >= throwAt, hasThrown) << what;  // Nothing swallows it.
      if (!hasThrown) {
        return;
      }
    }
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
};

TEST_F(RecordStoreLeavings, NothingIsLeftOfAnOperationOnAFileThatThrows) {
  for (StoreCall const& operation : CallsOnAFile()) {
    ThrowAtEveryCall(operation, [&] {
      MakeOldFile(m_path, SomeFile());
      return std::make_unique<ExposedStore>(m_path, true);
    });
  }
}

TEST_F(RecordStoreLeavings, NothingIsLeftOfAnOperationThatThrowsInItsRescan) {
  for (StoreCall const& operation : CallsOnAFile()) {
    ThrowAtEveryCall(operation, [&] {
      MakeOldFile(m_path, SomeFile());
      auto store = std::make_unique<ExposedStore>(m_path, true);
      store->LoadTime() = CTOOFileTime();
      return store;
    });
  }
}

TEST_F(RecordStoreLeavings, NothingIsLeftOfAnOperationWithoutFileThatThrows) {
  for (StoreCall const& operation : CallsThatNeedAFile()) {
    ThrowAtEveryCall(operation, [&] {
      std::filesystem::remove(m_path);
      return std::make_unique<ExposedStore>(m_path, true);
    });
  }
}

TEST_F(RecordStoreLeavings, NothingIsLeftOfAnOperationThatMakesItsOwnLockAndThrows) {
  for (StoreCall const& operation : CallsOnAFile()) {
    ThrowAtEveryCall(operation, [&] {
      MakeOldFile(m_path, SomeFile());
      auto store = std::make_unique<ExposedStore>(m_path, true);
      store->m_lock.reset();
      return store;
    });
  }
}

// The handle goes before the lock does, on the way out of an exception too.
TEST_F(RecordStoreLeavings, LockEndsAfterTheHandleWhenACallThrows) {
  for (StoreCall const& operation : CallsOnAFile()) {
    int handlesAtEnd = 0;
    NotedLock::Notes notes;
    ThrowAtEveryCall(operation, [&] {
      MakeOldFile(m_path, SomeFile());
      auto store = std::make_unique<ExposedStore>(m_path, true);
      notes = NotedLock::Notes();
      notes.atEnd = [&handlesAtEnd, opened = store.get()] { handlesAtEnd += opened->OpenHandles; };
      store->m_lock = std::make_unique<NotedLock>(notes);
      return store;
    });
    EXPECT_EQ(0, handlesAtEnd) << operation.name;
    EXPECT_EQ(0, notes.held) << operation.name;
  }
}

TEST_F(RecordStoreLeavings, NothingIsLeftOfAnOperationThatSucceedsOrFails) {
  for (int const code : {0, 77}) {
    for (StoreCall const& operation : CallsOnAFile()) {
      MakeOldFile(m_path, SomeFile());
      ExposedStore store(m_path, true);
      store.FailOpenWith = code;
      int const descriptors = CountDescriptors();
      operation.run(store);
      ExpectNothingLeft(store, descriptors, operation.name);
    }
    for (StoreCall const& operation : CallsThatNeedAFile()) {
      for (bool const create : {false, true}) {
        std::filesystem::remove(m_path);
        ExposedStore store(m_path, create);
        store.FailOpenWith = code;
        int const descriptors = CountDescriptors();
        operation.run(store);
        ExpectNothingLeft(store, descriptors, operation.name);
      }
    }
  }
}

TEST_F(RecordStoreLeavings, NothingIsLeftOfAScanThatStopsEarly) {
  for (std::size_t length = 1; length <= SomeFile().size(); ++length) {
    MakeOldFile(m_path, SomeFile().substr(0, length));
    int const descriptors = CountDescriptors();
    ExposedStore const store(m_path, true);
    ExpectNothingLeft(store, descriptors, std::to_string(length));
  }
}

// A lock that cannot be had: the operation has opened nothing yet.
TEST_F(RecordStoreLeavings, NothingIsLeftWhenTheLockThrows) {
  class ThrowingLock : public IPC::CReadWriteLock {
    std::unique_ptr<IPC::LockHold> Take(IPC::LockMode) override { throw Thrown(); }
  };
  for (StoreCall const& operation : CallsOnAFile()) {
    if (operation.lock == Lock::None || operation.name == "Reload") {
      continue;
    }
    MakeOldFile(m_path, SomeFile());
    ExposedStore store(m_path, true);
    store.m_lock = std::make_unique<ThrowingLock>();
    int const descriptors = CountDescriptors();
    EXPECT_THROW(operation.run(store), Thrown) << operation.name;
    ExpectNothingLeft(store, descriptors, operation.name);
    EXPECT_TRUE(store.OpenFlags.size() == 1) << operation.name;  // The constructor's.
    EXPECT_EQ(SomeFile(), ReadFile(m_path)) << operation.name;
  }
}

// What the store does after such an end.
TEST_F(RecordStoreLeavings, StoreGoesOnAfterAScanThatThrew) {
  MakeOldFile(m_path, SomeFile());
  for (int throwAt = 1; throwAt <= 10; ++throwAt) {
    ExposedStore store(m_path, true);
    int calls = 0;
    store.Before = [&](std::string const&) {
      if (++calls == throwAt) {
        throw Thrown();
      }
    };
    EXPECT_THROW(store.Init(), Thrown);
    store.Before = nullptr;
    EXPECT_EQ(0U, store.Init());
    EXPECT_EQ(SomeOffsets(), store.Offsets());
  }
}

}  // namespace
