// IdentObj to and from files, and how much memory reading one may take.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/CTOOFile.h"
#include "foundation/IdentObj.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TempFolder.h"

// The sanitizers have an operator new of their own.
#define OWN_NEW (!QUENDRIL_ADDRESS_SANITIZER && !QUENDRIL_THREAD_SANITIZER)

namespace {

// The largest piece of memory that this thread asked for since it was last set to 0.
thread_local std::size_t t_largest = 0;

}  // namespace

#if OWN_NEW
// The whole program's, so the base services use it too.
void* operator new(std::size_t size) {
  t_largest = std::max(t_largest, size);
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void* operator new(std::size_t size, std::nothrow_t const& /*unused*/) noexcept {
  t_largest = std::max(t_largest, size);
  return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
#endif

namespace {

constexpr unsigned int kHere = 0xFFFFFFFF;

class IdentObjFile : public testing::Test {
 protected:
  std::unique_ptr<CTOOFile> Open(char const* mode) const {
    return std::make_unique<CTOOFile>(m_path.c_str(), mode, false);
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "blobs";
};

// Lengths around those at which a buffered file does something else.
std::vector<unsigned int> const kLengths = {0,       1,       2,       65531,   65532,
                                            65533,   65536,   65537,   70000,   1048571,
                                            1048572, 1048573, 1048576, 1048577, 2100000};

TEST_F(IdentObjFile, WritesAtTheCurrentPosition) {
  auto const file = Open("wbc");
  EXPECT_EQ(9U, Blob("first").WriteData(*file, kHere));
  EXPECT_EQ(9U, file->CurPos());
  EXPECT_EQ(4U, IdentObj().WriteData(*file, kHere));
  EXPECT_EQ(13U, file->CurPos());
  EXPECT_EQ(9U, Blob("third").WriteData(*file, kHere));
  file->Close();
  EXPECT_EQ(Item("first") + Item("") + Item("third"), ReadFile(m_path));
}

TEST_F(IdentObjFile, WritesAtAPosition) {
  WriteFile(m_path, std::string(30, '#'));
  auto const file = Open("r+bc");
  EXPECT_EQ(9U, Blob("later").WriteData(*file, 15));
  EXPECT_EQ(24U, file->CurPos());
  EXPECT_EQ(9U, Blob("first").WriteData(*file, 0));
  EXPECT_EQ(9U, file->CurPos());
  EXPECT_EQ(6U, Blob("at").WriteData(*file, 28));
  file->Close();
  EXPECT_EQ(Item("first") + "######" + Item("later") + "####" + Item("at"), ReadFile(m_path));
}

TEST_F(IdentObjFile, WritesBehindTheEndOverZeroBytes) {
  auto const file = Open("wbc");
  EXPECT_EQ(9U, Blob("bytes").WriteData(*file, 5));
  file->Close();
  EXPECT_EQ(std::string(5, '\0') + Item("bytes"), ReadFile(m_path));
}

TEST_F(IdentObjFile, FailedWriteGivesZero) {
  WriteFile(m_path, "before");
  auto const readOnly = Open("rbc");
  for (unsigned int const position : {kHere, 0U, 3U}) {
    EXPECT_EQ(0U, Blob("bytes").WriteData(*readOnly, position));
    EXPECT_EQ(0U, IdentObj().WriteData(*readOnly, position));
  }
  EXPECT_NE(0, readOnly->Status());
  EXPECT_EQ("before", ReadFile(m_path));
  CTOOFile missing((m_folder / "missing").c_str(), "r+bc", false);
  EXPECT_EQ(0U, Blob("bytes").WriteData(missing, kHere));
  EXPECT_EQ(0U, Blob("bytes").WriteData(missing, 0));
}

TEST_F(IdentObjFile, WriteOfMoreThanIsGatheredFailsOnAFullDisk) {
  EXPECT_TRUE(InProcess([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit const limit{100000, 100000};
    EXPECT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &limit));
    auto const file = Open("wbc");
    EXPECT_EQ(0U, IdentObj(nullptr, 2000000).WriteData(*file, kHere));
    return file->Status() == EFBIG;
  }));
}

TEST_F(IdentObjFile, ReadsAtTheCurrentPosition) {
  WriteFile(m_path, Item("first") + Item("") + Item("third"));
  auto const file = Open("rbc");
  IdentObj blob;
  EXPECT_EQ(9U, blob.ReadData(*file, kHere));
  EXPECT_EQ("first", DataOf(blob));
  EXPECT_EQ(9U, file->CurPos());
  EXPECT_EQ(4U, blob.ReadData(*file, kHere));
  EXPECT_EQ(0U, blob.Length);
  EXPECT_EQ(nullptr, blob.Data);
  EXPECT_EQ(13U, file->CurPos());
  EXPECT_EQ(9U, blob.ReadData(*file, kHere));
  EXPECT_EQ("third", DataOf(blob));
  EXPECT_EQ(22U, file->CurPos());
  EXPECT_EQ(0, file->Status());
}

TEST_F(IdentObjFile, ReadsAtAPosition) {
  WriteFile(m_path, "###" + Item("first") + Item("second"));
  auto const file = Open("rbc");
  IdentObj blob;
  EXPECT_EQ(10U, blob.ReadData(*file, 12));
  EXPECT_EQ("second", DataOf(blob));
  EXPECT_EQ(22U, file->CurPos());
  EXPECT_EQ(9U, blob.ReadData(*file, 3));
  EXPECT_EQ("first", DataOf(blob));
  EXPECT_EQ(12U, file->CurPos());
}

TEST_F(IdentObjFile, ReadsAtAPositionBeyondTwoGigabytes) {
  auto const file = Open("wbc");
  EXPECT_EQ(9U, Blob("bytes").WriteData(*file, 0xFFFFFF00));
  file->Close();
  IdentObj blob;
  EXPECT_EQ(9U, blob.ReadData(*Open("rbc"), 0xFFFFFF00));
  EXPECT_EQ("bytes", DataOf(blob));
}

TEST_F(IdentObjFile, ReadsBackEveryLength) {
  std::string expected;
  {
    auto const file = Open("wbc");
    for (unsigned int const length : kLengths) {
      std::string const bytes = Pattern(length, length);
      EXPECT_EQ(4 + length, Blob(bytes).WriteData(*file, kHere));
      expected += Item(bytes);
    }
  }
  EXPECT_TRUE(expected == ReadFile(m_path));
  auto const file = Open("rbc");
  IdentObj blob;
  for (unsigned int const length : kLengths) {
    EXPECT_EQ(4 + length, blob.ReadData(*file, kHere));
    EXPECT_TRUE(Pattern(length, length) == DataOf(blob)) << length;
  }
  EXPECT_EQ(expected.size(), file->CurPos());
  EXPECT_EQ(0U, blob.ReadData(*file, kHere));
}

TEST_F(IdentObjFile, ReadsBackWhatTheSameHandleWrote) {
  WriteFile(m_path, "");
  auto const file = Open("r+bc");
  EXPECT_EQ(9U, Blob("first").WriteData(*file, kHere));
  EXPECT_EQ(10U, Blob("second").WriteData(*file, kHere));
  IdentObj blob;
  EXPECT_EQ(9U, blob.ReadData(*file, 0));
  EXPECT_EQ("first", DataOf(blob));
  EXPECT_EQ(10U, blob.ReadData(*file, kHere));
  EXPECT_EQ("second", DataOf(blob));
}

void ExpectRefused(CTOOFile const& file, unsigned int position) {
  unsigned long const before = file.CurPos();
  IdentObj blob = Blob("old bytes");
  EXPECT_EQ(0U, blob.ReadData(file, position));
  EXPECT_EQ(0U, blob.Length);
  EXPECT_EQ(nullptr, blob.Data);
  EXPECT_EQ(before, file.CurPos());
}

TEST_F(IdentObjFile, NothingToReadAtTheEnd) {
  WriteFile(m_path, Item("bytes"));
  auto const file = Open("rbc");
  for (unsigned int const position : {9U, 10U, 1000U, 0xFFFFFFFEU}) {
    ExpectRefused(*file, position);
  }
  file->Seek(0, 2);
  ExpectRefused(*file, kHere);
  file->Seek(100, 2);
  ExpectRefused(*file, kHere);
}

TEST_F(IdentObjFile, BlobCutAnywhereIsRefusedAndThePositionGoesBack) {
  for (unsigned int const length : {1U, 5U, 100U}) {
    std::string const whole = "###" + Item(Pattern(length, 6));
    for (std::size_t cut = 3; cut < whole.size(); ++cut) {
      WriteFile(m_path, whole.substr(0, cut));
      auto const file = Open("rbc");
      ExpectRefused(*file, 3);  // From position 0.
      file->Seek(1, 0);
      ExpectRefused(*file, 3);
      file->Seek(3, 0);
      ExpectRefused(*file, kHere);
    }
  }
}

// The handle saw the file while it was longer.
TEST_F(IdentObjFile, BlobOfAFileThatShrankMeanwhileIsRefused) {
  WriteFile(m_path, Item(Pattern(200000, 9)));
  auto const file = Open("rbc");
  char byte = 0;
  EXPECT_EQ(1U, file->Read(&byte, 1));
  ASSERT_EQ(0, ::truncate(m_path.c_str(), 150000));
  ExpectRefused(*file, 0);
}

// The prefix is still held, while the handle knows already that the file ends before it.
TEST_F(IdentObjFile, BlobBehindTheEndThatIsKnownIsRefused) {
  WriteFile(m_path, Pattern(100000, 9) + Item("bytes"));
  auto const file = Open("rbc");
  IdentObj blob;
  EXPECT_EQ(9U, blob.ReadData(*file, 100000));
  ASSERT_EQ(0, ::truncate(m_path.c_str(), 10));
  ASSERT_EQ(0U, file->Seek(0, 0));
  std::string bytes(70000, '?');
  EXPECT_EQ(10U, file->Read(bytes.data(), 70000));
  EXPECT_EQ(10U, file->Length());
  ExpectRefused(*file, 100000);
}

TEST_F(IdentObjFile, UnusableHandleGivesNothing) {
  CTOOFile const missing((m_folder / "missing").c_str(), "rbc", false);
  ExpectRefused(missing, kHere);
  ExpectRefused(missing, 0);
}

TEST_F(IdentObjFile, WriteOnlyHandleGivesNothing) {
  auto const file = Open("wbc");
  EXPECT_EQ(9U, Blob("bytes").WriteData(*file, kHere));
  ExpectRefused(*file, 0);
  EXPECT_NE(0, file->Status());
  file->Close();
  EXPECT_EQ(Item("bytes"), ReadFile(m_path));
}

// Reads at `position` and tells the largest piece of memory that it took.
std::size_t LargestTaken(CTOOFile const& file, unsigned int position, unsigned int expected) {
  file.Seek(0, 0);
  char byte = 0;
  file.Read(&byte, 1);  // The file's own buffer is there now.
  IdentObj blob;
  t_largest = 0;
  EXPECT_EQ(expected, blob.ReadData(file, position));
  return t_largest;
}

TEST_F(IdentObjFile, LengthBeyondTheFileIsRefusedWithoutTakingTheMemory) {
  for (unsigned int const held : {0U, 1U, 1000U, 100000U}) {
    for (unsigned int const length : {held + 1, held + 2, held + 4, 0x7FFFFFFFU, 0x80000000U,
                                      0xFFFFFFFBU, 0xFFFFFFFCU, 0xFFFFFFFFU}) {
      WriteFile(m_path, "#" + Word(length) + Pattern(held, 7));
      auto const file = Open("rbc");
      EXPECT_LE(LargestTaken(*file, 1, 0), held) << length;
    }
  }
}

// With its prefix it would be longer than a result can tell.
TEST_F(IdentObjFile, LengthThatFitsTheFileButNoCountIsRefused) {
  for (unsigned int const length : {0xFFFFFFFCU, 0xFFFFFFFDU, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    WriteFile(m_path, "#" + Word(length));
    std::filesystem::resize_file(m_path, 5UL << 30);
    auto const file = Open("rbc");
    EXPECT_LE(LargestTaken(*file, 1, 0), 0U) << length;
    EXPECT_EQ(1U, file->CurPos());
  }
}

TEST_F(IdentObjFile, BlobThatFitsTakesItsLengthAndNoMore) {
  for (unsigned int const length : {1U, 1000U, 65536U, 100000U, 2000000U}) {
    WriteFile(m_path, "#" + Item(Pattern(length, 8)) + std::string(1000, 'x'));
    auto const file = Open("rbc");
    EXPECT_LE(LargestTaken(*file, 1, 4 + length), length);
  }
}

TEST_F(IdentObjFile, LengthBeyondABufferIsRefusedWithoutTakingTheMemory) {
  for (unsigned int const length : {5U, 1000U, 0x7FFFFFFFU, 0xFFFFFFFBU, 0xFFFFFFFFU}) {
    std::string const bytes = Word(length) + "1234";
    IdentObj blob;
    t_largest = 0;
    EXPECT_GT(blob.ReadData(bytes.data(), 8), 8U);
    EXPECT_LE(t_largest, 8U) << length;
  }
}

#if OWN_NEW
TEST_F(IdentObjFile, MemoryThatIsTakenIsSeenHere) {
  t_largest = 0;
  IdentObj const blob(nullptr, 12345);
  EXPECT_EQ(12345U, t_largest);
}
#endif

}  // namespace
