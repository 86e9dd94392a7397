#ifndef QUENDRIL_CATALOGUE_CONTAINERINFOEDIT_H
#define QUENDRIL_CATALOGUE_CONTAINERINFOEDIT_H

#include <memory>

#include "catalogue/ContainerInfoList.h"
#include "foundation/export.h"

// Any number of changes to a catalogue, written once, that nobody can get in between:
//
//   ContainerInfoEdit edit(list);        // or a CommonContInfoList
//   for (char const* path : paths) {
//     edit.Add(path);
//   }
//   edit.Commit();
//
// From its construction until Commit or its end the edit holds the list's lock and then the file's,
// both exclusively: other processes' edits, loads and saves wait at the file, other threads of this
// process at the list. The file goes from its old content to its new one in a single step, so who
// reads it at any moment, or after a crash, finds one or the other. Without Commit the file stays
// as it was, and the list as the edit's construction has left it.
//
// What it does not keep out: the writing half of a plain Save or Add of another process, which by
// design takes no lock. Where that wrote meanwhile, Commit finds it and fails with ESTALE; a second
// Commit then takes in what it wrote. Processes that edit in this way only lose nothing.
//
// One edit at a time in a thread. While it lives, its thread may use FindRecord and GetRecord with
// `bLock` false, the walks, and this class; every call that would lock or save a catalogue throws
// an XTOOStatus with EDEADLK. It ends on the thread that made it, before the list, and what a
// forked child inherits of it does nothing there.
//
// All failures are XTOOStatus objects whose text says what was being done to which file, or what
// the base services throw; those of memory pass through. None leaves a half of anything.
class QUENDRIL_EXPORT ContainerInfoEdit {
 public:
  // Takes both locks (blocks), makes an empty file if there is none, and brings the list up to what
  // the file holds: the file's version of every record but those whose State is StateAdded or
  // StateRemoved, which stay for Commit to write or drop. Throws 28 for a list without a file name,
  // EDEADLK inside another edit of the thread, the errno of what may not be opened for writing, and
  // the record store's code for a file that is damaged, which is left as it is.
  explicit ContainerInfoEdit(ContainerInfoList& list);
  ContainerInfoEdit(ContainerInfoEdit const&) = delete;
  ContainerInfoEdit& operator=(ContainerInfoEdit const&) = delete;
  // Takes back what was not committed, and lets both locks go.
  ~ContainerInfoEdit();

  // Appends a record to the list; false when its path is empty or FindRecord would know it. Kept as
  // it is given but for its State. As after ContainerInfoList::Add, a container that does not exist
  // when the edit is committed does not stay. About constant time.
  bool Add(char const* path);
  bool Add(ContainerInfo const& record);
  // Marks the first record with exactly `path` (case ignored, not normalised) as removed, or all
  // records with an empty path; false when there is none. About constant time.
  bool Erase(char const* path);

  // Writes the list, repaired as every save does it, into a file NAME.edit beside the record file,
  // which then takes the place of the record file, with its rights and, where this user may give
  // them, its owner and group. Then removed records leave the list, the others are StateSynced, the
  // locks are free and the edit is over. On a failure nothing of this happens, the list still holds
  // the edit, and Commit may be called again. ESTALE: somebody wrote or replaced the file without
  // its lock.
  //
  // A process that is killed may leave NAME.edit behind; the next Commit replaces it.
  void Commit();

 private:
  class Work;

  Work& Running();

  std::unique_ptr<Work> m_work;
};

#endif
