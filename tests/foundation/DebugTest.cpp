// dbg_can_log and _debug. Each test asks in a process of its own: the level is read once.

#include "foundation/debug.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/CTOODateTime.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

constexpr int kLargest = std::numeric_limits<int>::max();
constexpr int kSmallest = std::numeric_limits<int>::min();

void Set(char const* setting) {
  if (setting == nullptr) {
    ::unsetenv("QUENDRIL_DEBUG");
  } else {
    ::setenv("QUENDRIL_DEBUG", setting, 1);
  }
}

// Whether that setting (null for none) allows exactly the levels up to `highest`.
void ExpectAllowedUpTo(int highest, char const* setting) {
  EXPECT_TRUE(InProcess([&] {
    Set(setting);
    for (int const level : {kSmallest + 1, -100, -2, -1, 0, 1, 2, 3, 4, 5, 6, 100, kLargest}) {
      EXPECT_EQ(level <= highest, dbg_can_log(level) != 0) << level;
    }
    return true;
  })) << (setting == nullptr ? "no setting" : setting);
}

TEST(DebugLog, IsOffWithoutALevel) {
  ExpectAllowedUpTo(kSmallest, nullptr);
  for (char const* const setting : {"", " ", "on", "x1", "1x", "1 ", "-", "1.5"}) {
    ExpectAllowedUpTo(kSmallest, setting);
  }
}

TEST(DebugLog, IsOffForTheLowestLevelTooWithoutALevel) {
  EXPECT_TRUE(InProcess([] {
    Set(nullptr);
    return dbg_can_log(kSmallest) == 0;
  }));
}

TEST(DebugLog, IsOnUpToTheLevel) {
  for (int const level : {-1, 0, 1, 2, 5, 100}) {
    ExpectAllowedUpTo(level, std::to_string(level).c_str());
  }
}

TEST(DebugLog, LevelIsReadOnce) {
  EXPECT_TRUE(InProcess([] {
    Set("2");
    EXPECT_NE(0, dbg_can_log(2));
    Set("0");
    EXPECT_NE(0, dbg_can_log(2));
    Set("5");
    return dbg_can_log(3) == 0;
  }));
}

