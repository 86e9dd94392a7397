// Whether the library's calls really pass through.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/catalogue/seams/Seams.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace {

unsigned long Count(Seams const& seams, std::string const& name) {
  unsigned long count = 0;
  for (std::string const& each : seams.Names()) {
    count += each == name ? 1 : 0;
  }
  return count;
}

TEST(Seams, LibraryCallsPassThrough) {
  TempFolder const folder;
  std::string const file = folder / "catalogue";
  std::string const gone = folder / "gone";
  WriteFile(file, CatalogueFile(0, {folder.Path(), gone}));
  Seams seams;
  {
    seams.NoteDestructors = true;
    ContainerInfoList list(file.c_str());
    list.FindRecord(folder.Path().c_str(), true);
    list.Erase(folder.Path().c_str());
  }
  for (char const* const name :
       {"ParseFullPath", "MakeFullPath", "IsExists", "Length", "Remove", "CollateNoCase", "Open",
        "Truncate", "ReadLock", "ReadUnlock", "WriteLock", "WriteUnlock", "~CReadWriteLock_pth",
        "~IdentObj", "~CTOOString"}) {
    EXPECT_NE(0U, Count(seams, name)) << name;
  }
  EXPECT_EQ(Count(seams, "ReadLock"), Count(seams, "ReadUnlock"));
  EXPECT_EQ(Count(seams, "WriteLock"), Count(seams, "WriteUnlock"));
}

}  // namespace
