#include "tests/catalogue/seams/Allocations.h"

#include <cstdlib>
#include <new>

namespace {

struct State {
  bool isCounting = false;
  bool isToFail = false;
  bool hasFailed = false;
  long untilFailure = 0;
  long outstanding = 0;
  std::size_t largest = 0;
};
thread_local State state;

// Null for the allocation that is to fail.
void* Allocate(std::size_t size) {
  if (state.isCounting) {
    state.largest = size > state.largest ? size : state.largest;
    if (state.isToFail && state.untilFailure-- == 0) {
      state.isToFail = false;
      state.hasFailed = true;
      return nullptr;
    }
  }
  void* const block = std::malloc(size == 0 ? 1 : size);
  state.outstanding += block != nullptr ? 1 : 0;
  return block;
}

void* AllocateOrThrow(std::size_t size) {
  void* const block = Allocate(size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void Free(void* block) {
  state.outstanding -= block != nullptr ? 1 : 0;
  std::free(block);
}

}  // namespace

Allocations::Allocations() {
  state = State();
  state.isCounting = true;
}

Allocations::~Allocations() { state = State(); }

long Allocations::Outstanding() const { return state.outstanding; }

std::size_t Allocations::Largest() const { return state.largest; }

void Allocations::FailAfter(long count) {
  state.isToFail = true;
  state.hasFailed = false;
  state.untilFailure = count;
}

bool Allocations::HasFailed() {
  state.isToFail = false;
  return state.hasFailed;
}

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, std::nothrow_t const& /*tag*/) noexcept {
  return Allocate(size);
}
void* operator new[](std::size_t size, std::nothrow_t const& /*tag*/) noexcept {
  return Allocate(size);
}
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { Free(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { Free(block); }
void operator delete(void* block, std::nothrow_t const& /*tag*/) noexcept { Free(block); }
void operator delete[](void* block, std::nothrow_t const& /*tag*/) noexcept { Free(block); }
