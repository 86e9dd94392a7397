// What is still got out of a damaged file.

#include "tools/Salvage.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/tools/Samples.h"
#include "tools/RecordFile.h"

namespace {

using inspect::Salvage;

Salvage Work(std::string const& file) {
  return inspect::SalvageRecords(file, [](std::size_t) {});
}

// The paths in what was got, which must be a whole file of containers.
std::vector<std::string> PathsOf(Salvage const& salvage) {
  inspect::RecordFile const file = inspect::ParseFile(salvage.bytes);
  EXPECT_FALSE(file.damage);
  std::vector<std::string> paths;
  for (std::size_t number = 0; number < file.Count(); ++number) {
    inspect::ContainerView const view = ReadContainer(file, number);
    EXPECT_TRUE(view.IsContainer());
    paths.emplace_back(view.path);
  }
  EXPECT_EQ(salvage.taken, paths.size());
  return paths;
}

// Where the records of the sample begin.
std::vector<std::size_t> Starts() { return inspect::ParseFile(SampleCatalogue()).offsets; }

TEST(Salvage, WholeCatalogueComesOutAsItIs) {
  Salvage const salvage = Work(SampleCatalogue());
  EXPECT_EQ(SampleCatalogue(), salvage.bytes);
  EXPECT_TRUE(salvage.IsWhole());
}

// A length is believed where nothing is damaged, also with bytes behind the last field.
TEST(Salvage, RecordsWithMoreBytesBehindThemComeOutAsTheyAre) {
  std::string const zero(8, '\0');
  for (std::string const& tail : {std::string("TAILTAIL"), zero, Word(24) + ContainerBytes("/x")}) {
    std::string const file = RecordFile(
        0, 1, "head",
        {ContainerBytes("/a") + tail, ContainerBytes("") + tail, ContainerBytes("/c") + tail});
    Salvage const salvage = Work(file);
    EXPECT_EQ(file, salvage.bytes);
    EXPECT_EQ(3U, salvage.taken);
    EXPECT_TRUE(salvage.IsWhole());
  }
}

TEST(Salvage, BehindARecordWithMoreBytesTheNextOneIsFoundInADamagedFileToo) {
  std::string const tail = "TAILTAIL";
  std::string const file = RecordFile(
      0, 1, "", {ContainerBytes("/a") + tail, ContainerBytes("/b") + tail, ContainerBytes("/c")});
  EXPECT_EQ((std::vector<std::string>{"/a", "/b"}), PathsOf(Work(file.substr(0, file.size() - 1))));
}

TEST(Salvage, OfACutFileAllWholeRecordsAreTaken) {
  std::string const file = SampleCatalogue();
  std::vector<std::size_t> const starts = Starts();
  for (std::size_t size = starts[0]; size < file.size(); ++size) {
    std::size_t const whole = static_cast<std::size_t>(std::count_if(
        starts.begin() + 1, starts.end(), [size](std::size_t start) { return start <= size; }));
    EXPECT_EQ(whole, PathsOf(Work(file.substr(0, size))).size()) << size;
  }
}

TEST(Salvage, WrongLengthOfAnyRecordCostsNoRecord) {
  for (std::size_t const start : Starts()) {
    for (unsigned int const wrong : {0U, 1U, 30U, 60U, 90U, 1000U, 0x80000000U, 0xFFFFFFFFU}) {
      std::string file = SampleCatalogue();
      file.replace(start, 4, Word(wrong));
      Salvage const salvage = Work(file);
      EXPECT_EQ(SamplePaths(), PathsOf(salvage)) << start << ", " << wrong;
      EXPECT_EQ(SampleCatalogue(), salvage.bytes);
      EXPECT_EQ(1U, salvage.mended);
    }
  }
}

TEST(Salvage, WrongBitCostsOneRecordAtMost) {
  std::string const original = SampleCatalogue();
  for (std::size_t bit = 8 * Starts()[0]; bit < 8 * original.size(); ++bit) {
    std::string file = original;
    file[bit / 8] = static_cast<char>(file[bit / 8] ^ (1 << bit % 8));
    EXPECT_LE(2U, PathsOf(Work(file)).size()) << "byte " << bit / 8 << ", bit " << bit % 8;
  }
}

TEST(Salvage, RecordsBehindRubbishAreFound) {
  std::vector<std::size_t> const starts = Starts();
  std::string const rubbish = Pattern(777, 5);
  std::string const original = SampleCatalogue();
  for (std::size_t const start : starts) {
    std::string file = original;
    file.insert(start, rubbish);
    Salvage const salvage = Work(file);
    EXPECT_EQ(SamplePaths(), PathsOf(salvage)) << start;
    ASSERT_EQ(1U, salvage.lost.size());
    EXPECT_EQ(start, salvage.lost[0].begin);
    EXPECT_EQ(start + rubbish.size(), salvage.lost[0].end);
  }
}

TEST(Salvage, ZerosBetweenRecordsAreLeftOut) {
  std::string file = SampleCatalogue();
  file.insert(Starts()[1], std::string(4096, '\0'));
  EXPECT_EQ(SamplePaths(), PathsOf(Work(file)));
}

TEST(Salvage, WrongHeaderLengthCostsTheHeaderOnly) {
  for (unsigned int const wrong : {0U, 3U, 5U, 40U, 0xFFFFFFFFU}) {
    std::string file = SampleCatalogue();
    file.replace(8, 4, Word(wrong));
    Salvage const salvage = Work(file);
    EXPECT_EQ(SamplePaths(), PathsOf(salvage)) << wrong;
    EXPECT_FALSE(salvage.IsWhole()) << wrong;
  }
}

TEST(Salvage, MarkAndReservedWordAndHeaderStay) {
  std::string const file = RecordFile(42, 9, "head", {ContainerBytes("/a"), "rubbish"});
  Salvage const salvage = Work(file);
  EXPECT_EQ(RecordFile(42, 9, "head", {ContainerBytes("/a")}), salvage.bytes);
}

TEST(Salvage, OfWhatIsNoCatalogueNothingIsTaken) {
  for (std::string const& file :
       {std::string("abc"), std::string(1000, 'x'), std::string(1000, '\0'), Pattern(5000, 1)}) {
    EXPECT_EQ(0U, Work(file).taken);
  }
}

TEST(Salvage, EveryByteIsTakenOrCalledLost) {
  std::string file = SampleCatalogue();
  file.insert(Starts()[2], "rubbish");
  Salvage const salvage = Work(file);
  std::size_t lost = 0;
  for (inspect::Stretch const& stretch : salvage.lost) {
    lost += stretch.end - stretch.begin;
  }
  EXPECT_EQ(file.size(), salvage.bytes.size() + lost);
}

// Each word looks like a record whose sub-records fill the rest of the file.
TEST(Salvage, FileMadeToTakeLongIsGivenUp) {
  std::string file = std::string(8, '\0') + Word(0);
  for (int i = 0; i < 20000; ++i) {
    file += Word(24) + Word(1) + "/" + Word(0) + Word(0) + Word(0) + Word(0x10000000);
  }
  file += std::string(200000, '\0');
  EXPECT_EQ(0U, Work(file).taken);
}

}  // namespace
