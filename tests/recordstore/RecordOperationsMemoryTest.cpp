// Every allocation of every record operation fails in turn, once and for ever, in both backends.

#include <cerrno>
#include <cstdio>
#include <functional>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/recordstore/BothBackends.h"
#include "tests/recordstore/Operations.h"
#include "tests/support/Allocations.h"
#include "tests/support/Peer.h"

namespace {

std::string const kHeader = "the header";
std::string const kFile = RecordFile(1, 2, kHeader, kOperationRecords);

std::vector<Operation> AllOperations() {
  std::vector<Operation> all = Operations();
  for (char const* const header : {"of length!", "of another length, a longer one", "short"}) {
    all.push_back({std::string("PutHeader ") + header,
                   [header](auto& store) { return store.PutHeader(Blob(header)); }, Lock::Exclusive,
                   true, true});
  }
  all.push_back(
      {"GetHeader", [](auto& store) { return store.GetHeader().Length; }, Lock::None, false, true});
  all.push_back({"Init", [](auto& store) { return store.Init(); }, Lock::Shared, false, false});
  all.push_back({"Reload", [](auto& store) { return store.Reload(nullptr, true, false); },
                 Lock::Shared, false, false});
  return all;
}

// Whether memory ran out; what runs must let nothing out but that.
bool RunsOut(long number, Failing failing, std::function<void()> const& run) {
  FailingAllocation const failed(number, failing);
  try {
    run();
  } catch (std::bad_alloc const&) {
    return failed.HasFailed();
  } catch (XTOOStatus const& status) {
    return failed.HasFailed() && status.Status() == ENOMEM;  // The lock's.
  }
  return failed.HasFailed();
}

void ExpectLockFree(QuasiStructFileBase& store) {
  ThreadPeer peer([&](PeerSide& side) {
    std::unique_ptr<IPC::CWriteLocker> const locker(store.LockWriteFile());
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitStep());
}

// A scan shows what a new store over the same bytes shows, or the buffer says that it has failed.
void ExpectShowsWhatIsThere(OpenStore<CQuasiStructFile>& store, DiskBackend& backend) {
  static_cast<void>(store.GetHeader());  // It refreshes, by itself.
  DiskBackend fresh(backend.Bytes());
  EXPECT_EQ(fresh.Store().Status(), store.Status());
  EXPECT_EQ(fresh.Store().Offsets(), store.Offsets());
}

void ExpectShowsWhatIsThere(OpenStore<QuasiStructBuffer>& store, MemoryBackend& backend) {
  std::string const bytes = backend.Bytes();  // Before the scan, which fails over a cut record.
  static_cast<void>(store.Init());            // It has no times to see by that it should.
  MemoryBackend fresh(bytes);
  EXPECT_EQ(fresh.Store().Status(), store.Status());
  EXPECT_EQ(fresh.Store().Offsets(), store.Offsets());
}

template <typename Backend>
class RecordStoreOutOfMemory : public testing::Test {
 protected:
  // Returns how many allocations failed.
  static long FailEach(Operation const& operation, Failing failing) {
    long number = 0;
    for (bool isReached = true; isReached; ++number) {
      SCOPED_TRACE(operation.name + (failing == Failing::Once ? " " : " for ever from ") +
                   std::to_string(number));
      int const descriptors = CountDescriptors();
      Backend backend(kFile);
      long const blocks = LiveBlocks();
      isReached = RunsOut(number, failing, [&] { operation.run(backend.Store()); });
      EXPECT_EQ(descriptors, CountDescriptors());
      ExpectLockFree(backend.Store());
      backend.Store().Clear();
      ExpectShowsWhatIsThere(backend.Store(), backend);
      backend.Start(kFile);
      EXPECT_EQ(blocks, LiveBlocks());
    }
    return number - 1;
  }
};

TYPED_TEST_SUITE(RecordStoreOutOfMemory, Backends, BackendName);

TYPED_TEST(RecordStoreOutOfMemory, LeavesNothingAndIsSeenByTheNextScan) {
  long failures = 0;
  for (Operation const& operation : AllOperations()) {
    for (Failing const failing : {Failing::Once, Failing::ForEver}) {
      this->FailEach(operation, failing);  // What is made once for the whole program is made now.
      failures += this->FailEach(operation, failing);
      ASSERT_FALSE(this->HasFailure());
    }
  }
  EXPECT_LT(100, failures);
  std::printf("FIGURE memory: %ld allocations failed in record operations (%s)\n", failures,
              TypeParam::kName);
}

// What makes a store, and what a store makes of itself.
TEST(BufferOutOfMemory, LeavesNothing) {
  OpenStore<QuasiStructBuffer> store(kFile.data(), kFile.size());
  long failures = 0;
  for (auto const& run : std::vector<std::function<void()>>{
           [] { QuasiStructBuffer const made(kFile.data(), kFile.size()); },
           [] { QuasiStructBuffer const made(nullptr, 0); },
           [&] { static_cast<void>(store.GetBuffer()); }}) {
    for (Failing const failing : {Failing::Once, Failing::ForEver}) {
      bool isReached = true;
      for (long number = 0; isReached; ++number) {
        Allocations const allocations;
        isReached = RunsOut(number, failing, run);
        EXPECT_EQ(0, allocations.Outstanding()) << number;
        failures += isReached ? 1 : 0;
      }
    }
  }
  EXPECT_EQ(kFile, store.GetBuffer());
  EXPECT_LT(10, failures);
  std::printf("FIGURE memory: %ld allocations failed in buffers made and given\n", failures);
}

}  // namespace
