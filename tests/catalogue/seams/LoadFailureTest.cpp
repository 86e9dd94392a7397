// Loading while things go wrong on the way.

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

class LoadFailure : public CatalogueFixture {
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

 private:
  int m_seen = 0;
};

TEST_F(LoadFailure, FileThatVanishesOnTheWayIsNotMadeAgain) {
  for (std::string const name : {"IsExists", "Length", "ReadLock"}) {
    for (int number = 1; number <= 2; ++number) {
      Write(CatalogueFile(0, {Container("key")}));
      ContainerInfoList list;
      RecordsOf(list).push_back(Record("/old"));
      int const before = CountDescriptors();
      Seams seams;
      seams.After = At(name, number, [&] { std::filesystem::remove(m_file); });
      list.Load(File());
      EXPECT_TRUE(RecordsOf(list).empty()) << name << number;
      EXPECT_FALSE(IsThere(m_file)) << name << number;
      EXPECT_EQ(before, CountDescriptors());
      EXPECT_TRUE(IsLockFree(list));
    }
  }
}

// The opening itself fails, for nothing may be made: the old records go only behind the lock.
TEST_F(LoadFailure, FileThatVanishesBeforeItsOpeningIsNotOpened) {
  Write(CatalogueFile(0, {Container("key")}));
  ContainerInfoList list;
  RecordsOf(list).push_back(Record("/old"));
  Seams seams;
  int seen = 0;
  seams.After = [&](Seams::Call const& call) {
    if (call.name == "Length") {
      std::filesystem::remove(m_file);
    } else if (call.name == "WriteUnlock") {
      ++seen;
      EXPECT_EQ(Paths{"/old"}, PathsIn(list));
    }
  };
  list.Load(File());
  EXPECT_EQ(1, seen);
  EXPECT_TRUE(RecordsOf(list).empty());
}

TEST_F(LoadFailure, FileThatIsDamagedAfterItsOpeningLeavesTheListEmptyAndEnds) {
  std::string const good = CatalogueFile(1, {"/a", "/b"});
  EXPECT_TRUE(InProcess([&] {
    for (std::size_t size = 0; size < good.size(); ++size) {
      if (size == good.size() - 4 - ContainerBytes("/b").size() || size == 12) {
        continue;  // There a record ends.
      }
      Write(good);
      ContainerInfoList list;
      Seams seams;
      seams.Before = At("ReadLock", 2, [&] { WriteFile(m_file, good.substr(0, size)); });
      list.Load(File());
      EXPECT_TRUE(RecordsOf(list).empty()) << size;
      EXPECT_EQ(good.substr(0, size), FileBytes());
    }
    return true;
  }));
}

TEST_F(LoadFailure, DamagedFileIsNotReadAgain) {
  Write(CatalogueFile(1, {"/a"}) + "x");
  ContainerInfoList list;
  Seams seams;
  list.Load(File());
  std::vector<std::string> const names = seams.Names();
  EXPECT_EQ(1, std::count(names.begin(), names.end(), "Open"));
}

TEST_F(LoadFailure, OpenThatFailsLeavesTheListEmpty) {
  for (int number = 1; number <= 2; ++number) {
    Write(CatalogueFile(1, {"/a"}));
    ContainerInfoList list;
    RecordsOf(list).push_back(Record("/old"));
    Seams seams;
    int opened = 0;
    seams.After = [&](Seams::Call const& call) {
      if (call.name == "Open" && ++opened == number) {
        static_cast<CTOOFile*>(call.object)->SetError(EACCES);
      }
    };
    list.Load(File());
    EXPECT_EQ(number, opened);
    EXPECT_TRUE(RecordsOf(list).empty());
    EXPECT_TRUE(IsLockFree(list));
    ExpectUntouched();
  }
}

TEST_F(LoadFailure, RemovalThatThrowsLeavesTheListEmptyAndTheFile) {
  Write(CatalogueFile(0, {Container("good"), "/gone"}));
  ContainerInfoList list;
  Seams seams;
  seams.Remove = [&](char const* path, XTOOFile const& /*status*/) -> bool {
    EXPECT_EQ(m_file, path);
    throw XTOOStatus(EACCES, path, false);
  };
  list.Load(File());
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_TRUE(IsLockFree(list));
  ExpectUntouched();
}

TEST_F(LoadFailure, RemovalIsAskedToRaiseItsFailure) {
  Write(CatalogueFile(0, {Container("good"), "/gone"}));
  ContainerInfoList list;
  Seams seams;
  int asked = 0;
  seams.Remove = [&](char const* path, XTOOFile const& status) {
    ++asked;
    EXPECT_THROW(status.Fail(EACCES, path), XTOOFile);
    std::filesystem::remove(path);
    return true;
  };
  list.Load(File());
  EXPECT_EQ(1, asked);
}

TEST_F(LoadFailure, LengthIsAskedToRaiseItsFailure) {
  Write(CatalogueFile(0, {Container("good")}));
  ContainerInfoList list;
  Seams seams;
  int asked = 0;
  seams.Length = [&](char const* path, XTOOFile const& status) {
    ++asked;
    EXPECT_THROW(status.Fail(EACCES, path), XTOOFile);
    return 1UL;
  };
  list.Load(File());
  EXPECT_LE(1, asked);
}

