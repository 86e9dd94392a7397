#include "tests/hard/model/Sequences.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "tests/support/Bytes.h"
#include "tests/support/Sanitizers.h"

namespace {

constexpr std::size_t kSteps = 100;
constexpr int kProgressEvery = 1000;

bool IsWanted(std::string const& amount) {
  char const* const wanted = std::getenv("QUENDRIL_HARD");
  return wanted != nullptr && wanted == amount;
}

bool IsFull() { return IsWanted("full"); }

// Less under the sanitizers, which are there for other faults and slow.
int SequenceCount() {
  if (IsWanted("few")) {
    return 50;
  }
  int const inOneRun = kIsSanitized ? 100 : 1000;
  return IsFull() ? inOneRun * 50 : inOneRun;
}

// Shown without the steps that do nothing, which are what a failing sequence mostly shrinks to.
struct Sequence {
  Steps steps;
};

void showValue(Sequence const& sequence, std::ostream& out) {
  for (Step const& step : sequence.steps) {
    if (std::get<0>(step) != 0) {
      rc::show(step, out);
      out << '\n';
    }
  }
}

// Puts the temporary folders into memory: a file that is emptied and written again may wait for a
// disk.
class FoldersInMemory {
 public:
  FoldersInMemory() {
    char const* const before = std::getenv("TMPDIR");
    m_wasSet = before != nullptr;
    m_before = m_wasSet ? before : "";
    // A place in memory that the caller chose stays.
    if (m_before.rfind("/dev/shm/", 0) != 0 && ::access("/dev/shm", W_OK | X_OK) == 0) {
      ::setenv("TMPDIR", "/dev/shm", 1);
    }
  }
  FoldersInMemory(FoldersInMemory const&) = delete;
  FoldersInMemory& operator=(FoldersInMemory const&) = delete;
  ~FoldersInMemory() {
    if (m_wasSet) {
      ::setenv("TMPDIR", m_before.c_str(), 1);
    } else {
      ::unsetenv("TMPDIR");
    }
  }

 private:
  bool m_wasSet;
  std::string m_before;
};

// A fixed seed, whatever the environment says.
rc::detail::TestParams Parameters() {
  rc::detail::TestParams parameters;
  parameters.seed = 20261122;
  parameters.maxSuccess = SequenceCount();
  return parameters;
}

std::string NameOfTest() {
  testing::TestInfo const* const test = testing::UnitTest::GetInstance()->current_test_info();
  return std::string(test->test_suite_name()) + "." + test->name();
}

class Progress : public rc::detail::TestListener {
 public:
  void onTestCaseFinished(rc::detail::CaseDescription const& /*description*/) override {
    ++m_count;
    if (IsFull() && m_count % kProgressEvery == 0) {
      std::cout << NameOfTest() << ": " << m_count << " sequences\n" << std::flush;
    }
  }
  void onShrinkTried(rc::detail::CaseDescription const& /*shrink*/, bool /*accepted*/) override {}
  void onTestFinished(rc::detail::TestMetadata const& /*metadata*/,
                      rc::detail::TestResult const& /*result*/) override {}

 private:
  int m_count = 0;
};

}  // namespace

void CheckSequences(unsigned int operations, std::function<void(Steps const&)> const& property) {
  FoldersInMemory const folders;
  auto const number = rc::gen::inRange(0U, kNumbers);
  // Numbers of all sizes from the first sequence on.
  auto const steps = rc::gen::container<Steps>(
      kSteps, rc::gen::tuple(rc::gen::inRange(0U, operations), number, number, number));
  auto const sequences = rc::gen::resize(
      rc::kNominalSize, rc::gen::map(steps, [](Steps made) { return Sequence{std::move(made)}; }));
  std::size_t count = 0;
  Progress progress;
  // None, so that the environment is not looked at.
  std::unordered_map<std::string, rc::detail::Reproduce> const reproduce;
  rc::detail::TestResult const result = rc::detail::checkTestable(
      [&] {
        Sequence const sequence = *sequences;
        count += sequence.steps.size();
        property(sequence.steps);
      },
      rc::detail::TestMetadata{NameOfTest(), NameOfTest()}, Parameters(), progress, reproduce);
  std::ostringstream message;
  rc::detail::printResultMessage(result, message);
  ASSERT_TRUE(result.is<rc::detail::SuccessResult>()) << message.str();
  std::cout << "FIGURE " << NameOfTest() << ": "
            << result.get<rc::detail::SuccessResult>().numSuccess << " sequences, " << count
            << " steps\n";
}

void Same(std::string const& what, std::string const& expected, std::string const& actual) {
  if (expected != actual) {
    throw std::runtime_error(what + ": expected " + ToHex(expected) + ", is " + ToHex(actual));
  }
}

void Same(std::string const& what, long expected, long actual) {
  if (expected != actual) {
    throw std::runtime_error(what + ": expected " + std::to_string(expected) + ", is " +
                             std::to_string(actual));
  }
}