// What `body` writes to standard error.
std::string StandardErrorOf(std::function<void()> const& body) {
  TempFolder const folder;
  std::string const path = folder / "stderr";
  EXPECT_TRUE(InProcess([&] {
    int const file = ::open(path.c_str(), O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
    ::dup2(file, STDERR_FILENO);
    body();
    return true;
  }));
  return ReadFile(path);
}

std::vector<std::string> LinesOf(std::string const& text) {
  EXPECT_TRUE(text.empty() || text.back() == '\n') << text;
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

struct Line {
  std::string time;
  std::string process;
  std::string thread;
  std::string level;
  std::string function;
  std::string text;
};

Line Parse(std::string const& line) {
  static std::regex const form(
      "([0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}\\.[0-9]{6}Z) ([0-9]+) ([0-9]+) \\[(-?[0-9]+)\\] "
      "([^:]*): (.*)");
  std::smatch parts;
  if (!std::regex_match(line, parts, form)) {
    ADD_FAILURE() << "not of the form: " << line;
    return {};
  }
  return Line{parts[1], parts[2], parts[3], parts[4], parts[5], parts[6]};
}

Line OnlyLine(std::string const& text) {
  std::vector<std::string> const lines = LinesOf(text);
  EXPECT_EQ(1U, lines.size()) << text;
  return lines.size() == 1 ? Parse(lines[0]) : Line{};
}

TEST(DebugLog, WritesOneLineWithItsArguments) {
  Line const line = OnlyLine(StandardErrorOf(
      [] { _debug("ASomething", 1, "%s is %d of %lu, %c%%", "this", -3, 123456789012UL, 'x'); }));
  EXPECT_EQ("ASomething", line.function);
  EXPECT_EQ("1", line.level);
  EXPECT_EQ("this is -3 of 123456789012, x%", line.text);
}

TEST(DebugLog, LineHasProcessAndThread) {
  std::string process;
  std::string const text = StandardErrorOf([] {
    _debug("Main", 1, "%d %ld", ::getpid(), ::syscall(SYS_gettid));
    ThreadPeer peer(
        [](PeerSide&) { _debug("Other", 1, "%d %ld", ::getpid(), ::syscall(SYS_gettid)); });
    EXPECT_TRUE(peer.Finish());
  });
  std::vector<std::string> const lines = LinesOf(text);
  ASSERT_EQ(2U, lines.size()) << text;
  for (std::string const& each : lines) {
    Line const line = Parse(each);
    EXPECT_EQ(line.text, line.process + " " + line.thread);
  }
  EXPECT_EQ(Parse(lines[0]).process, Parse(lines[1]).process);
  EXPECT_NE(Parse(lines[0]).thread, Parse(lines[1]).thread);
}

std::string Utc() {
  _SYSTEMTIME now{};
  GetSystemTime(&now);
  char text[64];
  EXPECT_EQ(23, std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03d", now.wYear,
                              now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond,
                              now.wMilliseconds));
  return text;
}

TEST(DebugLog, LineHasTheTimeInUtc) {
  std::string const before = Utc();
  std::string const text = StandardErrorOf([] {
    ::setenv("TZ", "XYZ-14", 1);
    ::tzset();
    _debug("Function", 1, "text");
  });
  std::string const time = OnlyLine(text).time.substr(0, 23);
  EXPECT_LE(before, time);
  EXPECT_LE(time, Utc());
}

TEST(DebugLog, WritesWhateverTheLevelOfTheEnvironment) {
  EXPECT_EQ("text", OnlyLine(StandardErrorOf([] {
                      Set(nullptr);
                      _debug("Function", 5, "text");
                    })).text);
}

TEST(DebugLog, EndsEachLineOnce) {
  std::string const text = StandardErrorOf([] {
    _debug("Function", 1, "first\n");
    _debug("Function", 1, "second");
    _debug("Function", 1, "%s", "");
  });
  std::vector<std::string> const lines = LinesOf(text);
  ASSERT_EQ(3U, lines.size()) << text;
  EXPECT_EQ("first", Parse(lines[0]).text);
  EXPECT_EQ("second", Parse(lines[1]).text);
  EXPECT_EQ("", Parse(lines[2]).text);
}

TEST(DebugLog, CutsALongTextAndStillEndsTheLine) {
  for (std::size_t const size : {2000UL, 2046UL, 2047UL, 2048UL, 2049UL, 100000UL}) {
    std::string const source(size, 'x');
    Line const line =
        OnlyLine(StandardErrorOf([&] { _debug("Function", 1, "%s", source.c_str()); }));
    EXPECT_GE(line.text.size(), std::min<std::size_t>(size, 2000)) << size;
    EXPECT_EQ(source.substr(0, line.text.size()), line.text) << size;
  }
}

TEST(DebugLog, LinesOfManyThreadsDoNotMix) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 200;
  std::string const text = StandardErrorOf([] {
    std::vector<std::unique_ptr<ThreadPeer>> peers;
    for (int thread = 0; thread < kThreads; ++thread) {
      peers.push_back(std::make_unique<ThreadPeer>([thread](PeerSide& side) {
        side.AwaitGo();
        std::string const own(1000, static_cast<char>('a' + thread));
        for (int round = 0; round < kRounds; ++round) {
          _debug("Function", 1, "%s", own.c_str());
        }
      }));
    }
    for (auto& peer : peers) {
      peer->Go();
    }
    for (auto& peer : peers) {
      EXPECT_TRUE(peer->Finish());
    }
  });
  std::vector<std::string> const lines = LinesOf(text);
  ASSERT_EQ(static_cast<std::size_t>(kThreads * kRounds), lines.size());
  for (std::string const& each : lines) {
    std::string const own = Parse(each).text;
    ASSERT_EQ(std::string(1000, own.empty() ? '?' : own[0]), own);
  }
}

TEST(DebugLog, NullCountsAsTheEmptyText) {
  char const* const none = nullptr;
  Line const noFormat = OnlyLine(StandardErrorOf([&] { _debug("Function", 1, none); }));
  EXPECT_EQ("Function", noFormat.function);
  EXPECT_EQ("", noFormat.text);
  Line const noFunction = OnlyLine(StandardErrorOf([&] { _debug(none, 1, "text"); }));
  EXPECT_EQ("", noFunction.function);
  EXPECT_EQ("text", noFunction.text);
}

}  // namespace
