// Saving, with the base services watched, replaced, and failing.

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "foundation/XTOOStatus.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/catalogue/seams/Seams.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"

namespace {

using Names = std::vector<std::string>;
using Locks = std::vector<Lock>;

class SaveSeams : public CatalogueFixture {
 protected:
  SaveSeams() : m_list(File()) {}

  void Hold(std::string const& path, unsigned int state) {
    RecordsOf(m_list).push_back(Record(path, state));
  }

  // Runs `action` before the open with that number, from 1: the scan's, the reading's, that which
  // empties and that which writes.
  std::function<void(Seams::Call const&)> BeforeOpen(int number,
                                                     std::function<void()> const& action) {
    m_opened = 0;
    return [this, number, action](Seams::Call const& call) {
      if (call.name == "Open" && ++m_opened == number) {
        action();
      }
    };
  }
  // Lets the open with that number fail.
  std::function<void(Seams::Call const&)> FailOpen(int number) {
    m_opened = 0;
    return [this, number](Seams::Call const& call) {
      if (call.name == "Open" && ++m_opened == number) {
        static_cast<CTOOFile*>(call.object)->SetError(EACCES);
      }
    };
  }

  // The list's lock, the opens, the cut, and the question whether `path` exists.
  Names Steps(Seams const& seams, std::string const& path) {
    Names steps;
    for (Seams::Call const& call : seams.Calls) {
      if (call.name == "Open") {
        steps.push_back(call.text.substr(0, call.text.find(' ')));
      } else if (call.object == &m_list.GetSyncList()->Lock || call.name == "Truncate" ||
                 (call.name == "IsExists" && call.text == path)) {
        steps.push_back(call.name);
      }
    }
    return steps;
  }

  static Names Opens(Seams const& seams) {
    Names opens;
    for (Seams::Call const& call : seams.Calls) {
      if (call.name == "Open") {
        opens.push_back(call.text.substr(0, call.text.find(' ')));
      }
    }
    return opens;
  }

  void ExpectNothingHeld(int descriptors) {
    EXPECT_EQ(descriptors, CountDescriptors());
    EXPECT_TRUE(IsLockFree(m_list));
    EXPECT_TRUE(!IsThere(m_file) || FileLockOf(m_file) == Lock::None);
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path()));
  }

  std::string const m_path = Container("key");
  ContainerInfoList m_list;

 private:
  int m_opened = 0;
};

TEST_F(SaveSeams, StepsComeInOrder) {
  Write(CatalogueFile(0, {m_path}));
  Hold(m_path, ContainerInfo::StateAdded);
  {
    Seams seams;
    m_list.Save(true);
    EXPECT_EQ(
        (Names{"rbc", "WriteLock", "WriteUnlock", "IsExists", "rbc", "r+bc", "Truncate", "wbc"}),
        Steps(seams, m_path));
  }
  Seams seams;
  m_list.Save(false);
  EXPECT_EQ((Names{"rbc", "IsExists", "rbc", "r+bc", "Truncate", "wbc"}), Steps(seams, m_path));
}

TEST_F(SaveSeams, FileIsLockedSharedForReadingExclusivelyForEmptyingAndNotForWriting) {
  Write(CatalogueFile(0, {m_path}));
  Seams seams;
  Locks before;
  Locks after;
  Locks folder;
  seams.Before = [&](Seams::Call const& call) {
    if (call.name == "Open") {
      before.push_back(FileLockOf(m_file));
    }
  };
  seams.After = [&](Seams::Call const& call) {
    if (call.name == "Open") {
      after.push_back(FileLockOf(m_file));
      folder.push_back(FolderLockOf(m_folder.Path()));
    }
  };
  m_list.Save(true);
  Locks const expected{Lock::Shared, Lock::Shared, Lock::Exclusive, Lock::None};
  EXPECT_EQ(expected, before);
  EXPECT_EQ(expected, after);
  EXPECT_EQ(Locks(4, Lock::None), folder);
}

