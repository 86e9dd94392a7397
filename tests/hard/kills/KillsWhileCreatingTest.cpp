// A process that makes the common catalogue's file is killed at the entry and at the exit of each
// of its system calls.

#include <filesystem>
#include <list>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "common/CommonContInfoFileCreater.h"
#include "tests/common/FolderOfTest.h"
#include "tests/common/ProviderAndKey.h"
#include "tests/hard/kills/Hard.h"
#include "tests/hard/kills/TracedProcess.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/PrivateRoot.h"

namespace {

constexpr unsigned int kHangs = 60;
// More stops than the operation has.
constexpr int kMostStops = 20000;

class KillsWhileCreating : public testing::Test {
 protected:
  // The file is to hold `content`, whose containers are `present`, once it is made.
  void KillAll(std::string const& name, std::string const& content,
               std::list<std::string> const& present) {
    std::map<std::string, int> left;
    LockTimes locks;
    for (int stop = 1; stop < kMostStops; ++stop) {
      Watchdog const watchdog("a process that is traced, or the recovery from its end", kHangs);
      std::filesystem::remove_all(m_folder.VendorFolder());
      TracedEnd const end = KillAtStop(
          stop, [] {}, [] { CommonContInfoFileCreater().CreateIfShould(); },
          [&] { EXPECT_TRUE(locks.Take(m_folder.CommonFile())); });
      if (end == TracedEnd::RanThrough) {
        EXPECT_TRUE(content == ReadFile(m_folder.CommonFile()));
        break;
      }
      ASSERT_EQ(TracedEnd::Killed, end) << "at stop " << stop;
      std::string const state = Classify(content);
      EXPECT_NE("else", state);
      ++left[state];
      left["a copy not in place yet"] += HasUnfinishedCopy() ? 1 : 0;
      Recover(content, present);
      ASSERT_FALSE(HasFailure()) << name << ", stop " << stop << ", " << state;
    }
    EXPECT_GT(left["no folder"], 0);
    EXPECT_GT(left["whole"], 0);
    Figure("kills at each call of " + name + ": " + std::to_string(locks.Taken()) +
           " kills; left: " + Listed(left) +
           "; locks later than 100 ms: " + std::to_string(locks.Late()));
  }

  // A file that is there is whole: an empty one is not made again from the provider's.
  std::string Classify(std::string const& content) const {
    if (!IsThere(m_folder.VendorFolder())) {
      return "no folder";
    }
    if (!IsThere(m_folder.CommonFile())) {
      return "no file";
    }
    return ReadFile(m_folder.CommonFile()) == content ? "whole" : "else";
  }

  bool HasUnfinishedCopy() const {
    if (!IsThere(m_folder.VendorFolder())) {
      return false;
    }
    for (auto const& entry : std::filesystem::directory_iterator(m_folder.VendorFolder())) {
      if (entry.path() != m_folder.CommonFile()) {
        return true;
      }
    }
    return false;
  }

  // Another process goes on.
  void Recover(std::string const& content, std::list<std::string> present) {
    CommonContInfoFileCreater().CreateIfShould();
    EXPECT_TRUE(content == ReadFile(m_folder.CommonFile()));
    ContainerInfoList list(m_folder.CommonFile().c_str());
    list.Add(m_later.c_str());
    present.push_back(m_later);
    EXPECT_EQ(present, PathsInFile(m_folder.CommonFile()));
  }

  std::string MakeContainer(std::string const& name) const {
    std::string path = m_folder.Path() + "/" + name;
    WriteFile(path, "");
    return path;
  }

  FolderOfTest m_folder;
  std::string const m_later = MakeContainer("later");
};

#define SKIP_WITHOUT_TRACE_OR_ROOT() \
  if (!TraceObstacle().empty()) {    \
    GTEST_SKIP() << TraceObstacle(); \
  }                                  \
  SKIP_WITHOUT_PRIVATE_ROOT()

TEST_F(KillsWhileCreating, TheEmptyFileUnderALockWithoutAKeyFile) {
  SKIP_WITHOUT_TRACE_OR_ROOT();
  EXPECT_TRUE(PrivateRoot::Run(
      [&] { KillAll("CreateIfShould without a provider and a key folder", "", {}); }));
}

TEST_F(KillsWhileCreating, TheEmptyFile) {
  SKIP_WITHOUT_TRACE_OR_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    KillAll("CreateIfShould without a provider", "", {});
  }));
}

TEST_F(KillsWhileCreating, TheProvidersCopy) {
  SKIP_WITHOUT_TRACE_OR_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    // More than is copied at once.
    std::string const key = MakeContainer("key");
    std::list<std::string> paths{key};
    for (int number = 0; number < 1000; ++number) {
      paths.push_back(m_folder.Path() + "/no container of that long name, number " +
                      std::to_string(number));
    }
    std::string const content = CatalogueFile(1, paths);
    MakeProviderFile(content);
    KillAll("CreateIfShould with a provider", content, {key});
  }));
}

}  // namespace
