#ifndef QUENDRIL_COMMON_COMMONCONTINFOFILECREATER_H
#define QUENDRIL_COMMON_COMMONCONTINFOFILECREATER_H

#include <memory>

#include "foundation/CTOOString.h"
#include "foundation/export.h"
#include "foundation/IPC.h"

// Knows where the machine-wide catalogue file lives, "quendril/cont_info.dat" under the common
// application-data folder, and creates it on first use: as a copy of the one that the installed
// provider keeps beside its library, or else empty.
//
// The path is settled at construction. Creation is guarded by a semaphore lock between processes
// and between threads; everything else takes no lock.
class QUENDRIL_EXPORT CommonContInfoFileCreater {
 public:
  // Throws XTOOStatus 194 when there is no common application-data folder. Makes the file that the
  // lock's key is derived from, where it can.
  CommonContInfoFileCreater();
  CommonContInfoFileCreater(CommonContInfoFileCreater const&) = delete;
  CommonContInfoFileCreater& operator=(CommonContInfoFileCreater const&) = delete;
  ~CommonContInfoFileCreater();

  // Settles the path anew. Throws as the constructor does.
  void InitPath();
  // Throws XTOOStatus 194.
  CTOOString GetCommonAppDataDir() const;
  // The folder of the common file, without a trailing slash.
  CTOOString GetPathToCommonContInfoFile() const;
  // `dir`, with or without a trailing slash, and the catalogue file's name.
  CTOOString GetContInfoFileName(CTOOString const& dir) const;
  CTOOString GetCommonContInfoFileName() const;

  // A trailing slash of `path` is not looked at.
  bool IsDirExist(CTOOString const& path) const;
  bool ShouldFolderForCommonContInfoFileBeCreated() const;
  // Throws an XTOOFile with the code of the failure.
  void CreateFolderForCommonContInfoFile() const;
  bool DoesCommonContInfoFileExist() const;
  bool ShouldCommonContInfoFileBeCreated() const;

  // The path of the registered provider's library.
  CTOOString GetPathToProvDllFromReg() const;
  bool IsProvRegisteredInRegistry() const;
  // The folder of the registered provider, with a trailing slash.
  CTOOString GetPathToContInfoFileOfRegisteredProv() const;
  CTOOString GetRegisteredProvContInfoFileName() const;
  bool DoesRegisteredProvContInfoFileExist() const;

  // Makes the folder if it is missing, then the file. Throws an XTOOFile.
  void CreateCommonContInfoFile() const;
  // Under the lock, which it waits for: makes the file if it is missing. Of several processes that
  // start at once exactly one makes it. Throws an XTOOFile.
  void CreateIfShould();

 private:
  CTOOString m_path;
  std::unique_ptr<IPC::CReadWriteLock> m_lock;
};

#endif
