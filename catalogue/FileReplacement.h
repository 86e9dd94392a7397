#ifndef QUENDRIL_CATALOGUE_FILEREPLACEMENT_H
#define QUENDRIL_CATALOGUE_FILEREPLACEMENT_H

#include <sys/stat.h>

#include "foundation/CTOOString.h"

// What the base services do not offer: which file a name stands for, and putting another in its
// place. All failures are an XTOOStatus with an errno and the path.

// Never empties a file that somebody else makes at the same moment.
void MakeIfMissing(CTOOString const& fileName);

// Which file a name stood for, and in which state, at one moment. Writing shows, but for as many
// bytes within one tick of the kernel's clock. What is missing is no file, and equals nothing.
class FileVersion {
 public:
  explicit FileVersion(CTOOString const& fileName);

  bool operator==(FileVersion const& other) const;
  bool IsEmpty() const { return m_what.st_size == 0; }
  bool IsFile() const { return S_ISREG(m_what.st_mode); }

 private:
  friend class FileReplacement;

  struct stat m_what {};
};

// A new empty file NAME.quendril-edit beside an existing one, to be written and then put in its
// place. It is locked (`flock`) as long as this lives: who finds it locked leaves it alone, also
// where the lock of the file itself is worth nothing, since somebody has removed that file.
class FileReplacement {
 public:
  // The new file has the rights of the old one, and its owner and its group where this user may
  // give them; rights of a group that it cannot have go. A link is followed: it is not the link
  // that is replaced. ESTALE when somebody else is about to replace the file, or it is gone.
  FileReplacement(CTOOString const& fileName, FileVersion const& old);
  FileReplacement(FileReplacement const&) = delete;
  FileReplacement& operator=(FileReplacement const&) = delete;
  // Removes the new file, unless it stands in the old one's place.
  ~FileReplacement();

  CTOOString const& Name() const { return m_name; }
  // Of the new file, in bytes.
  unsigned long Size() const;

  // ESTALE when the new file is not there any more.
  void PutInPlace();

 private:
  explicit FileReplacement(CTOOString const& fileName);

  bool IsThere() const;
  void TakeRightsOf(struct stat const& old) const;

  CTOOString m_target;
  CTOOString m_name;
  int const m_file;
};

#endif
