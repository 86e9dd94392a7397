// CommonContInfoList: whether the common file changed since the latest load.

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <list>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/CommonContInfoList.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/FolderOfTest.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"

namespace {

using Paths = std::list<std::string>;

// The load stamp stands behind the pointer to the catalogue; both are private.
ContainerInfoList& CatalogueOf(CommonContInfoList& facade) {
  return **reinterpret_cast<ContainerInfoList**>(&facade);
}

CTOODateTime StampOf(CommonContInfoList const& facade) {
  CTOODateTime stamp(0L);
  std::memcpy(static_cast<void*>(&stamp),
              reinterpret_cast<char const*>(&facade) + sizeof(ContainerInfoList*), sizeof stamp);
  return stamp;
}

class CommonCatalogueChange : public testing::Test {
 protected:
  CommonCatalogueChange() {
    WriteFile(m_key, "");
    WriteFile(m_other, "");
    m_folder.MakeCommonFile(CatalogueFile(1, {m_key}));
  }

  // Another thread gets the list's lock for itself.
  static bool IsListFree(CommonContInfoList& facade) {
    ThreadPeer peer([&](PeerSide& side) {
      IPC::CWriteLocker const locker(facade.GetSyncList()->Lock);
      side.Reached();
    });
    return peer.AwaitStep();
  }

  FolderOfTest m_folder;
  std::string const m_key = m_folder.Path() + "/key";
  std::string const m_other = m_folder.Path() + "/other";
};

TEST_F(CommonCatalogueChange, IsTrueBeforeTheFirstLoad) {
  for (long const seconds : {0L, -86400L, -1000000000L, 86400L}) {
    ShiftWriteTime(m_folder.CommonFile(), seconds);
    CommonContInfoList facade;
    EXPECT_TRUE(facade.bIsChange()) << seconds;
    EXPECT_TRUE(facade.bIsChange()) << "asking changes nothing";
  }
}

TEST_F(CommonCatalogueChange, IsFalseAfterALoad) {
  CommonContInfoList facade;
  facade.Load();
  EXPECT_FALSE(facade.bIsChange());
  EXPECT_FALSE(facade.bIsChange());
}

TEST_F(CommonCatalogueChange, OwnWritesAreSeenWithoutAnyPause) {
  CommonContInfoList facade;
  for (int round = 0; round < 100; ++round) {
    for (auto const& write : std::vector<std::function<void()>>{
             [&] { facade.Add(m_other.c_str()); }, [&] { facade.Erase(m_other.c_str()); },
             [&] { facade.Save(true); }, [&] { facade.Save(false); }}) {
      facade.Load();
      ASSERT_FALSE(facade.bIsChange());
      write();
      ASSERT_TRUE(facade.bIsChange());
    }
  }
}

TEST_F(CommonCatalogueChange, CallsThatWriteNothingAreNone) {
  CommonContInfoList facade;
  facade.Load();
  facade.Add(m_key.c_str());
  facade.Add("");
  facade.Erase("/absent");
  facade.Erase("");
  facade.GetFirst();
  facade.GetNext();
  facade.GetPrevious();
  facade.FindRecord(m_key.c_str(), true);
  EXPECT_FALSE(facade.bIsChange());
}

TEST_F(CommonCatalogueChange, WriteOfAnotherProcessIsSeen) {
  CommonContInfoList facade;
  facade.Load();
  EXPECT_TRUE(InProcess([&] {
    CommonContInfoList own;
    own.Add(m_other.c_str());
    return true;
  }));
  EXPECT_TRUE(facade.bIsChange());
  facade.Load();
  EXPECT_FALSE(facade.bIsChange());
  EXPECT_NE(nullptr, facade.FindRecord(m_other.c_str(), true));
}

TEST_F(CommonCatalogueChange, WriteTimeMustBeLaterThanTheStamp) {
  CommonContInfoList facade;
  facade.Load();
  CTOODateTime const stamp = StampOf(facade);
  for (long const ticks : {-1L, 0L, 1L}) {
    constexpr long kTicksPerSecond = 10000000;
    constexpr long kDaysTo1970 = 134774;
    long const time = static_cast<long>(stamp.Ticks()) + ticks;
    long const seconds = (static_cast<long>(stamp.Days()) - kDaysTo1970) * 86400;
    timespec const times[2] = {{0, UTIME_OMIT},
                               {seconds + time / kTicksPerSecond, time % kTicksPerSecond * 100}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, m_folder.CommonFile().c_str(), times, 0));
    EXPECT_EQ(ticks == 1, facade.bIsChange()) << ticks;
  }
}

TEST_F(CommonCatalogueChange, MissingFileIsNone) {
  CommonContInfoList facade;
  std::filesystem::remove(m_folder.CommonFile());
  EXPECT_FALSE(facade.bIsChange());
  facade.Load();
  EXPECT_FALSE(facade.bIsChange());
  std::filesystem::remove_all(m_folder.VendorFolder());
  EXPECT_FALSE(facade.bIsChange());
}

