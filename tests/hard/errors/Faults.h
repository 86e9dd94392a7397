#ifndef QUENDRIL_TESTS_HARD_ERRORS_FAULTS_H
#define QUENDRIL_TESTS_HARD_ERRORS_FAULTS_H

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"

// What a machine does to a file and its folder: disks that are full, limits, rights, and other
// things in the file's place. All of it is real; nothing here stands in for a system call.

// A file in a folder, where the common catalogue would lie if it were asked to lie under Answer.
class Place {
  TempFolder m_root;  // First: the paths are made of its own.

 public:
  // The file holds `content`.
  explicit Place(std::string const& content);
  Place(Place const&) = delete;
  Place& operator=(Place const&) = delete;
  // Takes a disk that was mounted away, so that the folder can be removed.
  ~Place();

  std::string const& Root() const { return m_root.Path(); }
  std::string const Folder = Root() + "/quendril";
  std::string const File = Folder + "/cont_info.dat";
  // Where faults put aside what they replace.
  std::string const Aside = Root() + "/aside";

  // By what name the file is asked for, and where the common folder is said to be. Faults of the
  // name change these.
  std::string Path = File;
  std::string Answer = Root();

  // Puts the content back, whatever is there now.
  void Restore() const;
  std::string const& Content() const { return m_content; }

 private:
  std::string const m_content;
};

// FreeDescriptors: nobody else, a sanitizer say, opens any.
enum class Needs { Nothing, FreeDescriptors, OrdinaryUser, PrivateRoot };

struct Fault {
  std::string name;
  Needs needs;
  // Called before the file is made; for mounts.
  std::function<void(Place&)> prepare;
  // REQUIRES: the file is there. After `end` it is again, with what it holds then.
  std::function<void(Place&)> begin;
  std::function<void(Place&)> end;
  // The length at which a file that grows is cut off, 0 where none is.
  unsigned long room;
  // Whether the fault is one of the name, so that only an object made under it meets it.
  bool isOfTheName;
};

std::vector<Fault> const& Faults();
// By its name alone in messages.
void PrintTo(Fault const& fault, std::ostream* out);
// The name as a part of a test's name.
std::string TestNameOf(Fault const& fault);

// Why the fault cannot be had here; empty where it can. Tests skip with this text otherwise.
std::string ObstacleOf(Fault const& fault);

// Runs `body` in a forked process in which the fault can be had; false when an EXPECT in it fails,
// it throws, or takes too long.
[[nodiscard]] bool RunUnder(Fault const& fault, std::function<void()> const& body);

// While one of these lives the fault is there.
class Afflicted {
 public:
  Afflicted(Fault const& fault, Place& place) : m_fault(fault), m_place(place) {
    m_fault.begin(m_place);
  }
  Afflicted(Afflicted const&) = delete;
  Afflicted& operator=(Afflicted const&) = delete;
  ~Afflicted() { m_fault.end(m_place); }

 private:
  Fault const& m_fault;
  Place& m_place;
};

#endif
