#ifndef QUENDRIL_TESTS_HARD_ERRORS_OUTCOMES_H
#define QUENDRIL_TESTS_HARD_ERRORS_OUTCOMES_H

#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/XTOOStatus.h"
#include "tests/hard/errors/Faults.h"
#include "tests/support/Files.h"

// What becomes of an operation under a fault, as a short text: what it gave, and behind it what the
// file holds afterwards:
//
//   ok, EACCES, 134   the code it returned, which the status has too; by name, if the code is an
//                     errno that no code of our own is
//   ok/EACCES         the code and the status, where they differ
//   !EISDIR           the code of what it threw
//   2, yes, none      what an operation without a code gave
//
//   =  what it held before          *  what the operation makes where there is no file
//   +  what the operation leaves    <  the first bytes of `+` or `*`, as many as there was room for
//      without the fault            ?  anything else, which no table allows

std::string NameOfCode(unsigned int code);
std::string NameOfCodes(unsigned int code, unsigned int status);

// An object is made over a healthy file, then the fault comes, then the operation.
template <typename Subject>
struct OperationOn {
  std::string name;
  std::function<std::string(Subject&, Place const&)> run;
};

// A line for each outcome: it, a colon, and the operations that have it.
class Table {
 public:
  void Add(std::string const& outcome, std::string const& operation);
  std::vector<std::string> const& Lines() const { return m_lines; }

 private:
  std::vector<std::string> m_lines;
};

// A catalogue's file with these containers that has no room for one more in its first page.
std::string AlmostOnePage(std::list<std::string> const& paths);

// The file as it may be afterwards.
struct Contents {
  std::string before;
  std::string whole;  // As the operation leaves it without the fault.
  std::string anew;   // As the operation makes it where there is none.
};

// A text that no file holds, for one that is not there.
std::string ContentOf(std::string const& path);
std::string StateOf(std::string const& content, Contents const& contents, unsigned long room);
// The paths of all that is there.
std::set<std::string> AllIn(std::string const& folder);
// Nothing is locked, and another process gets the file's lock at once.
void ExpectLockable(Place const& place);

template <typename Run>
std::string ResultOf(Run run) {
  try {
    return run();
  } catch (XTOOStatus const& thrown) {
    return "!" + NameOfCode(static_cast<unsigned int>(thrown.Status()));
  }
}

template <typename Make, typename Run>
std::string ContentAfter(Place& place, bool isRemoved, Make make, Run run) {
  place.Restore();
  auto const subject = make(place);
  if (isRemoved) {
    ::remove(place.File.c_str());
  }
  ResultOf([&] { return run(*subject, place); });
  return ContentOf(place.File);
}

// Makes a subject, lets the fault come and the operation run, and looks at all that they leave.
template <typename Make, typename Run>
std::string OutcomeOf(Fault const& fault, std::string const& content, Make make, Run run) {
  Place place(content);
  fault.prepare(place);
  place.Restore();
  std::set<std::string> const names = AllIn(place.Root());
  Contents const contents{content, ContentAfter(place, false, make, run),
                          ContentAfter(place, true, make, run)};
  place.Restore();
  int const descriptors = CountDescriptors();
  std::string outcome;
  {
    auto subject = fault.isOfTheName ? nullptr : make(place);
    {
      Afflicted const afflicted(fault, place);
      outcome = ResultOf([&] {
        subject = subject ? std::move(subject) : make(place);
        return run(*subject, place);
      });
    }
    EXPECT_EQ(descriptors, CountDescriptors());
    outcome += StateOf(ContentOf(place.File), contents, fault.room);
    std::set<std::string> left = AllIn(place.Root());
    left.insert(place.File);  // It may be gone.
    EXPECT_EQ(names, left);
    place.Restore();
    ExpectLockable(place);
    if (subject) {
      subject->ExpectUsable(place);
    }
  }
  EXPECT_EQ(descriptors, CountDescriptors());
  return outcome;
}

template <typename Subject, typename Make>
std::vector<std::string> OutcomesOf(Fault const& fault, std::string const& content, Make make,
                                    std::vector<OperationOn<Subject>> const& operations) {
  Table table;
  for (OperationOn<Subject> const& operation : operations) {
    SCOPED_TRACE(operation.name);
    table.Add(OutcomeOf(fault, content, make, operation.run), operation.name);
  }
  return table.Lines();
}

#endif
