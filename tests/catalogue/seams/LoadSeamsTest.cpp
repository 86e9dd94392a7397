// Loading, with the base services watched and replaced.

#include <algorithm>
#include <functional>
#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "foundation/storedev.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/catalogue/seams/Seams.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"

namespace {

using Names = std::vector<std::string>;

class LoadSeams : public CatalogueFixture {
 protected:
  // Counts the calls of that name and runs `action` at the one with that number, from 1.
  std::function<void(Seams::Call const&)> At(std::string const& name, int number,
                                             std::function<void()> const& action) {
    m_seen = 0;
    return [this, name, number, action](Seams::Call const& call) {
      if (call.name == name && ++m_seen == number) {
        action();
      }
    };
  }

  // The locks, the opens and the removal, in order.
  Names Steps(Seams const& seams, ContainerInfoList& list) const {
    Names steps;
    for (Seams::Call const& call : seams.Calls) {
      bool const isOwn = call.object == &list.GetSyncList()->Lock;
      if (call.name == "Open" || call.name == "Remove") {
        EXPECT_NE(std::string::npos, call.text.find(m_file));
        steps.push_back(call.name + " " + call.text.substr(0, call.text.find(m_file)));
      } else if (call.name.find("ock") != std::string::npos) {
        steps.push_back((isOwn ? "list " : "file ") + call.name);
      }
    }
    return steps;
  }

 private:
  int m_seen = 0;
};

TEST_F(LoadSeams, NameIsStoredBeforeTheLockIsTaken) {
  ContainerInfoList list;
  Seams seams;
  int asked = 0;
  seams.Before = At("WriteLock", 1, [&] {
    ++asked;
    EXPECT_STREQ(File(), NameOf(list));
  });
  list.Load(File());
  EXPECT_EQ(1, asked);
}

TEST_F(LoadSeams, ListIsLockedFromBeforeTheFileIsAskedForToTheEnd) {
  Write(CatalogueFile(1, {"/a"}));
  ContainerInfoList list;
  Seams seams;
  list.Load(File());
  EXPECT_EQ("WriteLock", seams.Calls.front().name);
  EXPECT_EQ((Names{"list WriteLock", "file ReadLock", "Open rbc ", "file ReadUnlock",
                   "file ReadLock", "Open rbc ", "file ReadUnlock", "list WriteUnlock"}),
            Steps(seams, list));
  EXPECT_EQ("WriteUnlock", seams.Calls.back().name);
}

TEST_F(LoadSeams, MissingOrEmptyFileEmptiesTheListUnderItsLock) {
  for (bool const isThere : {false, true}) {
    if (isThere) {
      Write("");
    }
    ContainerInfoList list;
    RecordsOf(list).push_back(Record("/old"));
    Seams seams;
    int seen = 0;
    seams.Before = At("WriteUnlock", 1, [&] {
      ++seen;
      EXPECT_TRUE(RecordsOf(list).empty());
    });
    list.Load(File());
    EXPECT_EQ(1, seen);
  }
}

TEST_F(LoadSeams, CleaningRemovesAndWritesUnderTheListsLockOnly) {
  Write(CatalogueFile(0, {Container("good"), Missing("gone")}));
  ContainerInfoList list;
  Seams seams;
  int written = 0;
  auto const look = [&](Seams::Call const& call) {
    if (call.name == "Open" && call.text.substr(0, 1) == "w") {
      ++written;
      EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path()));
      EXPECT_EQ(Lock::None, IsThere(m_file) ? FileLockOf(m_file) : Lock::None);
    }
  };
  seams.Before = look;
  seams.After = look;
  list.Load(File());
  EXPECT_EQ(
      (Names{"list WriteLock", "file ReadLock", "Open rbc ", "file ReadUnlock", "file ReadLock",
             "Open rbc ", "file ReadUnlock", "Remove ", "Open wbc ", "list WriteUnlock"}),
      Steps(seams, list));
  EXPECT_EQ(2, written);
}

TEST_F(LoadSeams, FileIsLockedSharedWhileItIsRead) {
  Write(CatalogueFile(1, {"/a"}));
  ContainerInfoList list;
  Seams seams;
  std::vector<Lock> locks;
  seams.After = [&](Seams::Call const& call) {
    if (call.name == "Open") {
      locks.push_back(FileLockOf(m_file));
    }
  };
  list.Load(File());
  EXPECT_EQ((std::vector<Lock>{Lock::Shared, Lock::Shared}), locks);
}

