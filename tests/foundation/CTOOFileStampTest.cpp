// The modification time that a CTOOFile leaves. A catalogue is loaded again when its file is later
// than the load, so no change may go unseen and no reading may look like a change.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "foundation/CTOODateTime.h"
#include "foundation/CTOOFile.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

// What this thread's clock says instead of the time.
thread_local timespec const* t_clock = nullptr;

}  // namespace

// The whole program's, so the base services use it too.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  if (t_clock != nullptr && clock == CLOCK_REALTIME) {
    *now = *t_clock;
    return 0;
  }
  return static_cast<int>(::syscall(SYS_clock_gettime, clock, now));
}

namespace {

// Since 1970.
using Nanoseconds = long;

Nanoseconds NanosecondsOf(timespec const& moment) {
  return moment.tv_sec * 1000000000 + moment.tv_nsec;
}

Nanoseconds Now() {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return NanosecondsOf(now);
}

class CTOOFileStamp : public testing::Test {
 protected:
  CTOOFileStamp() { WriteFile(m_path, "content"); }

  std::unique_ptr<CTOOFile> Open(char const* mode) const {
    return std::make_unique<CTOOFile>(m_path.c_str(), mode, false);
  }
  Nanoseconds Stamp() const { return NanosecondsOf(StatOf(m_path).st_mtim); }
  void SetStamp(Nanoseconds moment) const {
    timespec const times[2] = {{0, UTIME_OMIT}, {moment / 1000000000, moment % 1000000000}};
    ASSERT_EQ(0, ::utimensat(AT_FDCWD, m_path.c_str(), times, 0));
  }
  // Does something to the file and closes; the stamp must be the moment of the closing, which the
  // kernel's own, of the change and from its coarse clock, is not.
  void ExpectStampOfTheClosing(char const* mode, std::function<void(CTOOFile&)> const& change) {
    for (int round = 0; round < 20; ++round) {
      AgeFile(m_path);
      auto const file = Open(mode);
      change(*file);
      Nanoseconds const before = Now();
      file->Close();
      EXPECT_LE(before, Stamp());
      EXPECT_LE(Stamp(), Now());
      EXPECT_EQ(0, file->Status());
    }
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "file";
};

TEST_F(CTOOFileStamp, WritingStampsTheClosing) {
  ExpectStampOfTheClosing("r+bc", [](CTOOFile& file) { file.Write("x", 1); });
  ExpectStampOfTheClosing("wbc", [](CTOOFile& file) { file.Write("x", 1); });
  ExpectStampOfTheClosing(nullptr, [](CTOOFile& file) { file.Write("x", 1); });
}

TEST_F(CTOOFileStamp, WritingAtOnceStampsTheClosing) {
  std::string const large(1100000, 'x');
  ExpectStampOfTheClosing("r+bc", [&](CTOOFile& file) {
    file.Write(large.data(), static_cast<unsigned int>(large.size()));
  });
}

TEST_F(CTOOFileStamp, WritingThatIsReadBackStampsTheClosing) {
  ExpectStampOfTheClosing("r+bc", [](CTOOFile& file) {
    file.Write("x", 1);
    char byte = 0;
    file.Seek(0, 0);
    file.Read(&byte, 1);
  });
}

TEST_F(CTOOFileStamp, TruncatingStampsTheClosing) {
  ExpectStampOfTheClosing("r+bc", [](CTOOFile& file) { file.Truncate(); });
  ExpectStampOfTheClosing("r+bc", [](CTOOFile& file) {
    file.Seek(0, 2);
    file.Truncate();
  });
}

TEST_F(CTOOFileStamp, EmptyingByTheModeStampsTheClosing) {
  ExpectStampOfTheClosing("wbc", [](CTOOFile&) {});
}

TEST_F(CTOOFileStamp, MakingAFileStampsTheClosing) {
  for (int round = 0; round < 20; ++round) {
    ::unlink(m_path.c_str());
    auto const file = Open(nullptr);
    Nanoseconds const before = Now();
    file->Close();
    EXPECT_LE(before, Stamp());
  }
}

TEST_F(CTOOFileStamp, DestructorStampsToo) {
  AgeFile(m_path);
  auto file = Open("r+bc");
  file->Truncate();
  Nanoseconds const before = Now();
  file.reset();
  EXPECT_LE(before, Stamp());
}

TEST_F(CTOOFileStamp, ClosingStampsOnce) {
  auto file = Open("r+bc");
  file->Write("x", 1);
  file->Close();
  timespec const aged = AgeFile(m_path);
  file->Close();
  file.reset();
  EXPECT_TRUE(aged == StatOf(m_path).st_mtim);
}

TEST_F(CTOOFileStamp, HandleThatChangedNothingLeavesTheStamp) {
  auto const read = [](CTOOFile& file) {
    char bytes[10];
    file.Read(bytes, 10);
    file.Seek(1, 0);
  };
  auto const writeNothing = [](CTOOFile& file) { file.Write("x", 0); };
  auto const failToWrite = [](CTOOFile& file) { file.Write("x", 1); };
  auto const failToTruncate = [](CTOOFile& file) { file.Truncate(); };
  auto const expectNoStamp = [&](char const* mode, std::function<void(CTOOFile&)> const& use) {
    timespec const aged = AgeFile(m_path);
    {
      auto const file = Open(mode);
      use(*file);
      file->Close();
      EXPECT_TRUE(aged == StatOf(m_path).st_mtim);
    }
    EXPECT_TRUE(aged == StatOf(m_path).st_mtim);
  };
  for (char const* const mode : {"rbc", "r+bc", static_cast<char const*>(nullptr)}) {
    expectNoStamp(mode, [](CTOOFile&) {});
    expectNoStamp(mode, read);
    expectNoStamp(mode, writeNothing);
  }
  expectNoStamp("rbc", failToWrite);
  expectNoStamp("rbc", failToTruncate);
  EXPECT_EQ("content", ReadFile(m_path));
}

TEST_F(CTOOFileStamp, LeavesTheTimeOfTheLastAccess) {
  timespec const times[2] = {{900000000, 5}, {900000000, 5}};
  ASSERT_EQ(0, ::utimensat(AT_FDCWD, m_path.c_str(), times, 0));
  auto const file = Open("r+bc");
  file->Write("x", 1);
  file->Close();
  EXPECT_TRUE(times[0] == StatOf(m_path).st_atim);
}

TEST_F(CTOOFileStamp, StampFromTheFutureIsReplacedByNow) {
  for (long const ahead : {1L, 3600L, 86400L * 365}) {
    ShiftWriteTime(m_path, ahead);
    Nanoseconds const before = Now();
    auto const file = Open("r+bc");
    file->Write("x", 1);
    file->Close();
    EXPECT_LE(before, Stamp()) << ahead;
    EXPECT_LE(Stamp(), Now()) << ahead;
  }
}

// Times are compared at a resolution of 100 ns: a stamp later by less would look like the old one.
// The replaced stamp is laid where the closing is expected, so that often it is just over by then.
TEST_F(CTOOFileStamp, IsLaterThanTheReplacedOneByWhatCanBeSeen) {
  Nanoseconds ahead = 10000;
  for (int round = 0; round < 20000; ++round) {
    Nanoseconds const before = Now() + ahead;
    SetStamp(before);
    auto const file = Open("r+bc");
    file->Write("x", 1);
    file->Close();
    Nanoseconds const distance = Stamp() - before;
    ASSERT_FALSE(distance >= 0 && distance < 100) << distance << " ns in round " << round;
    // Odd steps: the clock itself may go by tens.
    ahead = std::max(0L, ahead + (distance > 0 ? 47 : -43));
  }
}

// The clock stands still, so what is later comes from the replaced stamp.
TEST_F(CTOOFileStamp, IsLaterThanTheReplacedOneOverTheEndOfASecondToo) {
  for (long const nanoseconds : {0L, 999999899L, 999999900L, 999999999L}) {
    timespec const clock{1700000000, nanoseconds};
    Nanoseconds const before = NanosecondsOf(clock);
    SetStamp(before);
    auto const file = Open("r+bc");
    file->Write("x", 1);
    t_clock = &clock;
    file->Close();
    t_clock = nullptr;
    EXPECT_EQ(before + 100, Stamp()) << nanoseconds;
  }
}

TEST_F(CTOOFileStamp, WriteRightAfterAMomentIsLaterThanIt) {
  for (int i = 0; i < 300; ++i) {
    _SYSTEMTIME fields{};
    CTOOFileTime loaded;
    GetSystemTime(&fields);
    ASSERT_NE(0, SystemTimeToFileTime(&fields, &loaded));
    auto const file = Open("r+bc");
    file->Write("x", 1);
    file->Close();
    XTOOFile const status(false);
    ASSERT_TRUE(CTOOFileTime(CTOOFile::LastWriteTime(m_path.c_str(), status)) > loaded);
  }
}

TEST_F(CTOOFileStamp, EachOfManyWritesIsLaterThanTheOneBefore) {
  XTOOFile const status(false);
  CTOOFileTime before;
  for (int i = 0; i < 1000; ++i) {
    auto const file = Open("r+bc");
    file->Write("x", 1);
    file->Close();
    CTOOFileTime const written = CTOOFile::LastWriteTime(m_path.c_str(), status);
    ASSERT_TRUE(written > before) << i;
    before = written;
  }
}

// Only the owner may set a time of his choice.
TEST_F(CTOOFileStamp, FileOfAnotherOwnerKeepsTheStampOfTheKernel) {
  timespec const aged = AgeFile(m_path);
  ::chmod(m_folder.Path().c_str(), 0755);
  ::chmod(m_path.c_str(), 0666);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    auto const file = Open("r+bc");
    EXPECT_EQ(3U, file->Write("CON", 3));
    file->Close();
    EXPECT_EQ(0, file->Status());
  }));
  EXPECT_EQ("CONtent", ReadFile(m_path));
  EXPECT_GT(Stamp(), NanosecondsOf(aged));
}

}  // namespace
