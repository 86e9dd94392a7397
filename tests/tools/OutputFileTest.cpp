// New files, which are there whole or not at all.

#include "tools/OutputFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "tools/Failure.h"

namespace {

using inspect::Failure;
using inspect::OutputOptions;
using testing::ElementsAre;
using testing::IsEmpty;

void Write(std::string const& path, bool mayOverwrite) {
  inspect::WriteCatalogue({path, mayOverwrite}, "new", "", true);
}

TEST(OutputFile, NewFileHasTheContentAndNothingElseIsLeft) {
  TempFolder const folder;
  Write(folder / "file", false);
  EXPECT_EQ("new", ReadFile(folder / "file"));
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(OutputFile, FileThatIsThereIsKept) {
  TempFolder const folder;
  WriteFile(folder / "file", "old");
  EXPECT_THROW(Write(folder / "file", false), Failure);
  EXPECT_EQ("old", ReadFile(folder / "file"));
  EXPECT_THAT(folder.Names(), ElementsAre("file"));
}

TEST(OutputFile, FileThatMayBeReplacedHandsOnItsRights) {
  TempFolder const folder;
  WriteFile(folder / "file", "old");
  ASSERT_EQ(0, ::chmod((folder / "file").c_str(), 0600));
  Write(folder / "file", true);
  EXPECT_EQ("new", ReadFile(folder / "file"));
  EXPECT_EQ(0600U, StatOf(folder / "file").st_mode & 0777U);
}

TEST(OutputFile, WhatIsNoFileIsNeverReplaced) {
  TempFolder const folder;
  ASSERT_EQ(0, ::mkfifo((folder / "fifo").c_str(), 0600));
  EXPECT_THROW(Write(folder / "fifo", true), Failure);
  EXPECT_THROW(Write(folder.Path(), true), Failure);
  ASSERT_EQ(0, ::symlink("nowhere", (folder / "link").c_str()));
  EXPECT_THROW(Write(folder / "link", true), Failure);
  EXPECT_THAT(folder.Names(), ElementsAre("fifo", "link"));
}

TEST(OutputFile, FailureHalfWayLeavesNothing) {
  TempFolder const folder;
  auto const fail = [](std::FILE* out) {
    static_cast<void>(std::fputs("half", out));
    throw std::runtime_error("half-way");
  };
  EXPECT_THROW(inspect::WriteOutput({folder / "file", false}, fail), std::runtime_error);
  EXPECT_THAT(folder.Names(), IsEmpty());
}

TEST(OutputFile, InputIsNeverTheOutput) {
  TempFolder const folder;
  WriteFile(folder / "file", "old");
  ASSERT_EQ(0, ::symlink("file", (folder / "link").c_str()));
  EXPECT_THROW(inspect::RequireOther(folder / "file", folder / "file"), Failure);
  EXPECT_THROW(inspect::RequireOther(folder / "file", folder / "link"), Failure);
  EXPECT_NO_THROW(inspect::RequireOther(folder / "file", folder / "other"));
}

}  // namespace