// Which records are tested, and how.

TEST_F(LoadSeams, PathsAreSplitWithFlagFolderAndNameOnly) {
  std::string const path = Container("key");
  Write(CatalogueFile(0, {path}));
  ContainerInfoList list;
  Seams seams;
  int parsed = 0;
  int made = 0;
  seams.ParseFullPath = [&](char const* text, bool* flag, CTOOString* folder, CTOOString* name,
                            CTOOString* last) {
    ++parsed;
    EXPECT_EQ(path, text);
    ASSERT_TRUE(flag != nullptr && folder != nullptr && name != nullptr);
    EXPECT_EQ(nullptr, last);
    *flag = false;
    *folder = "the folder";
    *name = "the name";
  };
  seams.MakeFullPath = [&](CTOOString& full, CTOOString const& folder, CTOOString const& name,
                           CTOOString const& last) {
    ++made;
    EXPECT_STREQ("the folder", folder);
    EXPECT_STREQ("the name", name);
    EXPECT_STREQ("", last);
    full = path.c_str();
  };
  list.Load(File());
  EXPECT_EQ(1, parsed);
  EXPECT_EQ(1, made);
  EXPECT_EQ(Paths{path}, PathsIn(list));
}

TEST_F(LoadSeams, PathThatTheFlagRefusesIsDroppedWithoutFurtherTests) {
  std::string const refused = Container("refused");
  std::string const good = Container("good");
  Write(CatalogueFile(0, {refused, good}));
  ContainerInfoList list;
  Seams seams;
  seams.ParseFullPath = [&](char const* path, bool* flag, CTOOString* folder, CTOOString* name,
                            CTOOString* last) {
    storedev::ParseFullPath(path, flag, folder, name, last);
    *flag = path == refused;
  };
  list.Load(File());
  EXPECT_EQ(Paths{good}, PathsIn(list));
  EXPECT_EQ(CatalogueFile(1, {good}), FileBytes());
  std::vector<std::string> const lines = seams.Lines();
  EXPECT_EQ(0, std::count(lines.begin(), lines.end(), "IsExists " + refused));
  EXPECT_EQ(1, std::count(lines.begin(), lines.end(), "IsExists " + good));
}

TEST_F(LoadSeams, ContainerIsLookedForWhereTheJoinedPathSays) {
  std::string const path = Container("key");
  std::string const other = Container("other");
  Write(CatalogueFile(0, {path, other}));
  ContainerInfoList list;
  Seams seams;
  seams.MakeFullPath = [&](CTOOString& full, CTOOString const& /*folder*/, CTOOString const& name,
                           CTOOString const& /*last*/) {
    full = (m_folder / (name == "key" ? "gone" : "key")).c_str();
  };
  list.Load(File());
  EXPECT_EQ(Paths{other}, PathsIn(list));
}

TEST_F(LoadSeams, NothingIsSplitOrLookedForOnceTheMarkIsSet) {
  Write(CatalogueFile(1, {Container("key"), "/gone"}));
  ContainerInfoList list;
  Seams seams;
  list.Load(File());
  for (Seams::Call const& call : seams.Calls) {
    EXPECT_NE("ParseFullPath", call.name);
    EXPECT_TRUE(call.name != "IsExists" || call.text == m_file) << call.text;
  }
}

// The mark is taken when the file is opened.
TEST_F(LoadSeams, MarkIsThatOfTheOpeningNotOfTheReading) {
  Write(CatalogueFile(1, {"/gone"}));
  ContainerInfoList list;
  {
    Seams seams;
    seams.Before = At("ReadLock", 2, [&] { WriteFile(m_file, CatalogueFile(0, {"/gone"})); });
    list.Load(File());
    EXPECT_EQ(Paths{"/gone"}, PathsIn(list));
  }
  Write(CatalogueFile(0, {"/gone"}));
  Seams seams;
  seams.Before = At("ReadLock", 2, [&] { WriteFile(m_file, CatalogueFile(1, {"/gone"})); });
  list.Load(File());
  EXPECT_EQ(Paths{}, PathsIn(list));
}

}  // namespace
