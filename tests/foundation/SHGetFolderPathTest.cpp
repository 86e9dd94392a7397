// SHGetFolderPath.

#include "foundation/SHGetFolderPath.h"

#include <climits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr int kCommonApplicationData = 35;
constexpr std::size_t kBufferSize = 4096;

TEST(SHGetFolderPath, GivesTheCommonApplicationDataFolder) {
  std::vector<char> buffer(kBufferSize, '#');
  EXPECT_EQ(0, SHGetFolderPath(nullptr, kCommonApplicationData, nullptr, 0, buffer.data()));
  EXPECT_STREQ("/var/lib", buffer.data());
}

TEST(SHGetFolderPath, WritesThePathAndItsTerminatorAlone) {
  std::vector<char> buffer(kBufferSize, '#');
  SHGetFolderPath(nullptr, kCommonApplicationData, nullptr, 0, buffer.data());
  std::size_t const used = std::string("/var/lib").size() + 1;
  EXPECT_EQ(std::string(kBufferSize - used, '#'),
            std::string(buffer.begin() + static_cast<long>(used), buffer.end()));
}

TEST(SHGetFolderPath, LooksAtNothingButTheFolder) {
  int something = 0;
  std::vector<char> buffer(kBufferSize, '#');
  EXPECT_EQ(0, SHGetFolderPath(&something, kCommonApplicationData, &something, 0xFFFFFFFF,
                               buffer.data()));
  EXPECT_STREQ("/var/lib", buffer.data());
}

void ExpectRefused(int folder) {
  std::string buffer(kBufferSize, '#');
  EXPECT_NE(0, SHGetFolderPath(nullptr, folder, nullptr, 0, buffer.data())) << folder;
  EXPECT_EQ(std::string(kBufferSize, '#'), buffer) << folder;
}

TEST(SHGetFolderPath, RefusesEveryOtherFolder) {
  for (int folder = -300; folder <= 300; ++folder) {
    if (folder != kCommonApplicationData) {
      ExpectRefused(folder);
    }
  }
  for (int bit = 9; bit < 31; ++bit) {
    ExpectRefused(kCommonApplicationData | (1 << bit));
  }
  ExpectRefused(INT_MIN | kCommonApplicationData);
}

TEST(SHGetFolderPath, RefusesANullBuffer) {
  EXPECT_NE(0, SHGetFolderPath(nullptr, kCommonApplicationData, nullptr, 0, nullptr));
}

}  // namespace
