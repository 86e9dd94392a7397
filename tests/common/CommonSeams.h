#ifndef QUENDRIL_TESTS_COMMON_COMMONSEAMS_H
#define QUENDRIL_TESTS_COMMON_COMMONSEAMS_H

#include <functional>

#include "tests/catalogue/seams/Seams.h"

// Seams with more of them: what the common catalogue asks of the base services, and what it takes
// to follow a call through the whole system. The calls of both kinds are noted in one order, and
// Before and After see both. Call names beside those of Seams:
//
//   "SemaphoreLock", "FileLock", "~SemaphoreLock", "~FileLock": the locks' own lives; the text is
//     the key or the path. The destructors are noted as those of Seams are.
//   "CopyFile" (the text is the source, a blank, the target), "CreateFolder", "LastWriteTime"
//   "Now": a CTOODateTime made of the present moment
//   "ReadBlob", "WriteBlob": an IdentObj from and to a file; "Write", "Close": a file handle's
//   "dbg_can_log" (the text is the level), "_debug" (function and level)
//   "Text", "TextFrom": a string's text is asked for, or one is made of a text. Never noted, only
//     seen by Before and After.
class CommonSeams : public Seams {
 public:
  CommonSeams();
  ~CommonSeams();

  // In the place of the real service, if set.
  std::function<bool(char const* from, char const* to, bool flag, XTOOFile const& status,
                     bool reserved)>
      CopyFile;
  std::function<bool(char const* path, XTOOFile const& status)> CreateFolder;
  std::function<int(int level)> CanLog;
};

// Whether the call is "Text" or "TextFrom": these are everywhere.
bool IsAboutText(Seams::Call const& call);

#endif
