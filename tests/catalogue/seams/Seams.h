#ifndef QUENDRIL_TESTS_CATALOGUE_SEAMS_SEAMS_H
#define QUENDRIL_TESTS_CATALOGUE_SEAMS_SEAMS_H

#include <functional>
#include <string>
#include <vector>

#include "foundation/CTOOFile.h"
#include "foundation/CTOOString.h"
#include "foundation/XTOOStatus.h"

// While one of these lives, the calls that its thread makes of some base services pass through it:
// a test looks at them, makes things happen before or after them, throws from within, or answers in
// the place of the real service. Threads without one see the real services. One a thread at a time.
//
//   Seams seams;
//   seams.Before = [&](Seams::Call const& call) {
//     if (call.name == "Remove") {
//       throw XTOOStatus(13, "no", false);
//     }
//   };
//   list.Load(nullptr);
//   seams.Names();  // "WriteLock", "IsExists", "Length", ...
//
// A hook's own calls, and what a base service does within, do not pass through it.
class Seams {
 public:
  struct Call {
    // "ParseFullPath", "MakeFullPath", "IsExists" (both forms), "Length" (by name), "Remove",
    // "CollateNoCase", "Open" (a CTOOFile's constructor), "Truncate",
    // "ReadLock", "ReadUnlock", "WriteLock", "WriteUnlock" (the holders' constructors and
    // destructors), "~CReadWriteLock_pth", "~IdentObj", "~CTOOString".
    std::string name;
    // The path that is asked about; of MakeFullPath the folder; of Open the mode, a blank, the
    // path; of CollateNoCase and ~CTOOString the object's own text.
    std::string text;
    // The lock of the holders (null at the end of one that was made without this object), otherwise
    // the object itself; null for the static functions.
    void* object;
  };

  Seams();
  Seams(Seams const&) = delete;
  Seams& operator=(Seams const&) = delete;
  ~Seams();

  // Called before and after each call. They may throw, though not at a destructor's call ("~...",
  // "ReadUnlock", "WriteUnlock"). After is not called when the service throws.
  std::function<void(Call const&)> Before;
  std::function<void(Call const&)> After;

  // In the place of the real service, if set.
  std::function<void(char const* path, bool* flag, CTOOString* folder, CTOOString* name,
                     CTOOString* last)>
      ParseFullPath;
  std::function<void(CTOOString& path, CTOOString const& folder, CTOOString const& name,
                     CTOOString const& last)>
      MakeFullPath;
  std::function<bool(char const* path)> IsExists;
  std::function<unsigned long(char const* path, XTOOFile const& status)> Length;
  std::function<bool(char const* path, XTOOFile const& status)> Remove;
  std::function<int(CTOOString const& own, char const* text)> CollateNoCase;

  // All calls until now, in order. The destructors "~..." are noted only when asked for.
  std::vector<Call> Calls;
  bool NoteDestructors = false;

  // The calls' names alone.
  std::vector<std::string> Names() const;
  // Name, blank, text.
  std::vector<std::string> Lines() const;
};

#endif
