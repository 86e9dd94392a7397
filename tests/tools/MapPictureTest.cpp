// The picture of a file.

#include "tools/MapPicture.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "tests/tools/Samples.h"

namespace {

constexpr char kRed[] = "<g fill=\"#e02020\"";

std::string PictureOf(std::string const& file) {
  TempFolder const folder;
  std::FILE* const out = std::fopen((folder / "svg").c_str(), "wb");
  static_cast<void>(inspect::DrawPicture(inspect::ParseFile(file), "a <title> & more", out));
  static_cast<void>(std::fclose(out));
  return ReadFile(folder / "svg");
}

bool IsRed(std::string const& picture) { return picture.find(kRed) != std::string::npos; }

TEST(MapPicture, SoundFileHasNoRed) {
  EXPECT_FALSE(IsRed(PictureOf(SampleCatalogue())));
  EXPECT_FALSE(IsRed(PictureOf("")));
}

TEST(MapPicture, EveryCutShowsInRed) {
  std::string const file = SampleCatalogue();
  std::vector<std::size_t> whole = inspect::ParseFile(file).offsets;
  for (std::size_t size = 1; size < file.size(); ++size) {
    bool const isWhole = std::find(whole.begin(), whole.end(), size) != whole.end();
    EXPECT_EQ(!isWhole, IsRed(PictureOf(file.substr(0, size)))) << size;
  }
}

TEST(MapPicture, DamageOfOneByteShowsInALargeFile) {
  std::list<std::string> records(20000, ContainerBytes("/a/path", "ident", "ident"));
  EXPECT_FALSE(IsRed(PictureOf(RecordFile(records))));
  EXPECT_TRUE(IsRed(PictureOf(RecordFile(records) + "x")));
}

TEST(MapPicture, SizeIsBounded) {
  std::list<std::string> records(200000, ContainerBytes("/a"));
  EXPECT_GT(5000000U, PictureOf(RecordFile(records)).size());
}

TEST(MapPicture, TextsAreEscaped) {
  std::string const picture = PictureOf(RecordFile({ContainerBytes("/<&>\"")}));
  EXPECT_NE(std::string::npos, picture.find("a &lt;title&gt; &amp; more"));
  EXPECT_NE(std::string::npos, picture.find("/&lt;&amp;&gt;\\&quot;"));
}

}  // namespace
