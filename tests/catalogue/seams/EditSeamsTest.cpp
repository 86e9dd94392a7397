// Adding, erasing and assigning, with the base services watched and failing.

#include <cerrno>
#include <filesystem>
#include <functional>
#include <list>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoEdit.h"
#include "catalogue/ContainerInfoList.h"
#include "foundation/XTOOStatus.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/catalogue/seams/Seams.h"
#include "tests/support/Allocations.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"

namespace {

using Names = std::vector<std::string>;

class EditSeams : public CatalogueFixture {
 protected:
  EditSeams() {
    WriteFile(m_file, CatalogueFile(1, {m_old}));
    m_list.Load(File());
  }

  // The list's lock, the comparisons and the opens.
  Names Steps(Seams const& seams) {
    Names steps;
    for (Seams::Call const& call : seams.Calls) {
      if (call.name == "Open") {
        steps.push_back(call.text.substr(0, call.text.find(' ')));
      } else if (call.object == &m_list.GetSyncList()->Lock || call.name == "CollateNoCase" ||
                 call.name == "ParseFullPath") {
        steps.push_back(call.name);
      }
    }
    return steps;
  }

  // Fails each call of `edit` in turn with `Error`, which may be swallowed only by the save; the
  // lock is free each time, and no file is open or locked.
  template <typename Error>
  void FailEachCall(std::function<void()> const& edit, Error const& error, bool isSwallowedBySave) {
    bool isMore = true;
    int failures = 0;
    for (std::size_t number = 1; isMore; ++number) {
      WriteFile(m_file, CatalogueFile(1, {m_old}));
      m_list.Load(nullptr);
      int const before = CountDescriptors();
      bool isSaving = false;
      bool thrown = false;
      bool passedOn = false;
      {
        Seams seams;
        seams.Before = [&](Seams::Call const& call) {
          // The save's first call asks for the file.
          isSaving = isSaving || call.text == m_file;
          if (seams.Calls.size() == number && !thrown && call.name[0] != '~' &&
              call.name.find("Unlock") == std::string::npos) {
            thrown = true;
            throw Error(error);
          }
        };
        try {
          edit();
        } catch (Error const&) {
          passedOn = true;
        }
        isMore = seams.Calls.size() >= number;
      }
      failures += thrown ? 1 : 0;
      EXPECT_EQ(thrown && !(isSwallowedBySave && isSaving), passedOn) << number;
      EXPECT_TRUE(IsLockFree(m_list)) << number;
      EXPECT_EQ(before, CountDescriptors()) << number;
      EXPECT_EQ(Lock::None, FileLockOf(m_file)) << number;
    }
    EXPECT_LT(10, failures);
  }

