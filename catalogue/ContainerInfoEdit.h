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
// reads it at any moment, also after a process was killed, finds one or the other. (Nothing is
// synced to the disk: a machine that fails is another matter.) Without Commit the file stays as it
// was, and the list as the edit's construction has left it.
//
// Processes that edit in this way only lose nothing. What an edit does not keep out is what by
// design takes no lock: the writing half of other processes' Save, Add and Erase, the rewriting by
// the first Load of a file whose cleaned mark is 0, and a Save(true) of another thread, which only
// waits for the list's lock. Where Commit finds that somebody wrote meanwhile it fails with ESTALE;
// a second Commit then locks anew and takes in what was written.
//
// One edit at a time in a thread. While it lives, its thread may use FindRecord and GetRecord with
// `bLock` false (they still give records that are marked as removed), the walks, and this class;
// every call that would lock or save a catalogue throws an XTOOStatus with EDEADLK. Records are
// changed by Erase and Add, not in place. An edit ends on the thread that made it, before the list.
// In a forked child it commits nothing, and its list is not for use there.
//
// All failures are XTOOStatus objects whose text says what was being done to which file, or what
// the base services throw; those of memory pass through. None leaves a half of anything.
class QUENDRIL_EXPORT ContainerInfoEdit {
 public:
  // Takes both locks (blocks), makes an empty file if there is none, and brings the list up to what
  // the file holds: the file's version of every record but those whose State is StateAdded or
  // StateRemoved, which stay for Commit to write or drop. Throws 28 for a list without a file name,
  // EDEADLK inside another edit of the thread, the errno of what may not be opened for writing, and
  // the record store's code for a file that is damaged, which is left as it is. EINVAL for what is
  // no file.
  explicit ContainerInfoEdit(ContainerInfoList& list);
  ContainerInfoEdit(ContainerInfoEdit const&) = delete;
  ContainerInfoEdit& operator=(ContainerInfoEdit const&) = delete;
  // Takes back what was not committed, and lets both locks go.
  ~ContainerInfoEdit();

  // Appends a record to the list; false when its path is empty or, in its normalised form, there
  // already and not removed. Kept as it is given but for its State. As after
  // ContainerInfoList::Add, a container that does not exist when the edit is committed does not
  // stay. The time is that of a look into a hash table, of a walk over those records whose paths
  // differ in letters alone.
  bool Add(char const* path);
  bool Add(ContainerInfo const& record);
  // Marks the first record with exactly `path` (case ignored, not normalised) as removed, or all
  // records with an empty path; false when there is none. Time as Add.
  bool Erase(char const* path);

  // Writes the list, repaired as Fix does it, into a file NAME.quendril-edit beside the record
  // file, which then takes the place of the record file: with its rights and, where this user may
  // give them, its owner and its group, but without hard links and extended attributes. So it needs
  // the right to make files in the folder, and to replace this one. Then removed records leave the
  // list, the others are StateSynced, the locks are free and the edit is over.
  //
  // On a failure nothing of this happens, the list still holds the edit, and Commit may be called
  // again. After ESTALE (somebody wrote or replaced the file without its lock, or is just doing so)
  // the file is not locked until then.
  //
  // A process that is killed may leave NAME.quendril-edit behind; the next Commit replaces it,
  // which it knows from one that is being written by its lock.
  void Commit();

 private:
  class Work;

  Work& Running();

  std::unique_ptr<Work> m_work;
};

#endif