TEST_F(SaveSeams, FileIsEmptyAndNotLockedBeforeItIsWritten) {
  Write(CatalogueFile(0, {m_path}));
  Seams seams;
  int seen = 0;
  seams.Before = BeforeOpen(4, [&] {
    ++seen;
    EXPECT_EQ("", FileBytes());
  });
  m_list.Save(true);
  EXPECT_EQ(1, seen);
  EXPECT_EQ(CatalogueFile(1, {m_path}), FileBytes());
}

TEST_F(SaveSeams, ListIsNotLockedAfterItWasWaitedFor) {
  Write(CatalogueFile(0, {m_path}));
  Hold(m_path, ContainerInfo::StateAdded);
  Seams seams;
  int asked = 0;
  seams.Before = [&](Seams::Call const& call) {
    if (call.name == "IsExists" && call.text == m_path) {
      ++asked;
      EXPECT_TRUE(IsLockFree(m_list));
    }
  };
  m_list.Save(true);
  EXPECT_EQ(1, asked);
}

// What another process writes between the opening and the reading is what counts.
TEST_F(SaveSeams, FileIsReadAfreshForTheMerge) {
  std::string const other = Container("other");
  Write(RecordFile(5, 1, "old", {ContainerBytes(m_path)}));
  Hold(m_path, ContainerInfo::StateSynced);
  Seams seams;
  seams.Before = BeforeOpen(
      2, [&] { WriteFile(m_file, RecordFile(7, 0, "header", {ContainerBytes(other)})); });
  m_list.Save(true);
  EXPECT_EQ(Paths{other}, PathsIn(m_list));
  EXPECT_EQ(RecordFile(7, 1, "header", {ContainerBytes(other)}), FileBytes());
}

TEST_F(SaveSeams, DamageSinceTheOpeningDiscardsTheRecordsThatWereRead) {
  std::string const added = Container("added");
  std::string const good = RecordFile(7, 0, "head", {ContainerBytes(m_path), ContainerBytes("/b")});
  std::size_t const firstEnd = 16 + 4 + ContainerBytes(m_path).size();
  for (std::size_t size = 17; size < good.size(); ++size) {
    if (size == firstEnd) {
      continue;
    }
    RecordsOf(m_list).clear();
    Hold(m_path, ContainerInfo::StateSynced);
    Hold(added, ContainerInfo::StateAdded);
    Write(good);
    Seams seams;
    seams.Before = BeforeOpen(2, [&] { WriteFile(m_file, good.substr(0, size)); });
    m_list.Save(true);
    ASSERT_EQ(Paths{added}, PathsIn(m_list)) << size;
    ASSERT_EQ(RecordFile(7, 1, "head", {ContainerBytes(added)}), FileBytes()) << size;
  }
}

TEST_F(SaveSeams, FileThatVanishesAfterTheOpeningHoldsNoRecords) {
  std::string const added = Container("added");
  Write(CatalogueFile(0, {m_path}));
  Hold(m_path, ContainerInfo::StateSynced);
  Hold(added, ContainerInfo::StateAdded);
  Seams seams;
  seams.Before = [&](Seams::Call const& call) {
    if (call.name == "IsExists" && call.text == added) {
      std::filesystem::remove(m_file);
    }
  };
  m_list.Save(true);
  EXPECT_EQ(Paths{added}, PathsIn(m_list));
  EXPECT_EQ(CatalogueFile(1, {added}), FileBytes());
}

TEST_F(SaveSeams, OpenThatFailsMeansNoRecords) {
  std::string const added = Container("added");
  for (int const number : {1, 2}) {
    RecordsOf(m_list).clear();
    Write(CatalogueFile(0, {m_path}));
    Hold(m_path, ContainerInfo::StateSynced);
    Hold(added, ContainerInfo::StateAdded);
    Seams seams;
    seams.After = FailOpen(number);
    m_list.Save(true);
    // After a failed scan nothing more is read.
    Names const opens =
        number == 1 ? Names{"rbc", "r+bc", "wbc"} : Names{"rbc", "rbc", "r+bc", "wbc"};
    EXPECT_EQ(opens, Opens(seams));
    EXPECT_EQ(Paths{added}, PathsIn(m_list));
    EXPECT_EQ(CatalogueFile(1, {added}), FileBytes());
  }
}