// A base library that reports without raising.
TEST_F(LoadFailure, RemovalThatOnlyFillsItsStatusLeavesTheListEmptyAndTheFile) {
  Write(CatalogueFile(0, {Container("good"), "/gone"}));
  ContainerInfoList list;
  Seams seams;
  seams.Remove = [](char const* path, XTOOFile const& status) {
    EXPECT_THROW(status.Fail(EACCES, path), XTOOFile);
    return false;
  };
  list.Load(File());
  EXPECT_TRUE(RecordsOf(list).empty());
  ExpectUntouched();
}

TEST_F(LoadFailure, SecondOpeningThatFailsLeavesTheListEmpty) {
  Write(CatalogueFile(0, {Container("good"), "/gone"}));
  ContainerInfoList list;
  int const before = CountDescriptors();
  Seams seams;
  seams.After = At("Remove", 1, [&] { std::filesystem::create_directory(m_file); });
  list.Load(File());
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_EQ(before, CountDescriptors());
  EXPECT_TRUE(IsLockFree(list));
}

// Somebody else was quicker, and what he wrote is damaged.
TEST_F(LoadFailure, SecondOpeningOfADamagedFileLeavesTheListEmptyAndTheFile) {
  Write(CatalogueFile(0, {Container("good"), "/gone"}));
  ContainerInfoList list;
  Seams seams;
  seams.After = At("Remove", 1, [&] { WriteFile(m_file, "damaged"); });
  list.Load(File());
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_EQ("damaged", FileBytes());
}

TEST_F(LoadFailure, WritingThatFailsLeavesTheListEmpty) {
  Write(CatalogueFile(0, {Container("good"), "/gone"}));
  ContainerInfoList list;
  int const before = CountDescriptors();
  Seams seams;
  seams.After = [&](Seams::Call const& call) {
    if (call.name == "Open" && call.text.substr(0, 1) == "w") {
      static_cast<CTOOFile*>(call.object)->SetError(ENOSPC);
    }
  };
  list.Load(File());
  EXPECT_TRUE(RecordsOf(list).empty());
  EXPECT_EQ(before, CountDescriptors());
  EXPECT_TRUE(IsLockFree(list));
}

// The calls of a load that cleans, one after the other; false when there are no more.
template <typename Failure>
bool LoadFailingAt(ContainerInfoList& list, std::size_t number, Failure const& failure) {
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
  list.Load(nullptr);
  return hasFailed || seams.Calls.size() >= number;
}

TEST_F(LoadFailure, StatusThrownAnywhereLeavesTheListEmptyAndIsNotPassedOn) {
  bool isMore = true;
  for (std::size_t number = 1; isMore; ++number) {
    std::filesystem::remove(m_file);
    ContainerInfoList list(File());
    Write(CatalogueFile(0, {Container("good"), Missing("gone"), m_folder.Path()}));
    RecordsOf(list).push_back(Record("/old", ContainerInfo::StateAdded));
    int const before = CountDescriptors();
    bool thrown = false;
    isMore = LoadFailingAt(list, number, [&] {
      thrown = true;
      throw XTOOStatus(99, "in the way", false);
    });
    EXPECT_EQ(thrown, RecordsOf(list).empty()) << number;
    EXPECT_EQ(before, CountDescriptors()) << number;
    EXPECT_TRUE(IsLockFree(list)) << number;
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path()));
    EXPECT_TRUE(!IsThere(m_file) || FileLockOf(m_file) == Lock::None) << number;
  }
}

TEST_F(LoadFailure, AnythingElseThrownAnywhereIsPassedOnAndKeepsWhatWasLoaded) {
  Paths const paths{Container("good"), m_folder.Path()};
  bool isMore = true;
  std::size_t most = 0;
  for (std::size_t number = 1; isMore; ++number) {
    ContainerInfoList list(File());
    Write(CatalogueFile(0, {paths.front(), Missing("gone"), paths.back()}));
    int const before = CountDescriptors();
    bool thrown = false;
    bool passedOn = false;
    try {
      isMore = LoadFailingAt(list, number, [&] {
        thrown = true;
        throw std::runtime_error("in the way");
      });
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ("in the way", error.what());
      passedOn = true;
    }
    EXPECT_EQ(thrown, passedOn) << number;
    Paths const found = PathsIn(list);
    most = std::max(most, thrown ? found.size() : 0);
    EXPECT_EQ(Paths(paths.begin(), std::next(paths.begin(), static_cast<long>(found.size()))),
              found);
    EXPECT_EQ(before, CountDescriptors()) << number;
    EXPECT_TRUE(IsLockFree(list)) << number;
    EXPECT_TRUE(!IsThere(m_file) || FileLockOf(m_file) == Lock::None) << number;
    std::filesystem::remove(m_file);
  }
  EXPECT_EQ(2U, most);
}

TEST_F(LoadFailure, ListIsEmptiedAfterItsLockIsReleased) {
  Write(RecordFile(0, 1, "", {ContainerBytes("/a"), "malformed"}));
  ContainerInfoList list;
  Seams seams;
  int seen = 0;
  seams.After = At("WriteUnlock", 1, [&] {
    ++seen;
    EXPECT_EQ(Paths{"/a"}, PathsIn(list));
  });
  list.Load(File());
  EXPECT_EQ(1, seen);
  EXPECT_TRUE(RecordsOf(list).empty());
}

}  // namespace
