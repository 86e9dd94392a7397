#include "recordstore/ASNCreateLockName.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/debug.h"
#include "tests/recordstore/StoreHarness.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TempFolder.h"

namespace {

struct DebugLine {
  std::string function;
  int level;
  std::string format;
  std::string argument;
};

bool debugIsOn = false;
std::vector<int> askedLevels;
std::vector<DebugLine> debugLines;

}  // namespace

// For the whole program, in the place of the base services' own. Off unless a test turns it on.

int dbg_can_log(int level) {
  askedLevels.push_back(level);
  return debugIsOn ? 1 : 0;
}

void _debug(char const* function, int level, char const* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  bool const hasText = std::string(format).find("%s") != std::string::npos;
  debugLines.push_back({function, level, format, hasText ? va_arg(arguments, char const*) : ""});
  va_end(arguments);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr char kUniquePart[] = "[A-Za-z0-9]{6}";

class LockName : public testing::Test {
 protected:
  LockName() { SetDebug(false); }
  ~LockName() override { SetDebug(false); }

  static void SetDebug(bool on) {
    debugIsOn = on;
    askedLevels.clear();
    debugLines.clear();
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  CTOOString m_name = "before";
};

TEST_F(LockName, ReadableFileIsItsOwnLockName) {
  WriteFile(m_path, "content");
  AgeFile(m_path);
  timespec const before = StatOf(m_path).st_mtim;
  EXPECT_TRUE(ASNCreateLockName(nullptr, m_path.c_str(), &m_name));
  EXPECT_EQ(m_path, static_cast<char const*>(m_name));
  EXPECT_THAT(m_folder.Names(), ElementsAre("records"));
  EXPECT_EQ("content", ReadFile(m_path));
  EXPECT_TRUE(before == StatOf(m_path).st_mtim);
}

TEST_F(LockName, ReadableFolderIsItsOwnLockName) {
  EXPECT_TRUE(ASNCreateLockName(nullptr, m_folder.Path().c_str(), &m_name));
  EXPECT_EQ(m_folder.Path(), static_cast<char const*>(m_name));
  EXPECT_THAT(m_folder.Names(), IsEmpty());
}

TEST_F(LockName, MissingFileGetsANewEmptyOneBesideIt) {
  EXPECT_TRUE(ASNCreateLockName(nullptr, m_path.c_str(), &m_name));
  std::string const name = static_cast<char const*>(m_name);
  EXPECT_THAT(name, MatchesRegex(m_path + kUniquePart));
  EXPECT_THAT(m_folder.Names(), ElementsAre(name.substr(m_folder.Path().size() + 1)));
  EXPECT_EQ("", ReadFile(name));
  EXPECT_TRUE(S_ISREG(StatOf(name).st_mode));
  EXPECT_FALSE(IsThere(m_path));
}

// Of each length that the heap may round to: the template needs room for its end, too.
TEST_F(LockName, NameIsWholeWhateverThePathsLength) {
  for (std::size_t length = 1; length <= 64; ++length) {
    std::string const path = m_folder / std::string(length, 'n');
    ASSERT_TRUE(ASNCreateLockName(nullptr, path.c_str(), &m_name)) << length;
    ASSERT_THAT(static_cast<char const*>(m_name), MatchesRegex(path + kUniquePart));
    ASSERT_TRUE(IsThere(static_cast<char const*>(m_name))) << length;
  }
}

TEST_F(LockName, PathThatTheMemoryDoesNotHoldTwiceIsRefused) {
  if (kIsSanitized) {
    GTEST_SKIP() << "a sanitizer ends a process that has no memory left";
  }
  constexpr std::size_t kLength = std::size_t{64} << 20;
  EXPECT_TRUE(InProcess([&] {
    std::string const path(kLength, 'n');
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit limit{};
    EXPECT_EQ(0, ::getrlimit(RLIMIT_AS, &limit));
    limit.rlim_cur = pages * static_cast<std::size_t>(::getpagesize()) + kLength / 2;
    EXPECT_EQ(0, ::setrlimit(RLIMIT_AS, &limit));
    EXPECT_FALSE(ASNCreateLockName(nullptr, path.c_str(), &m_name));
    EXPECT_STREQ("before", m_name);
    return true;
  }));
}

TEST_F(LockName, EveryCallMakesAFileOfItsOwn) {
  std::vector<std::string> names;
  for (int i = 0; i < 20; ++i) {
    EXPECT_TRUE(ASNCreateLockName(nullptr, m_path.c_str(), &m_name));
    names.emplace_back(std::string(m_name).substr(m_folder.Path().size() + 1));
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(m_folder.Names(), names);
}

TEST_F(LockName, NoDescriptorStaysOpen) {
  int const before = CountDescriptors();
  EXPECT_TRUE(ASNCreateLockName(nullptr, m_path.c_str(), &m_name));
  EXPECT_EQ(before, CountDescriptors());
  WriteFile(m_path, "content");
  EXPECT_TRUE(ASNCreateLockName(nullptr, m_path.c_str(), &m_name));
  EXPECT_FALSE(ASNCreateLockName(nullptr, (m_path + "/no").c_str(), &m_name));
  EXPECT_EQ(before, CountDescriptors());
}

TEST_F(LockName, FileThatMayNotBeReadGetsANewOneBesideIt) {
  WriteFile(m_path, "content");
  ::chmod(m_path.c_str(), 0);
  ::chmod(m_folder.Path().c_str(), 0777);
  EXPECT_TRUE(AsOrdinaryUser([&] {
    EXPECT_TRUE(ASNCreateLockName(nullptr, m_path.c_str(), &m_name));
    EXPECT_THAT(static_cast<char const*>(m_name), MatchesRegex(m_path + kUniquePart));
    EXPECT_EQ(2U, m_folder.Names().size());
  }));
}

TEST_F(LockName, MissingFolderFailsAndLeavesTheName) {
  EXPECT_FALSE(ASNCreateLockName(nullptr, (m_folder / "no/records").c_str(), &m_name));
  EXPECT_STREQ("before", m_name);
  EXPECT_FALSE(ASNCreateLockName(nullptr, (m_folder / "no/records").c_str(), nullptr));
  EXPECT_THAT(m_folder.Names(), IsEmpty());
}

TEST_F(LockName, NullNameStillMakesTheFile) {
  EXPECT_TRUE(ASNCreateLockName(nullptr, m_path.c_str(), nullptr));
  EXPECT_THAT(m_folder.Names(), ElementsAre(MatchesRegex(std::string("records") + kUniquePart)));
  EXPECT_TRUE(ASNCreateLockName(nullptr, m_folder.Path().c_str(), nullptr));
  EXPECT_EQ(1U, m_folder.Names().size());
}

TEST_F(LockName, NullPathIsRefused) {
  m_name = "before";
  EXPECT_FALSE(ASNCreateLockName(nullptr, nullptr, &m_name));
  EXPECT_STREQ("before", m_name);
}

TEST_F(LockName, FirstArgumentIsIgnored) {
  std::string const other = m_folder / "no/such/path";
  for (char const* const ignored : {static_cast<char const*>(nullptr), "", "x", other.c_str()}) {
    EXPECT_TRUE(ASNCreateLockName(ignored, m_folder.Path().c_str(), &m_name));
    EXPECT_EQ(m_folder.Path(), static_cast<char const*>(m_name));
    EXPECT_TRUE(ASNCreateLockName(ignored, m_path.c_str(), &m_name));
    EXPECT_THAT(static_cast<char const*>(m_name), MatchesRegex(m_path + kUniquePart));
    EXPECT_FALSE(ASNCreateLockName(ignored, other.c_str(), &m_name));
  }
  EXPECT_EQ(4U, m_folder.Names().size());
}

TEST_F(LockName, FailureIsLoggedWhenThatIsWanted) {
  SetDebug(true);
  std::string const path = m_folder / "no/records";
  EXPECT_FALSE(ASNCreateLockName(nullptr, path.c_str(), &m_name));
  EXPECT_THAT(askedLevels, ElementsAre(1));
  ASSERT_EQ(1U, debugLines.size());
  EXPECT_EQ("ASNCreateLockName", debugLines[0].function);
  EXPECT_EQ(1, debugLines[0].level);
  EXPECT_EQ("Error at create tmp file%s\n", debugLines[0].format);
  // The template as the attempt left it.
  EXPECT_THAT(debugLines[0].argument, MatchesRegex(path + kUniquePart));
}

TEST_F(LockName, FailureIsNotLoggedOtherwise) {
  EXPECT_FALSE(ASNCreateLockName(nullptr, (m_folder / "no/records").c_str(), &m_name));
  EXPECT_THAT(askedLevels, ElementsAre(1));
  EXPECT_TRUE(debugLines.empty());
}

TEST_F(LockName, SuccessIsNotLogged) {
  SetDebug(true);
  EXPECT_TRUE(ASNCreateLockName(nullptr, m_path.c_str(), &m_name));
  EXPECT_TRUE(ASNCreateLockName(nullptr, m_folder.Path().c_str(), &m_name));
  EXPECT_TRUE(debugLines.empty());
}

TEST_F(LockName, NothingStaysOnTheHeap) {
  std::string const missing = m_folder / "no/records";
  auto const nameEach = [&](int times) {
    for (int i = 0; i < times; ++i) {
      ASNCreateLockName(nullptr, m_path.c_str(), nullptr);
      ASNCreateLockName(nullptr, missing.c_str(), nullptr);
      ASNCreateLockName(nullptr, m_folder.Path().c_str(), nullptr);
      askedLevels.clear();
    }
  };
  nameEach(10);  // What is freed here may count as in use as long as the heap keeps it at hand.
  std::size_t const before = HeapInUse();
  nameEach(1000);
  EXPECT_LT(HeapInUse(), before + 10000);  // Ten bytes a time would be more.
}

// The copy of the path is made before anything else; a path of that length names nothing.
TEST_F(LockName, LackOfMemoryMakesNone) {
  if (kIsSanitized) {
    GTEST_SKIP() << "a sanitizer ends the process where there is no memory";
  }
  EXPECT_TRUE(InProcess([&] {
    std::string const path(1UL << 30, 'x');
    struct rlimit const limit{path.size(), path.size()};  // Less than is in use already.
    EXPECT_EQ(0, ::setrlimit(RLIMIT_AS, &limit));
    SetDebug(true);
    EXPECT_FALSE(ASNCreateLockName(nullptr, path.c_str(), &m_name));
    EXPECT_STREQ("before", m_name);
    EXPECT_TRUE(debugLines.empty());
    return true;
  }));
}

// A relative path that has no folder part, and of which the template is all there is.
TEST_F(LockName, RelativePathsAreThoseOfTheCurrentFolder) {
  EXPECT_TRUE(InProcess([&] {
    std::filesystem::current_path(m_folder.Path());
    EXPECT_TRUE(ASNCreateLockName(nullptr, "records", &m_name));
    EXPECT_THAT(static_cast<char const*>(m_name),
                MatchesRegex(std::string("records") + kUniquePart));
    EXPECT_TRUE(IsThere(m_folder / static_cast<char const*>(m_name)));
    EXPECT_TRUE(ASNCreateLockName(nullptr, "", &m_name));
    EXPECT_THAT(static_cast<char const*>(m_name), MatchesRegex(kUniquePart));
    EXPECT_TRUE(IsThere(m_folder / static_cast<char const*>(m_name)));
    return true;
  }));
}

}  // namespace
