#ifndef QUENDRIL_TESTS_SUPPORT_ALLOCATIONS_H
#define QUENDRIL_TESTS_SUPPORT_ALLOCATIONS_H

#include <cstddef>
#include <functional>

// This program has operators new and delete of its own, by which a test counts what is allocated
// and makes memory run out.

// Blocks that new gave and delete did not take back yet, in the whole program.
long LiveBlocks();

// Counts what its thread allocates with new while it lives. One a thread at a time.
class Allocations {
 public:
  Allocations();
  Allocations(Allocations const&) = delete;
  Allocations& operator=(Allocations const&) = delete;
  ~Allocations() = default;

  // Blocks made less blocks freed since then.
  long Outstanding() const;
  // Bytes of the largest block that was asked for.
  std::size_t Largest() const;

 private:
  long m_before;
};

enum class Failing { Once, ForEver };

// While one of these lives, its thread's allocation number `number` from now on (0 is the next)
// throws std::bad_alloc, and with Failing::ForEver all later ones do; all others succeed.
class FailingAllocation {
 public:
  explicit FailingAllocation(long number, Failing failing = Failing::Once);
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
