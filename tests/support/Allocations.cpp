#include "tests/support/Allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

constexpr long kNever = -1;

std::atomic<long> live{0};
thread_local long failIn = kNever;
thread_local bool hasFailed = false;
thread_local std::function<void(void const*)> const* watcher = nullptr;

void* Allocate(std::size_t size) noexcept {
  if (failIn == 0) {
    failIn = kNever;
    hasFailed = true;
    return nullptr;
  }
  failIn -= failIn == kNever ? 0 : 1;
  void* const block = std::malloc(size == 0 ? 1 : size);
  live += block != nullptr ? 1 : 0;
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
  std::free(block);
}

}  // namespace

long LiveBlocks() { return live; }

FailingAllocation::FailingAllocation(long number) {
  failIn = number;
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