TEST_F(SaveSeams, EmptyingThatFailsLeavesTheFileAndEndsQuietly) {
  std::string const added = Container("added");
  Write(CatalogueFile(0, {m_path}));
  Hold(added, ContainerInfo::StateAdded);
  int const before = CountDescriptors();
  Seams seams;
  seams.After = FailOpen(3);
  m_list.Save(true);
  EXPECT_EQ((Paths{added, m_path}), PathsIn(m_list));
  EXPECT_EQ((Names{"rbc", "WriteLock", "WriteUnlock", "rbc", "r+bc"}), Steps(seams, ""));
  ExpectNothingHeld(before);
  ExpectUntouched();
}

TEST_F(SaveSeams, WritingThatFailsLeavesTheFileEmptyAndEndsQuietly) {
  std::string const added = Container("added");
  for (bool const throws : {true, false}) {
    RecordsOf(m_list).clear();
    Write(CatalogueFile(0, {m_path}));
    Hold(added, ContainerInfo::StateAdded);
    int const before = CountDescriptors();
    Seams seams;
    if (throws) {
      seams.Before = BeforeOpen(4, [] { throw XTOOStatus(ENOSPC, "full", false); });
    } else {
      seams.After = FailOpen(4);
    }
    m_list.Save(true);
    EXPECT_EQ((Paths{added, m_path}), PathsIn(m_list));
    EXPECT_EQ("", FileBytes());
    ExpectNothingHeld(before);
  }
}

// The calls of a save, one after the other; false when there are no more.
template <typename Failure>
bool SaveFailingAt(ContainerInfoList& list, std::size_t number, Failure const& failure) {
  Seams seams;
  bool hasFailed = false;
  seams.Before = [&](Seams::Call const& call) {
    // Nothing may leave a destructor.
    if (seams.Calls.size() == number && !hasFailed && call.name[0] != '~' &&
        call.name.find("Unlock") == std::string::npos) {
      hasFailed = true;
      failure();
    }
  };
  list.Save(true);
  return hasFailed || seams.Calls.size() >= number;
}

TEST_F(SaveSeams, StatusThrownAnywhereIsNotPassedOn) {
  bool isMore = true;
  int thrown = 0;
  for (std::size_t number = 1; isMore; ++number) {
    RecordsOf(m_list).clear();
    std::string const bytes = CatalogueFile(0, {m_path, "/gone"});
    Write(bytes);
    Hold(m_path, ContainerInfo::StateSynced);
    int const before = CountDescriptors();
    EXPECT_NO_THROW(isMore = SaveFailingAt(m_list, number,
                                           [&] {
                                             ++thrown;
                                             throw XTOOStatus(99, "in the way", false);
                                           }))
        << number;
    ExpectNothingHeld(before);
    std::string const after = FileBytes();
    EXPECT_TRUE(after == bytes || after.empty() || after == CatalogueFile(1, {m_path, "/gone"}))
        << number;
  }
  EXPECT_LT(10, thrown);
}

TEST_F(SaveSeams, AnythingElseThrownAnywhereIsPassedOn) {
  bool isMore = true;
  for (std::size_t number = 1; isMore; ++number) {
    RecordsOf(m_list).clear();
    std::string const bytes = CatalogueFile(0, {m_path, "/gone"});
    Write(bytes);
    Hold(m_path, ContainerInfo::StateSynced);
    int const before = CountDescriptors();
    bool thrown = false;
    bool passedOn = false;
    try {
      isMore = SaveFailingAt(m_list, number, [&] {
        thrown = true;
        throw std::runtime_error("in the way");
      });
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ("in the way", error.what());
      passedOn = true;
    }
    EXPECT_EQ(thrown, passedOn) << number;
    ExpectNothingHeld(before);
    std::string const after = FileBytes();
    EXPECT_TRUE(after == bytes || after.empty() || after == CatalogueFile(1, {m_path, "/gone"}))
        << number;
  }
}

}  // namespace