  std::string const m_old = Container("old");
  std::string const m_new = Container("new");
  ContainerInfoList m_list;
};

TEST_F(EditSeams, AddLooksUnderTheReadLockThenAppendsAndSavesUnderTheWriteLock) {
  Seams seams;
  m_list.Add(m_new.c_str());
  EXPECT_EQ((Names{"ParseFullPath", "ReadLock", "CollateNoCase", "ReadUnlock", "WriteLock", "rbc",
                   "rbc", "r+bc", "wbc", "WriteUnlock"}),
            Steps(seams));
  EXPECT_EQ("WriteUnlock", seams.Calls.back().name);
}

TEST_F(EditSeams, AddAppendsBeforeItSaves) {
  Seams seams;
  int seen = 0;
  seams.Before = [&](Seams::Call const& call) {
    if (call.name == "Open" && ++seen == 1) {
      EXPECT_EQ((Paths{m_old, m_new}), PathsIn(m_list));
      EXPECT_EQ(1U, RecordsOf(m_list).back().State);
    }
    if (call.name == "WriteLock" && seen == 0) {
      EXPECT_EQ(Paths{m_old}, PathsIn(m_list));
    }
  };
  m_list.Add(m_new.c_str());
  EXPECT_EQ(4, seen);
}

TEST_F(EditSeams, AddOfAKnownPathOnlyLooks) {
  Seams seams;
  m_list.Add(m_old.c_str());
  EXPECT_EQ((Names{"ParseFullPath", "ReadLock", "CollateNoCase", "ReadUnlock"}), Steps(seams));
}

TEST_F(EditSeams, AddOfNothingAsksNothing) {
  Seams seams;
  m_list.Add("");
  m_list.Add(nullptr);
  EXPECT_TRUE(seams.Calls.empty());
}

// Another thread was quicker: the duplicate is taken out by the repair of the save.
TEST_F(EditSeams, AddOfAPathThatAppearsAfterTheLookAddsItOnce) {
  Seams seams;
  seams.After = [&](Seams::Call const& call) {
    if (call.name == "ReadUnlock" && PathsIn(m_list) == Paths{m_old}) {
      RecordsOf(m_list).push_back(Record(m_new, ContainerInfo::StateAdded, 7));
    }
  };
  m_list.Add(m_new.c_str());
  EXPECT_EQ((Paths{m_old, m_new}), PathsIn(m_list));
  EXPECT_EQ(7U, RecordsOf(m_list).back().Param);
}

TEST_F(EditSeams, EraseMarksAndSavesUnderOneLock) {
  RecordsOf(m_list).push_back(Record(m_new, ContainerInfo::StateAdded));
  Seams seams;
  int seen = 0;
  seams.Before = [&](Seams::Call const& call) {
    if (call.name == "Open" && ++seen == 1) {
      EXPECT_EQ((std::vector<unsigned int>{3, 1}), StatesIn(m_list));
    }
  };
  m_list.Erase(m_old.c_str());
  // The second record is not compared.
  EXPECT_EQ((Names{"WriteLock", "CollateNoCase", "rbc", "rbc", "r+bc", "wbc", "WriteUnlock"}),
            Steps(seams));
  EXPECT_EQ("WriteLock", seams.Calls.front().name);
  EXPECT_EQ("WriteUnlock", seams.Calls.back().name);
}

TEST_F(EditSeams, EraseOfNothingComparesNothing) {
  RecordsOf(m_list).push_back(Record(""));
  Seams seams;
  m_list.Erase("");
  EXPECT_EQ((Names{"WriteLock", "rbc", "rbc", "r+bc", "wbc", "WriteUnlock"}), Steps(seams));
}

TEST_F(EditSeams, EraseInVainOnlyLocksAndCompares) {
  Seams seams;
  m_list.Erase("/unknown");
  EXPECT_EQ((Names{"WriteLock", "CollateNoCase", "WriteUnlock"}), Steps(seams));
  m_list.Erase(nullptr);
  EXPECT_EQ((Names{"WriteLock", "CollateNoCase", "WriteUnlock", "WriteLock", "WriteUnlock"}),
            Steps(seams));
}

TEST_F(EditSeams, StatusThrownAnywhereInAddIsPassedOnUnlessItSaves) {
  FailEachCall([&] { m_list.Add(m_new.c_str()); }, XTOOStatus(99, "in the way", false), true);
}

TEST_F(EditSeams, AnythingElseThrownAnywhereInAddIsPassedOn) {
  FailEachCall([&] { m_list.Add(m_new.c_str()); }, std::runtime_error("in the way"), false);
}

TEST_F(EditSeams, StatusThrownAnywhereInEraseIsPassedOnUnlessItSaves) {
  FailEachCall([&] { m_list.Erase(m_old.c_str()); }, XTOOStatus(99, "in the way", false), true);
}

TEST_F(EditSeams, AnythingElseThrownAnywhereInEraseIsPassedOn) {
  FailEachCall([&] { m_list.Erase(m_old.c_str()); }, std::runtime_error("in the way"), false);
}

TEST_F(EditSeams, AssignmentTakesTheNameBeforeItsLockAndNoOtherLock) {
  ContainerInfoList other;
  other.Load(Missing("elsewhere").c_str());
  Seams seams;
  seams.Before = [&](Seams::Call const& call) {
    if (call.name == "WriteLock") {
      EXPECT_STREQ(Missing("elsewhere").c_str(), NameOf(m_list));
    }
  };
  m_list = other;
  ASSERT_EQ((Names{"WriteLock", "WriteUnlock"}), seams.Names());
  EXPECT_EQ(&m_list.GetSyncList()->Lock, seams.Calls.front().object);
  EXPECT_EQ(&m_list.GetSyncList()->Lock, seams.Calls.back().object);
}

TEST_F(EditSeams, AssignmentToItselfDoesNothing) {
  ContainerInfoList const& same = m_list;
  Seams seams;
  m_list = same;
  EXPECT_TRUE(seams.Calls.empty());
}

// What others do while a ContainerInfoEdit writes its new file.
class CommitSeams : public EditSeams {
 protected:
  // Commits with `meanwhile` done when the new file was just opened; expects ESTALE.
  void CommitAgainst(std::function<void()> const& meanwhile) {
    ContainerInfoEdit edit(m_list);
    edit.Add(m_new.c_str());
    {
      Seams seams;
      seams.After = [&](Seams::Call const& call) {
        if (call.name == "Open" && call.text == "r+bc " + m_replacement) {
          meanwhile();
        }
      };
      try {
        edit.Commit();
        ADD_FAILURE() << "committed";
      } catch (XTOOStatus const& status) {
        EXPECT_EQ(ESTALE, status.Status());
      }
    }
    EXPECT_EQ((Paths{m_old, m_new}), PathsIn(m_list));
    m_afterwards(edit);
  }

