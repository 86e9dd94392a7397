#include "tests/support/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

constexpr long kNever = -1;

std::atomic<long> live{0};
thread_local long failIn = kNever;
thread_local bool failsForEver = false;
thread_local bool hasFailed = false;
thread_local long balance = 0;  // Of this thread: what it made less what it freed.
thread_local std::size_t largest = 0;
thread_local std::function<void(void const*)> const* watcher = nullptr;

void* Allocate(std::size_t size) noexcept {
  largest = size > largest ? size : largest;
  if (failIn == 0) {
    failIn = failsForEver ? 0 : kNever;
    hasFailed = true;
    return nullptr;
  }
  failIn -= failIn == kNever ? 0 : 1;
  void* const block = std::malloc(size == 0 ? 1 : size);
  live += block != nullptr ? 1 : 0;
  balance += block != nullptr ? 1 : 0;
  return block;
}

void* AllocateOrThrow(std::size_t size) {
  void* const block = Allocate(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void Free(void* block) noexcept {
  if (block == nullptr) {
    return;
  }
  if (auto const* const seen = std::exchange(watcher, nullptr)) {
    (*seen)(block);
    watcher = seen;
  }
  --live;
  --balance;
  std::free(block);
}

}  // namespace

long LiveBlocks() { return live; }

Allocations::Allocations() : m_before(balance) { largest = 0; }

long Allocations::Outstanding() const { return balance - m_before; }

std::size_t Allocations::Largest() const { return largest; }

FailingAllocation::FailingAllocation(long number, Failing failing) {
  failIn = number;
  failsForEver = failing == Failing::ForEver;
  hasFailed = false;
}

FailingAllocation::~FailingAllocation() { failIn = kNever; }

bool FailingAllocation::HasFailed() const { return hasFailed; }

WatchedDeletes::WatchedDeletes(std::function<void(void const*)> const& seen) : m_seen(seen) {
  watcher = &m_seen;
}

WatchedDeletes::~WatchedDeletes() { watcher = nullptr; }

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept { return Allocate(size); }
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t) noexcept { Free(block); }
void operator delete[](void* block, std::size_t) noexcept { Free(block); }
void operator delete(void* block, std::nothrow_t const&) noexcept { Free(block); }
void operator delete[](void* block, std::nothrow_t const&) noexcept { Free(block); }
