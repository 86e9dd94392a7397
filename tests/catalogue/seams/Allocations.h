#ifndef QUENDRIL_TESTS_CATALOGUE_SEAMS_ALLOCATIONS_H
#define QUENDRIL_TESTS_CATALOGUE_SEAMS_ALLOCATIONS_H

#include <cstddef>

// Counts what its thread allocates with new while it lives, in the library and in the base services
// too, and lets one allocation fail. One a thread at a time.
class Allocations {
 public:
  Allocations();
  Allocations(Allocations const&) = delete;
  Allocations& operator=(Allocations const&) = delete;
  ~Allocations();

  // Blocks made here less blocks freed here.
  long Outstanding() const;
  // Bytes of the largest block that was asked for.
  std::size_t Largest() const;
  // The allocation after `count` more throws std::bad_alloc, and those after it work again.
  void FailAfter(long count);
  // Whether that has happened. Ends the waiting for it.
  bool HasFailed();
};

#endif
