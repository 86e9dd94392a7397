#ifndef QUENDRIL_TESTS_SUPPORT_ALLOCATIONS_H
#define QUENDRIL_TESTS_SUPPORT_ALLOCATIONS_H

#include <functional>

// This program has operators new and delete of its own, by which a test counts what is allocated
// and makes memory run out.

// Blocks that new gave and delete did not take back yet, in the whole program.
long LiveBlocks();

// While one of these lives, its thread's allocation number `number` from now on (0 is the next)
// throws std::bad_alloc; all others succeed.
class FailingAllocation {
 public:
  explicit FailingAllocation(long number);
  FailingAllocation(FailingAllocation const&) = delete;
  FailingAllocation& operator=(FailingAllocation const&) = delete;
  ~FailingAllocation();

  // Whether it came to that.
  bool HasFailed() const;
};

// While one of these lives, `seen` is called with every block that its thread is about to give
// back. What it allocates and gives back itself does not count.
class WatchedDeletes {
 public:
  explicit WatchedDeletes(std::function<void(void const*)> const& seen);
  WatchedDeletes(WatchedDeletes const&) = delete;
  WatchedDeletes& operator=(WatchedDeletes const&) = delete;
  ~WatchedDeletes();

 private:
  std::function<void(void const*)> m_seen;
};

#endif
