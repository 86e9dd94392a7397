#ifndef QUENDRIL_TESTS_HARD_MODEL_SEQUENCES_H
#define QUENDRIL_TESTS_HARD_MODEL_SEQUENCES_H

#include <functional>
#include <string>
#include <tuple>
#include <vector>

// Random sequences of steps, always the same ones. A sequence that fails is made smaller first.

// What is done, and three numbers below kNumbers of which it takes what it needs.
using Step = std::tuple<unsigned int, unsigned int, unsigned int, unsigned int>;
using Steps = std::vector<Step>;
constexpr unsigned int kNumbers = 1000;

// Calls `property` with 1,000 sequences of 100 steps, 50,000 with QUENDRIL_HARD=full and 50 with
// QUENDRIL_HARD=few, and fails the test when it throws. What is done is below `operations`; 0
// should be to do nothing. Temporary folders lie in memory meanwhile, where that is possible.
void CheckSequences(unsigned int operations, std::function<void(Steps const&)> const& property);

// Throws, with both in hex, unless they are the same.
void Same(std::string const& what, std::string const& expected, std::string const& actual);
void Same(std::string const& what, long expected, long actual);

#endif
