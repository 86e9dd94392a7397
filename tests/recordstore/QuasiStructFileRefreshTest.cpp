// CheckAndRestore: when a store scans its file again.

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::ElementsAre;

constexpr unsigned long kTicksPerMillisecond = 10000;

class RecordFileRefresh : public testing::Test {
 protected:
  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
};

void ExpectRescan(ExposedStore& store, bool expected, std::string const& when) {
  store.Events.clear();
  store.CheckAndRestore();
  std::vector<std::string> const names = store.Names();
  EXPECT_EQ(expected ? 1 : 0, std::count(names.begin(), names.end(), "Open rbc")) << when;
  EXPECT_EQ("GetLastWriteTime", names.front()) << when;
}

TEST_F(RecordFileRefresh, OnlyANewerFileIsScannedAgain) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  constexpr unsigned long kMoments[] = {0x100000000, 0x1D0000000FFFFFFF, 0x1D00000100000000};
  for (unsigned long const loaded : kMoments) {
    for (long const later : {-0x100000001L, -0x100000000L, -1L, 0L, 1L, 0x100000000L}) {
      store.LoadTime() = FileTimeOf(loaded);
      store.WriteTime = [&] { return FileTimeOf(loaded + static_cast<unsigned long>(later)); };
      bool const isLater = loaded + static_cast<unsigned long>(later) > loaded;
      store.Offsets() = {1};
      ExpectRescan(store, isLater, std::to_string(later));
      EXPECT_EQ(isLater ? 3U : 1U, store.Offsets().size());
      if (!isLater) {
        EXPECT_EQ(loaded, TicksOf(store.LoadTime()));
      }
    }
  }
}

TEST_F(RecordFileRefresh, MissingFileIsNotScannedAgain) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, false);
  std::filesystem::remove(m_path);
  ExpectRescan(store, false, "removed");
  EXPECT_EQ(0, store.Status());
  EXPECT_EQ(SomeOffsets(), store.Offsets());
  EXPECT_EQ(SomeHeader(), DataOf(store.Header()));
  store.LoadTime() = CTOOFileTime();
  ExpectRescan(store, false, "never loaded");
}

TEST_F(RecordFileRefresh, RescanSetsTheLoadTimeToTheCurrentTime) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  store.LoadTime() = CTOOFileTime();
  unsigned long const before = TicksNow();
  ExpectRescan(store, true, "older load time");
  EXPECT_GT(TicksOf(store.LoadTime()) + kTicksPerMillisecond, before);
  EXPECT_LE(TicksOf(store.LoadTime()), TicksNow());
  ExpectRescan(store, false, "a second time");
}

// Not to the file's, which may lie in the future: later changes of the file would go unseen.
TEST_F(RecordFileRefresh, RescanOfAFileFromTheFutureSetsTheCurrentTime) {
  WriteFile(m_path, SomeFile());
  ShiftWriteTime(m_path, 3600);
  ExposedStore store(m_path, true);
  ExpectRescan(store, true, "from the future");
  EXPECT_LE(TicksOf(store.LoadTime()), TicksNow());
  ExpectRescan(store, true, "still from the future");
}

TEST_F(RecordFileRefresh, RescanThatFailsShowsInTheStatus) {
  MakeOldFile(m_path, SomeFile());
  ExposedStore store(m_path, true);
  WriteFile(m_path, SomeFile().substr(0, 30));
  store.LoadTime() = CTOOFileTime();
  store.CheckAndRestore();
  EXPECT_EQ(5, store.Status());
  EXPECT_THAT(store.Offsets(), ElementsAre(18));
}

// Over and over, right after the load: file times must be finer than the loads follow each other.
TEST_F(RecordFileRefresh, WriteByAnotherStoreIsSeenByTheNextGet) {
  WriteFile(m_path, SomeFile());
  CQuasiStructFile store(m_path.c_str(), true, false);
  CQuasiStructFile other(m_path.c_str(), true, false);
  for (long i = 3; i < 100; ++i) {
    std::string const data = Pattern(10, static_cast<unsigned int>(i));
    ASSERT_EQ(0U, other.Add(Blob(data)));
    IdentObj out;
    ASSERT_EQ(0U, store.Get(i, out)) << i;
    ASSERT_EQ(data, DataOf(out)) << i;
  }
}

TEST_F(RecordFileRefresh, WriteByAnotherProcessIsSeenByTheNextGet) {
  WriteFile(m_path, SomeFile());
  ProcessPeer peer([&](PeerSide& side) {
    CQuasiStructFile other(m_path.c_str(), true, false);
    for (unsigned int i = 3; i < 30; ++i) {
      side.AwaitGo();
      EXPECT_EQ(0U, other.Put(0, Blob(Pattern(i, i))));
      side.Reached();
    }
  });
  CQuasiStructFile store(m_path.c_str(), true, false);
  for (unsigned int i = 3; i < 30; ++i) {
    peer.Go();
    ASSERT_TRUE(peer.AwaitStep());
    IdentObj out;
    ASSERT_EQ(0U, store.Get(0, out));
    ASSERT_EQ(Pattern(i, i), DataOf(out));
    // Where this one stands has changed with the length of the first.
    ASSERT_EQ(0U, store.Get(1, out));
    ASSERT_EQ(*std::next(SomeRecords().begin()), DataOf(out));
  }
  EXPECT_TRUE(peer.Finish());
}

}  // namespace