  std::string const m_replacement = m_file + ".quendril-edit";
  std::function<void(ContainerInfoEdit&)> m_afterwards = [](ContainerInfoEdit&) {};
};

TEST_F(CommitSeams, WhatIsWrittenWithoutTheLockMeanwhileStays) {
  std::string const theirs = Container("theirs");
  m_afterwards = [&](ContainerInfoEdit& edit) {
    EXPECT_EQ(CatalogueFile(1, {theirs}), FileBytes());
    EXPECT_FALSE(IsThere(m_replacement));
    edit.Commit();
    EXPECT_EQ(CatalogueFile(1, {m_new, theirs}), FileBytes());
  };
  CommitAgainst([&] { WriteFile(m_file, CatalogueFile(1, {theirs})); });
}

TEST_F(CommitSeams, AnotherFileInTheNewOnesPlaceIsNotTakenForIt) {
  m_afterwards = [&](ContainerInfoEdit& /*edit*/) {
    EXPECT_EQ("not ours", ReadFile(m_replacement));
    EXPECT_EQ(CatalogueFile(1, {m_old}), FileBytes());
  };
  CommitAgainst([&] {
    std::filesystem::remove(m_replacement);
    WriteFile(m_replacement, "not ours");
  });
}

// Whatever piece of memory is not to be had, the edit that it was for changes nothing and goes on.
TEST_F(CommitSeams, AnEditThatRunsOutOfMemoryGoesOn) {
  int failures = 0;
  bool isMore = true;
  for (long number = 0; isMore; ++number) {
    isMore = false;
    WriteFile(m_file, CatalogueFile(1, {m_old}));
    m_list.Load(nullptr);
    ContainerInfoEdit edit(m_list);
    for (auto const& change : {std::function<bool()>([&] { return edit.Add(m_new.c_str()); }),
                               std::function<bool()>([&] { return edit.Erase(m_old.c_str()); })}) {
      Paths const paths = PathsIn(m_list);
      std::vector<unsigned int> const states = StatesIn(m_list);
      try {
        FailingAllocation const failing(number);
        EXPECT_TRUE(change());
      } catch (std::bad_alloc const&) {
        ++failures;
        isMore = true;
        EXPECT_EQ(paths, PathsIn(m_list)) << number;
        EXPECT_EQ(states, StatesIn(m_list)) << number;
        EXPECT_TRUE(change()) << number;
      }
    }
    EXPECT_FALSE(edit.Add(m_new.c_str()));
    EXPECT_FALSE(edit.Erase(m_old.c_str()));
    edit.Commit();
    ASSERT_EQ(CatalogueFile(1, {m_new}), FileBytes()) << number;
  }
  EXPECT_GT(failures, 10);
}

}  // namespace
