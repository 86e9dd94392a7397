#ifndef QUENDRIL_CATALOGUE_FILEREPLACEMENT_H
#define QUENDRIL_CATALOGUE_FILEREPLACEMENT_H

#include <sys/stat.h>

#include "foundation/CTOOString.h"

// What the base services do not offer: which file a name stands for, and putting another in its
// place. All failures are an XTOOStatus with an errno and the path.

// Never empties a file that somebody else makes at the same moment.
void MakeIfMissing(CTOOString const& fileName);

// Which file a name stood for, and in which state, at one moment. Writing shows, but for as many
// bytes within one tick of the kernel's clock.
class FileVersion {
 public:
  explicit FileVersion(CTOOString const& fileName);

  bool operator==(FileVersion const& other) const;
  bool IsOfSize(unsigned long size) const {
    return static_cast<unsigned long>(m_what.st_size) == size;
  }
  bool IsEmpty() const { return IsOfSize(0); }
  bool IsFile() const { return S_ISREG(m_what.st_mode); }

 private:
  friend class FileReplacement;

  struct stat m_what {};
};

// A new empty file NAME.quendril-edit beside an existing one, to be written and then put in its
// place.
class FileReplacement {
 public:
  // The new file has the rights of the old one, and its owner and its group where this user may
  // give them; rights of a group that it cannot have go. A link is followed: it is not the link
  // that is replaced.
  FileReplacement(CTOOString const& fileName, FileVersion const& old);
  FileReplacement(FileReplacement const&) = delete;
  FileReplacement& operator=(FileReplacement const&) = delete;
  // Removes the new file, unless it stands in the old one's place.
  ~FileReplacement();

  CTOOString const& Name() const { return m_name; }

  void PutInPlace();

 private:
  CTOOString m_target;
  CTOOString m_name;
  bool m_isInPlace = false;
};

#endif
