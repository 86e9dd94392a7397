#ifndef QUENDRIL_TESTS_HARD_CROWD_CROWD_H
#define QUENDRIL_TESTS_HARD_CROWD_CROWD_H

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <random>
#include <string>

#include "catalogue/ContainerInfoList.h"
#include "tests/hard/crowd/FileStates.h"
#include "tests/hard/kills/Hard.h"
#include "tests/support/TempFolder.h"

// Many processes and threads that add and erase records of one catalogue at once. Each of them has
// a seat with a few names of its own and notes there, in memory that all share, what the catalogue
// should hold of them.
class Crowd {
 public:
  static constexpr int kMostSeats = 32;
  static constexpr int kNames = 8;

  explicit Crowd(int seats);

  std::string const& File() const { return m_file; }

  // One edit after the other: a name of the seat's own that the list knows is erased, one that it
  // does not know is added. Ends after so many edits, or when it is told to stop. With `mayLoad`
  // the list is loaded anew from time to time, which is not for a list that others use.
  void Edit(int seat, ContainerInfoList& list, int edits, bool mayLoad);
  void TellToStop() { m_board->stop = true; }

  // Forks a process for `body`.
  pid_t Start(std::function<void()> const& body) const;
  // Looks at the file until all of them have ended; false when one ended badly or took too long.
  [[nodiscard]] bool Await(std::list<pid_t> processes);
  // Looks at the file for so long.
  void Watch(int milliseconds);

  // Loads the file, now that nobody uses it, and prints what became of all that was added and
  // erased, under that name. Fails the test for an unexplained file.
  void Report(std::string const& name);

 private:
  struct Seat {
    std::atomic<bool> isThere[kNames];  // Whether the name was added last, not erased.
    std::atomic<int> underWay{-1};      // The name whose edit may not be done yet.
    std::atomic<int> edits{0};
    std::atomic<int> lost{0};      // Added names that a later edit no longer found.
    std::atomic<int> returned{0};  // Erased names that a later edit found again.
  };
  struct Board {
    std::atomic<bool> stop{false};
    std::atomic<int> torn{0};
    std::atomic<int> looks{0};  // Lists that were looked through for torn records.
    Seat seats[kMostSeats];
  };

  std::string Name(int seat, int number) const;
  void EditOne(Seat& seat, std::string const& name, int number, unsigned int param,
               ContainerInfoList& list);
  void LookForTornOnes(ContainerInfoList& list);
  void LookAtFile();
  void FreeIfStuck();
  FileStates KnownStates() const;

  TempFolder const m_folder;
  std::string const m_file = m_folder / "catalogue";
  int const m_seats;
  FileStates const m_states;
  SharedObject<Board> const m_board;

  std::map<std::string, int> m_seen;
  std::string m_content;  // As it was seen last.
  int m_unchanged = 0;    // Looks since then.
  int m_stuck = 0;
};

#endif
