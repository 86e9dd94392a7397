// CTOOFile's buffering: what it saves, and how failures of writing out show. That it cannot be told
// from a file without it is in CTOOFileModelTest.cpp.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/CTOOFile.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/PrivateRoot.h"
#include "tests/support/TempFolder.h"

namespace {

constexpr unsigned int kWindow = 65536;
constexpr unsigned int kGathered = 1048576;

std::string Read(CTOOFile const& file, unsigned int count) {
  std::string bytes(count, '?');
  bytes.resize(file.Read(bytes.data(), count));
  return bytes;
}

unsigned int Write(CTOOFile& file, std::string const& bytes) {
  return file.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

class CTOOFileBuffer : public testing::Test {
 protected:
  std::unique_ptr<CTOOFile> Open(char const* mode) const {
    return std::make_unique<CTOOFile>(m_path.c_str(), mode, false);
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "file";
};

// Writes of every size around the borders, each followed by reading all of it back.
TEST_F(CTOOFileBuffer, ReadsBackWhatWasJustWrittenAroundEveryBorder) {
  for (unsigned int const border : {kWindow, kGathered}) {
    for (unsigned int size = border - 2; size <= border + 2; ++size) {
      auto const file = Open("wbc");
      auto const update = Open("r+bc");
      std::string const first = Pattern(size, 1);
      std::string const second = Pattern(size, 2);
      EXPECT_EQ(size, Write(*update, first));
      EXPECT_EQ(size, Write(*update, second));
      EXPECT_EQ(2UL * size, update->Length());
      update->Seek(0, 0);
      EXPECT_TRUE(first + second == Read(*update, 2 * size + 1)) << size;
    }
  }
}

// System calls.

struct Calls {
  long reads = 0;
  long writes = 0;
};

// What this thread asked of the kernel so far, this question not counted; no reads at all where the
// kernel does not tell.
Calls CallsSoFar() {
  Calls calls;
  int const file = ::open("/proc/thread-self/io", O_RDONLY | O_CLOEXEC);
  char text[512] = {};
  if (file >= 0 && ::read(file, text, sizeof text - 1) > 0) {
    EXPECT_EQ(2, std::sscanf(text, "rchar: %*d wchar: %*d syscr: %ld syscw: %ld", &calls.reads,
                             &calls.writes));
  }
  ::close(file);
  return calls;
}

Calls CallsOf(std::function<void()> const& body) {
  Calls const before = CallsSoFar();
  body();
  Calls const after = CallsSoFar();
  return Calls{after.reads - before.reads - 1, after.writes - before.writes};  // One was asking.
}

// The second question would see the first one.
#define SKIP_WITHOUT_CALL_COUNTS()                          \
  if (CallsSoFar().reads == 0 && CallsSoFar().reads == 0) { \
    GTEST_SKIP() << "the kernel does not count calls here"; \
  }                                                         \
  static_assert(true, "a semicolon follows")

TEST_F(CTOOFileBuffer, CallsAreCounted) {
  SKIP_WITHOUT_CALL_COUNTS();
  int const file = ::open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  char byte = 0;
  Calls const calls = CallsOf([&] {
    EXPECT_EQ(1, ::pwrite(file, "x", 1, 0));
    EXPECT_EQ(1, ::pread(file, &byte, 1, 0));
    EXPECT_EQ(1, ::pread(file, &byte, 1, 0));
  });
  ::close(file);
  EXPECT_EQ(2, calls.reads);
  EXPECT_EQ(1, calls.writes);
}

// Reads the length and skips the record, over and over, as the opening scan does.
void Scan(CTOOFile const& file) {
  unsigned long const length = file.Length();
  while (file.CurPos() < length) {
    std::string const word = Read(file, 4);
    ASSERT_EQ(4U, word.size());
    file.Seek(static_cast<unsigned char>(word[0]) + (static_cast<unsigned char>(word[1]) << 8) +
                  (static_cast<unsigned char>(word[2]) << 16),
              1);
  }
}

std::string Records(unsigned int length, unsigned int count) {
  std::string bytes;
  for (unsigned int i = 0; i < count; ++i) {
    bytes += Item(Pattern(length, i));
  }
  return bytes;
}

TEST_F(CTOOFileBuffer, ScanCostsOneReadForEachWindow) {
  SKIP_WITHOUT_CALL_COUNTS();
  for (unsigned int const length : {0U, 1U, 100U, 4092U, 5000U}) {
    WriteFile(m_path, Records(length, 1500000 / (length + 4)));
    auto const file = Open("rbc");
    Calls const calls = CallsOf([&] { Scan(*file); });
    // One more where a window is not full at the end.
    EXPECT_LE(calls.reads, static_cast<long>(file->Length() / kWindow) + 3) << length;
    EXPECT_EQ(0, calls.writes);
  }
}

TEST_F(CTOOFileBuffer, ScanOfLongRecordsCostsOneReadForEach) {
  SKIP_WITHOUT_CALL_COUNTS();
  WriteFile(m_path, Records(100000, 20));
  auto const file = Open("rbc");
  Calls const calls = CallsOf([&] { Scan(*file); });
  EXPECT_LE(calls.reads, 22);
}

TEST_F(CTOOFileBuffer, ReadingTheSamePlacesAgainCostsNothing) {
  SKIP_WITHOUT_CALL_COUNTS();
  WriteFile(m_path, Pattern(60000, 1));
  auto const file = Open("rbc");
  Read(*file, 4);
  Calls const calls = CallsOf([&] {
    for (long position = 59000; position >= 0; position -= 59) {
      file->Seek(position, 0);
      EXPECT_EQ(4U, Read(*file, 4).size());
    }
  });
  EXPECT_EQ(0, calls.reads);
}

TEST_F(CTOOFileBuffer, LargeReadIsOneCall) {
  SKIP_WITHOUT_CALL_COUNTS();
  WriteFile(m_path, Pattern(2000000, 1));
  auto const file = Open("rbc");
  Calls const calls = CallsOf([&] { EXPECT_EQ(1900000U, Read(*file, 1900000).size()); });
  EXPECT_EQ(1, calls.reads);
}

// Writes `size` bytes as a list of records, each its length and its bytes.
void WriteAsRecords(CTOOFile& file, unsigned int size, unsigned int length) {
  unsigned int left = size;
  while (left != 0) {
    unsigned int const prefix = std::min(left, 4U);
    EXPECT_EQ(prefix, Write(file, std::string(prefix, 'p')));
    left -= prefix;
    unsigned int const bytes = std::min(left, length);
    EXPECT_EQ(bytes, Write(file, std::string(bytes, 'b')));
    left -= bytes;
  }
}

TEST_F(CTOOFileBuffer, WritesOfUpToAMegabyteReachTheFileAsOne) {
  SKIP_WITHOUT_CALL_COUNTS();
  for (unsigned int const length : {1U, 100U, 300000U}) {
    for (unsigned int const size : {1U, 100000U, kGathered - 1, kGathered}) {
      WriteFile(m_path, "twelve bytes");
      auto const file = Open("r+bc");
      file->Seek(0, 2);
      Calls const calls = CallsOf([&] {
        WriteAsRecords(*file, size, length);
        file->Close();
      });
      EXPECT_EQ(1, calls.writes) << size << " by " << length;
      EXPECT_EQ(12UL + size, ReadFile(m_path).size());
    }
  }
}

TEST_F(CTOOFileBuffer, NothingReachesTheFileBeforeClose) {
  auto const file = Open("wbc");
  WriteAsRecords(*file, kGathered, 1000);
  EXPECT_EQ(kGathered, file->Length());
  EXPECT_EQ(0U, file->Seek(0, 1));  // Where it is already.
  EXPECT_EQ("", ReadFile(m_path));
  file->Close();
  EXPECT_EQ(kGathered, ReadFile(m_path).size());
}

TEST_F(CTOOFileBuffer, MoreThanAMegabyteTakesNoMoreCallsThanItMust) {
  SKIP_WITHOUT_CALL_COUNTS();
  auto const file = Open("wbc");
  Calls calls = CallsOf([&] {
    WriteAsRecords(*file, 10 * kGathered, 996);
    file->Close();
  });
  EXPECT_LE(calls.writes, 11);
  auto const another = Open("wbc");
  calls = CallsOf([&] {
    Write(*another, std::string(3 * kGathered, 'x'));
    another->Close();
  });
  EXPECT_EQ(1, calls.writes);
}

TEST_F(CTOOFileBuffer, ReadThatNeedsGatheredBytesWritesThemOut) {
  auto const file = Open(nullptr);
  Write(*file, "gathered");
  EXPECT_EQ("", ReadFile(m_path));
  file->Seek(0, 0);
  EXPECT_EQ("gathered", Read(*file, 100));
  EXPECT_EQ("gathered", ReadFile(m_path));
}

TEST_F(CTOOFileBuffer, TruncateWritesOut) {
  auto const file = Open("wbc");
  Write(*file, "gathered");
  file->Seek(4, 0);
  file->Truncate();
  EXPECT_EQ("gath", ReadFile(m_path));
}

// The kernel gives such files in pieces, whatever was asked for.
TEST_F(CTOOFileBuffer, ReadGoesOnAfterPartOfTheBytes) {
  constexpr unsigned int kCount = 200000;
  std::string expected(kCount, '?');
  std::ifstream plain("/proc/kallsyms", std::ios::binary);
  plain.read(expected.data(), kCount);
  if (!plain) {
    GTEST_SKIP() << "no file here that is read in pieces";
  }
  CTOOFile const file("/proc/kallsyms", "rbc", false);
  EXPECT_EQ(0, file.Status());
  EXPECT_TRUE(expected == Read(file, kCount));
}

// Failures of writing out: by a limit of the file's size, which leaves some of the bytes written.

constexpr unsigned int kLimit = 100000;

bool WithFileSizeLimit(std::function<void()> const& body) {
  return InProcess([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit const limit{kLimit, kLimit};
    EXPECT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    body();
    return true;
  });
}

TEST_F(CTOOFileBuffer, CloseTellsThatWritingOutFailed) {
  EXPECT_TRUE(WithFileSizeLimit([&] {
    auto const file = Open("wbc");
    EXPECT_EQ(kLimit + 5000, Write(*file, std::string(kLimit + 5000, 'x')));
    EXPECT_EQ(0, file->Status());
    int const before = CountDescriptors();
    file->Close();
    EXPECT_EQ(EFBIG, file->Status());
    EXPECT_EQ(m_path, file->ErrorMessage());
    EXPECT_EQ(before - 1, CountDescriptors());
  }));
  // The part that fitted was written, as far as it went.
  EXPECT_EQ(std::string(kLimit, 'x'), ReadFile(m_path));
}

TEST_F(CTOOFileBuffer, FullLengthIsNoFailure) {
  EXPECT_TRUE(WithFileSizeLimit([&] {
    auto const file = Open("wbc");
    EXPECT_EQ(kLimit, Write(*file, std::string(kLimit, 'x')));
    file->Close();
    EXPECT_EQ(0, file->Status());
  }));
  EXPECT_EQ(kLimit, ReadFile(m_path).size());
}

TEST_F(CTOOFileBuffer, TruncateTellsThatWritingOutFailed) {
  EXPECT_TRUE(WithFileSizeLimit([&] {
    auto const file = Open("wbc");
    Write(*file, std::string(kLimit + 1, 'x'));
    file->Truncate();
    EXPECT_EQ(EFBIG, file->Status());
  }));
}

TEST_F(CTOOFileBuffer, TruncateTellsThatItFailed) {
  EXPECT_TRUE(WithFileSizeLimit([&] {
    auto const file = Open("wbc");
    file->Seek(kLimit + 1, 0);
    file->Truncate();
    EXPECT_EQ(EFBIG, file->Status());
    EXPECT_EQ(0U, file->Length());
  }));
}

TEST_F(CTOOFileBuffer, ReadTellsThatWritingOutFailed) {
  EXPECT_TRUE(WithFileSizeLimit([&] {
    auto const file = Open(nullptr);
    Write(*file, std::string(kLimit + 1, 'x'));
    file->Seek(0, 0);
    EXPECT_EQ("", Read(*file, 10));
    EXPECT_EQ(EFBIG, file->Status());
  }));
}

TEST_F(CTOOFileBuffer, WriteTellsThatWritingOutFailed) {
  EXPECT_TRUE(WithFileSizeLimit([&] {
    auto const gathered = Open("wbc");
    EXPECT_EQ(kLimit + 1, Write(*gathered, std::string(kLimit + 1, 'x')));
    gathered->Seek(0, 0);
    EXPECT_EQ(0U, Write(*gathered, "elsewhere"));
    EXPECT_EQ(EFBIG, gathered->Status());
    auto const large = Open("wbc");
    EXPECT_LT(Write(*large, std::string(2 * kGathered, 'x')), 2 * kGathered);
    EXPECT_EQ(EFBIG, large->Status());
  }));
}

// Bytes that came later would stand behind a hole.
TEST_F(CTOOFileBuffer, NothingIsWrittenAfterBytesWereLost) {
  EXPECT_TRUE(WithFileSizeLimit([&] {
    auto const file = Open("wbc");
    Write(*file, std::string(kLimit + 1, 'x'));
    file->Truncate();
    EXPECT_EQ(EFBIG, file->Status());
    file->Seek(0, 0);
    EXPECT_EQ(0U, Write(*file, "later"));
    file->Close();
    EXPECT_EQ(EFBIG, file->Status());
  }));
  EXPECT_EQ(std::string(kLimit, 'x'), ReadFile(m_path));
}

TEST_F(CTOOFileBuffer, NothingIsCutOffAfterBytesWereLost) {
  EXPECT_TRUE(WithFileSizeLimit([&] {
    auto const file = Open("wbc");
    Write(*file, std::string(kLimit + 1, 'x'));
    file->Truncate();
    file->Seek(1, 0);
    file->Truncate();
    file->Close();
  }));
  EXPECT_EQ(std::string(kLimit, 'x'), ReadFile(m_path));
}

TEST_F(CTOOFileBuffer, ReadBehindTheEndOfAFileThatShrankShowsItsLength) {
  WriteFile(m_path, std::string(1000, 'x'));
  auto const file = Open("rbc");
  std::filesystem::resize_file(m_path, 10);
  file->Seek(500, 0);
  char byte = 0;
  EXPECT_EQ(0U, file->Read(&byte, 1));
  EXPECT_LE(file->Length(), 500U);
}

TEST_F(CTOOFileBuffer, ReadReachesWhatAnotherHandleHasAppendedMeanwhile) {
  for (std::size_t const length : {0U, 10U, kWindow - 5, kWindow, kWindow + 5}) {
    WriteFile(m_path, std::string(length, 'x'));
    auto const file = Open("rbc");
    std::string read(length + 20, 'r');
    if (length != 0) {
      EXPECT_EQ(1U, file->Read(read.data(), 1));
      file->Seek(0, 0);
    }
    std::ofstream(m_path, std::ios::app) << std::string(7, 'y');
    EXPECT_EQ(length + 7, file->Read(read.data(), static_cast<unsigned int>(read.size())));
    EXPECT_EQ(std::string(length, 'x') + std::string(7, 'y'), read.substr(0, length + 7));
    EXPECT_EQ(length + 7, file->Length());
  }
}

TEST_F(CTOOFileBuffer, DestructorThrowsNothingWhenWritingOutFails) {
  EXPECT_TRUE(WithFileSizeLimit([&] {
    int const before = CountDescriptors();
    CTOOFile* const file = new CTOOFile(m_path.c_str(), "wbc", true);
    Write(*file, std::string(kLimit + 1, 'x'));
    delete file;
    EXPECT_EQ(before, CountDescriptors());
  }));
}

TEST_F(CTOOFileBuffer, FlaggedHandleThrowsNothingOnceItIsOpen) {
  EXPECT_TRUE(WithFileSizeLimit([&] {
    CTOOFile file(m_path.c_str(), nullptr, true);
    Write(file, std::string(kLimit + 1, 'x'));
    EXPECT_NO_THROW(file.Close());
    EXPECT_EQ(EFBIG, file.Status());
  }));
}

TEST_F(CTOOFileBuffer, FullDiskIsInTheStatus) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    ASSERT_EQ(0, ::mount("tmpfs", m_folder.Path().c_str(), "tmpfs", 0, "size=256k"));
    auto const file = Open("wbc");
    EXPECT_EQ(kGathered, Write(*file, std::string(kGathered, 'x')));
    file->Close();
    EXPECT_EQ(ENOSPC, file->Status());
  }));
}

}  // namespace
