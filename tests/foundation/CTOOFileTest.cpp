// CTOOFile as a handle: reading, writing, positions, closing. The other files named CTOOFile are
// about opening, buffering and stamping.

#include "foundation/CTOOFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

constexpr unsigned int kSeekFailed = 0xFFFFFFFF;

// Null is a mode too.
char const* const kModes[] = {"rbc", "rb", "r+bc", "r+b", "wbc", "wb", nullptr};

std::string NameOf(char const* mode) { return mode == nullptr ? "null mode" : mode; }

std::string Read(CTOOFile const& file, unsigned int count) {
  std::string bytes(count, '?');
  bytes.resize(file.Read(bytes.data(), count));
  return bytes;
}

unsigned int Write(CTOOFile& file, std::string const& bytes) {
  return file.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

class CTOOFileHandle : public testing::Test {
 protected:
  std::unique_ptr<CTOOFile> Open(char const* mode, bool flag = false) const {
    return std::make_unique<CTOOFile>(m_path.c_str(), mode, flag);
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "file";
};

TEST_F(CTOOFileHandle, IsAStatusAtTheSameAddress) {
  EXPECT_TRUE((std::is_base_of<XTOOStatus, CTOOFile>::value));
  auto const file = Open(nullptr);
  XTOOStatus const* const status = file.get();
  EXPECT_EQ(static_cast<void const*>(file.get()), static_cast<void const*>(status));
  EXPECT_FALSE(std::is_copy_constructible<CTOOFile>::value);
  EXPECT_FALSE(std::is_copy_assignable<CTOOFile>::value);
}

TEST_F(CTOOFileHandle, CarriesThePathAsItsText) {
  WriteFile(m_path, "");
  for (char const* const mode : kModes) {
    auto const file = Open(mode);
    EXPECT_EQ(0, file->Status()) << NameOf(mode);
    EXPECT_EQ(m_path, file->ErrorMessage());
  }
}

// Reading, writing, positions.

TEST_F(CTOOFileHandle, ReadAndWriteGiveTheBytesMoved) {
  WriteFile(m_path, "0123456789");
  auto const file = Open("r+bc");
  EXPECT_EQ("0123", Read(*file, 4));
  EXPECT_EQ("", Read(*file, 0));
  EXPECT_EQ("456789", Read(*file, 7));  // Short at the end, and no error.
  EXPECT_EQ("", Read(*file, 1));
  EXPECT_EQ(0, file->Status());
  EXPECT_EQ(0U, Write(*file, ""));
  EXPECT_EQ(3U, Write(*file, "abc"));
  EXPECT_EQ(0, file->Status());
  EXPECT_EQ("", Read(*file, 1));
}

TEST_F(CTOOFileHandle, ShortReadLeavesTheRestOfTheBufferAlone) {
  WriteFile(m_path, "abc");
  std::string buffer(10, '#');
  EXPECT_EQ(3U, Open("rbc")->Read(buffer.data(), 10));
  EXPECT_EQ("abc#######", buffer);
}

TEST_F(CTOOFileHandle, SeekHasTheOriginsOfC) {
  WriteFile(m_path, "0123456789");
  auto const file = Open("rbc");
  auto const seek = [&](long offset, int origin) {
    EXPECT_EQ(0U, file->Seek(offset, origin));
    return file->CurPos();
  };
  EXPECT_EQ(7U, seek(7, 0));
  EXPECT_EQ("7", Read(*file, 1));
  EXPECT_EQ(3U, seek(-5, 1));
  EXPECT_EQ("3", Read(*file, 1));
  EXPECT_EQ(6U, seek(2, 1));
  EXPECT_EQ(6U, seek(0, 1));
  EXPECT_EQ(10U, seek(0, 2));
  EXPECT_EQ("", Read(*file, 1));
  EXPECT_EQ(8U, seek(-2, 2));
  EXPECT_EQ("89", Read(*file, 10));
  EXPECT_EQ(15U, seek(5, 2));
  EXPECT_EQ("", Read(*file, 1));
  EXPECT_EQ(15U, file->CurPos());
  EXPECT_EQ(0U, seek(-15, 1));
  EXPECT_EQ("0123456789", Read(*file, 10));
  EXPECT_EQ(0, file->Status());
  EXPECT_EQ(10U, file->Length());
}

TEST_F(CTOOFileHandle, SeekBeforeTheStartLeavesThePosition) {
  WriteFile(m_path, "0123456789");
  auto const file = Open("rbc");
  file->Seek(4, 0);
  EXPECT_EQ(kSeekFailed, file->Seek(-1, 0));
  EXPECT_EQ(kSeekFailed, file->Seek(-5, 1));
  EXPECT_EQ(kSeekFailed, file->Seek(-11, 2));
  EXPECT_EQ(kSeekFailed, file->Seek(LONG_MIN, 0));
  EXPECT_EQ(kSeekFailed, file->Seek(LONG_MIN, 1));
  EXPECT_EQ(kSeekFailed, file->Seek(LONG_MAX, 1));
  EXPECT_EQ(kSeekFailed, file->Seek(LONG_MAX, 2));
  EXPECT_EQ(kSeekFailed, file->Seek(0, 3));
  EXPECT_EQ(kSeekFailed, file->Seek(0, -1));
  EXPECT_EQ(4U, file->CurPos());
  EXPECT_EQ("4", Read(*file, 1));
}

TEST_F(CTOOFileHandle, PositionAndLengthFollowEveryOperation) {
  WriteFile(m_path, "0123456789");
  auto const file = Open("r+bc");
  auto const expect = [&](unsigned long position, unsigned long length) {
    EXPECT_EQ(position, file->CurPos());
    EXPECT_EQ(length, file->Length());
  };
  expect(0, 10);
  Read(*file, 3);
  expect(3, 10);
  Write(*file, "abcd");
  expect(7, 10);
  Write(*file, "efgh");
  expect(11, 11);
  file->Seek(20, 0);
  expect(20, 11);
  Write(*file, "z");
  expect(21, 21);
  file->Seek(-6, 2);
  expect(15, 21);
  file->Truncate();
  expect(15, 15);
  Read(*file, 10);
  expect(15, 15);
}

TEST_F(CTOOFileHandle, HoleBetweenWritesIsZeroBytes) {
  auto const file = Open(nullptr);
  Write(*file, "ab");
  file->Seek(5, 0);
  Write(*file, "c");
  file->Seek(0, 0);
  EXPECT_EQ(std::string("ab\0\0\0c", 6), Read(*file, 100));
  file->Close();
  EXPECT_EQ(std::string("ab\0\0\0c", 6), ReadFile(m_path));
}

TEST_F(CTOOFileHandle, PositionsBeyondFourGigabytesWork) {
  constexpr long kFar = 5L << 30;
  auto const file = Open(nullptr);
  EXPECT_EQ(0U, file->Seek(kFar, 0));
  EXPECT_EQ(3U, Write(*file, "far"));
  EXPECT_EQ(static_cast<unsigned long>(kFar) + 3, file->CurPos());
  EXPECT_EQ(static_cast<unsigned long>(kFar) + 3, file->Length());
  EXPECT_EQ(0U, file->Seek(-3, 1));
  EXPECT_EQ("far", Read(*file, 10));
  file->Close();
  XTOOFile const status(false);
  EXPECT_EQ(static_cast<unsigned long>(kFar) + 3, CTOOFile::Length(m_path.c_str(), status));
  EXPECT_EQ(static_cast<unsigned long>(kFar) + 3, Open("rbc")->Length());
}

TEST_F(CTOOFileHandle, WriteBeyondTheLargestPositionFails) {
  EXPECT_TRUE(InProcess([&] {
    auto const file = Open("wbc");
    EXPECT_EQ(0U, file->Seek(LONG_MAX, 0));
    static_cast<void>(Write(*file, "bytes"));
    file->Close();
    EXPECT_NE(0, file->Status());
    EXPECT_EQ("", ReadFile(m_path));
    return true;
  }));
}

TEST_F(CTOOFileHandle, LengthIsThatOfTheLatestRead) {
  WriteFile(m_path, "0123456789");
  auto const file = Open("rbc");
  EXPECT_EQ("0123", Read(*file, 4));
  std::ofstream(m_path, std::ios::app) << "abc";  // By somebody else.
  EXPECT_EQ("456789abc", Read(*file, 100));
  EXPECT_EQ(13U, file->Length());
  std::filesystem::resize_file(m_path, 5);
  file->Seek(0, 0);
  EXPECT_EQ("01234", Read(*file, 100000));
  EXPECT_EQ(5U, file->Length());
}

TEST_F(CTOOFileHandle, TruncateCutsAtThePosition) {
  for (long place = 0; place <= 10; ++place) {
    WriteFile(m_path, "0123456789");
    auto const file = Open("r+bc");
    file->Seek(place, 0);
    file->Truncate();
    EXPECT_EQ(static_cast<unsigned long>(place), file->Length());
    EXPECT_EQ(static_cast<unsigned long>(place), file->CurPos());
    EXPECT_EQ(0, file->Status());
    EXPECT_EQ(std::string("0123456789").substr(0, static_cast<std::size_t>(place)),
              ReadFile(m_path));
  }
}

TEST_F(CTOOFileHandle, TruncateTakesWhatWasReadAheadAway) {
  WriteFile(m_path, "0123456789");
  auto const file = Open("r+bc");
  EXPECT_EQ("0123", Read(*file, 4));
  file->Truncate();
  EXPECT_EQ("", Read(*file, 4));
  file->Seek(2, 0);
  EXPECT_EQ("23", Read(*file, 4));
}

// Closing.

TEST_F(CTOOFileHandle, DescriptorIsOpenUntilCloseAndForNoChild) {
  WriteFile(m_path, "");
  for (char const* const mode : kModes) {
    int const before = CountDescriptors();
    auto const file = Open(mode);
    EXPECT_EQ(before + 1, CountDescriptors()) << NameOf(mode);
    int found = 0;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code ignored;
      if (std::filesystem::read_symlink(entry.path(), ignored) == m_path) {
        ++found;
        EXPECT_NE(0, ::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC);
      }
    }
    EXPECT_EQ(1, found) << NameOf(mode);
    file->Close();
    EXPECT_EQ(before, CountDescriptors()) << NameOf(mode);
    EXPECT_EQ(0, file->Status());
  }
}

TEST_F(CTOOFileHandle, DeletingClosesThroughEitherPointer) {
  int const before = CountDescriptors();
  XTOOStatus* const status = Open("wbc").release();
  EXPECT_EQ(before + 1, CountDescriptors());
  delete status;
  EXPECT_EQ(before, CountDescriptors());
  CTOOFile* const file = Open("rbc").release();
  EXPECT_EQ(before + 1, CountDescriptors());
  delete file;
  EXPECT_EQ(before, CountDescriptors());
}

TEST_F(CTOOFileHandle, DeletingWritesWhatIsGathered) {
  XTOOStatus* const status = Open("wbc").release();
  EXPECT_EQ(5U, Write(*static_cast<CTOOFile*>(status), "bytes"));
  delete status;
  EXPECT_EQ("bytes", ReadFile(m_path));
}

// The number of the closed descriptor belongs to somebody else by then.
TEST_F(CTOOFileHandle, ClosesOnlyOnce) {
  auto file = Open("wbc");
  file->Close();
  int const other = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  file->Close();
  EXPECT_NE(-1, ::fcntl(other, F_GETFD));
  EXPECT_EQ(0, file->Status());
  file.reset();
  EXPECT_NE(-1, ::fcntl(other, F_GETFD));
  EXPECT_EQ(0, ::close(other));
}

TEST_F(CTOOFileHandle, ClosedHandleTakesNoMore) {
  auto const file = Open("wbc");
  EXPECT_EQ(5U, Write(*file, "bytes"));
  file->Close();
  EXPECT_EQ(0U, Write(*file, "more"));
  EXPECT_NE(0, file->Status());
  file->Truncate();
  file->Close();
  EXPECT_EQ("bytes", ReadFile(m_path));
}

}  // namespace