TEST_F(CommonCatalogueChange, AsksForTheNameThatTheCatalogueStores) {
  CommonContInfoList facade;
  std::string const elsewhere = m_folder.Path() + "/elsewhere";
  WriteFile(elsewhere, CatalogueFile(1, {}));
  CatalogueOf(facade).Load(elsewhere.c_str());
  CommonSeams seams;
  EXPECT_TRUE(facade.bIsChange());
  EXPECT_EQ(std::vector<std::string>{"LastWriteTime " + elsewhere}, seams.Lines());
}

// What a load does to the stamp.

TEST_F(CommonCatalogueChange, LoadOfADamagedFileMovesTheStamp) {
  CommonContInfoList facade;
  WriteFile(m_folder.CommonFile(), CatalogueFile(1, {m_key}) + "x");
  facade.Load();
  EXPECT_EQ(Paths{}, PathsIn(facade.GetSyncList()->Records));
  EXPECT_FALSE(facade.bIsChange());
}

TEST_F(CommonCatalogueChange, LoadOfAMissingFileMovesTheStamp) {
  CommonContInfoList facade;
  std::filesystem::remove(m_folder.CommonFile());
  facade.Load();
  EXPECT_EQ(Paths{}, PathsIn(facade.GetSyncList()->Records));
  m_folder.MakeCommonFile("");
  AgeFile(m_folder.CommonFile());
  EXPECT_FALSE(facade.bIsChange());
  ShiftWriteTime(m_folder.CommonFile(), 60);
  EXPECT_TRUE(facade.bIsChange());
}

TEST_F(CommonCatalogueChange, LoadThatThrowsLeavesTheStamp) {
  CommonContInfoList facade;
  CommonSeams seams;
  seams.Before = [](Seams::Call const& call) {
    if (call.name == "Open") {
      throw std::bad_alloc();
    }
  };
  EXPECT_THROW(facade.Load(), std::bad_alloc);
  EXPECT_TRUE(facade.bIsChange());
}

TEST_F(CommonCatalogueChange, StampIsTakenAfterTheLoad) {
  CommonContInfoList facade;
  facade.GetSyncList()->Records.clear();
  CommonSeams seams;
  int stamps = 0;
  seams.Before = [&](Seams::Call const& call) {
    if (call.name == "Now") {
      ++stamps;
      EXPECT_EQ(Paths{m_key}, PathsIn(facade.GetSyncList()->Records));
      EXPECT_TRUE(IsListFree(facade));
    }
  };
  facade.Load();
  EXPECT_EQ(1, stamps);
  EXPECT_EQ("Now", seams.Names().back());
}

// Kept on purpose: between the end of the load and the stamp a write goes unseen.
TEST_F(CommonCatalogueChange, WriteBeforeTheStampIsNotSeen) {
  CommonContInfoList facade;
  CommonSeams seams;
  seams.Before = [&](Seams::Call const& call) {
    if (call.name == "Now") {
      EXPECT_TRUE(InProcess([&] {
        CommonContInfoList own;
        own.Add(m_other.c_str());
        return true;
      }));
    }
  };
  facade.Load();
  EXPECT_FALSE(facade.bIsChange());
  EXPECT_EQ((Paths{m_key, m_other}), PathsInFile(m_folder.CommonFile()));
  EXPECT_EQ(Paths{m_key}, PathsIn(facade.GetSyncList()->Records));
}

TEST_F(CommonCatalogueChange, WriteDuringTheLoadIsNotSeen) {
  CommonContInfoList facade;
  CommonSeams seams;
  bool isWritten = false;
  seams.Before = [&](Seams::Call const& call) {
    if (call.name == "ReadUnlock" && !isWritten) {
      isWritten = true;
      WriteFile(m_folder.CommonFile(), CatalogueFile(1, {m_key, m_other}));
    }
  };
  facade.Load();
  EXPECT_TRUE(isWritten);
  EXPECT_FALSE(facade.bIsChange());
}

TEST_F(CommonCatalogueChange, LoadReloadsFromTheStoredName) {
  CommonContInfoList facade;
  m_folder.Answer = "/elsewhere";
  WriteFile(m_folder.CommonFile(), CatalogueFile(1, {m_other}));
  facade.Load();
  EXPECT_EQ(Paths{m_other}, PathsIn(facade.GetSyncList()->Records));
}

TEST_F(CommonCatalogueChange, IsTheSameInEveryTimeZone) {
  for (char const* const zone : {"UTC0", "XXX-14", "XXX12", "XXX-5:45", "XXX3YYY,M3.2.0,M11.1.0"}) {
    AgeFile(m_folder.CommonFile());
    bool const isSame = InProcess([&] {
      ::setenv("TZ", zone, 1);
      ::tzset();
      CommonContInfoList facade;
      EXPECT_TRUE(facade.bIsChange());
      facade.Load();
      EXPECT_FALSE(facade.bIsChange());
      facade.Save(true);
      EXPECT_TRUE(facade.bIsChange());
      facade.Load();
      for (long const seconds : {-60L, 60L, -3600L, 3600L}) {
        ShiftWriteTime(m_folder.CommonFile(), seconds);
        EXPECT_EQ(seconds > 0, facade.bIsChange()) << seconds;
      }
      return true;
    });
    EXPECT_TRUE(isSame) << zone;
  }
}

}  // namespace
