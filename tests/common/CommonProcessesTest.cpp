// The common catalogue between processes.

#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <list>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/CommonContInfoFileCreater.h"
#include "common/CommonContInfoList.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/FolderOfTest.h"
#include "tests/common/ProviderAndKey.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/PrivateRoot.h"

namespace {

using Creater = CommonContInfoFileCreater;
using Paths = std::list<std::string>;

constexpr int kProcesses = 32;

// What the processes of one rush share.
class Rush {
 public:
  struct Board {
    pthread_barrier_t start;
    std::atomic<int> copies;
    std::atomic<int> openings;
    std::atomic<unsigned long> nodes[kProcesses];
  };

  Rush()
      : m_place(::mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)) {
    if (m_place == MAP_FAILED) {
      throw std::bad_alloc();
    }
    new (m_place) Board{};
    pthread_barrierattr_t shared;
    ::pthread_barrierattr_init(&shared);
    ::pthread_barrierattr_setpshared(&shared, PTHREAD_PROCESS_SHARED);
    ::pthread_barrier_init(&Get().start, &shared, kProcesses);
    ::pthread_barrierattr_destroy(&shared);
  }
  Rush(Rush const&) = delete;
  Rush& operator=(Rush const&) = delete;
  ~Rush() {
    ::pthread_barrier_destroy(&Get().start);
    ::munmap(m_place, sizeof(Board));
  }

  Board& Get() { return *static_cast<Board*>(m_place); }

 private:
  void* m_place;
};

class CommonProcesses : public testing::Test {
 protected:
  // All processes at once make sure of the common file. Each sees it with that content at once.
  void RushForTheFile(Rush& rush, std::string const& content) {
    std::filesystem::remove_all(m_folder.VendorFolder());
    std::list<ProcessPeer> peers;
    for (int number = 0; number < kProcesses; ++number) {
      peers.emplace_back([&, number](PeerSide&) { TakePart(rush.Get(), number, content); });
    }
    for (ProcessPeer& peer : peers) {
      EXPECT_TRUE(peer.Finish());
    }
    EXPECT_EQ(content, ReadFile(m_folder.CommonFile()));
    EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(m_folder.VendorFolder()), {}));
  }
  void ExpectOneFile(Rush& rush) const {
    for (std::atomic<unsigned long> const& node : rush.Get().nodes) {
      EXPECT_EQ(StatOf(m_folder.CommonFile()).st_ino, node);
    }
  }

  FolderOfTest m_folder;

 private:
  void TakePart(Rush::Board& board, int number, std::string const& content) const {
    CommonSeams seams;
    ::pthread_barrier_wait(&board.start);
    Creater creater;
    creater.CreateIfShould();
    EXPECT_EQ(content, ReadFile(m_folder.CommonFile()));
    board.nodes[number] = StatOf(m_folder.CommonFile()).st_ino;
    std::vector<std::string> const names = seams.Names();
    board.copies += static_cast<int>(std::count(names.begin(), names.end(), "CopyFile"));
    board.openings += static_cast<int>(std::count(names.begin(), names.end(), "Open"));
  }
};

// With a key file that they have to make first, and without any.
TEST_F(CommonProcesses, ManyAtOnceCopyTheProvidersFileOnce) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  for (bool const withKey : {true, false}) {
    EXPECT_TRUE(PrivateRoot::Run([&] {
      if (withKey) {
        MakeKeyFolder();
      }
      std::string const content = Pattern(200000, 1);
      MakeProviderFile(content);
      Rush rush;
      RushForTheFile(rush, content);
      EXPECT_EQ(1, rush.Get().copies);
      EXPECT_EQ(0, rush.Get().openings);
      ExpectOneFile(rush);
      EXPECT_EQ(withKey, IsThere(kKeyFile));
    }));
  }
}

TEST_F(CommonProcesses, ManyAtOnceMakeTheEmptyFileOnce) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  for (bool const withKey : {true, false}) {
    EXPECT_TRUE(PrivateRoot::Run([&] {
      if (withKey) {
        MakeKeyFolder();
      }
      Rush rush;
      RushForTheFile(rush, "");
      EXPECT_EQ(0, rush.Get().copies);
      EXPECT_EQ(1, rush.Get().openings);
      ExpectOneFile(rush);
    }));
  }
}

// More than one may make the file then, but nobody ever sees half of it.
TEST_F(CommonProcesses, WithoutSemaphoresTheFileIsStillWhole) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    { Creater const creater; }
    SpoilSemaphores();
    {
      Rush rush;
      RushForTheFile(rush, "");
      ExpectOneFile(rush);
    }
    std::string const content = Pattern(200000, 1);
    MakeProviderFile(content);
    Rush rush;
    RushForTheFile(rush, content);
  }));
}

TEST_F(CommonProcesses, ManyFacadesAtOnceLoadTheProvidersRecords) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    std::string const key = m_folder.Path() + "/key";
    WriteFile(key, "");
    MakeProviderFile(CatalogueFile(1, {key}));
    Rush rush;
    std::list<ProcessPeer> peers;
    for (int number = 0; number < kProcesses; ++number) {
      peers.emplace_back([&](PeerSide&) {
        ::pthread_barrier_wait(&rush.Get().start);
        CommonContInfoList facade;
        EXPECT_NE(nullptr, facade.FindRecord(key.c_str(), true));
      });
    }
    for (ProcessPeer& peer : peers) {
      EXPECT_TRUE(peer.Finish());
    }
  }));
}

// Processes in turn.

TEST_F(CommonProcesses, OneSeesWhatTheOtherAdds) {
  auto const make = [this](int number) {
    std::string const path = m_folder.Path() + "/key" + std::to_string(number);
    WriteFile(path, "");
    return path;
  };
  ProcessPeer peer([&](PeerSide& side) {
    CommonContInfoList facade;
    for (int number = 1; number < 10; number += 2) {
      side.AwaitGo();
      EXPECT_TRUE(facade.bIsChange());
      facade.Load();
      EXPECT_FALSE(facade.bIsChange());
      EXPECT_NE(nullptr, facade.FindRecord(make(number - 1).c_str(), true));
      facade.Add(make(number).c_str());
      side.Reached();
    }
  });
  CommonContInfoList facade;
  for (int number = 0; number < 10; number += 2) {
    facade.Add(make(number).c_str());
    facade.Load();
    EXPECT_FALSE(facade.bIsChange());
    peer.Go();
    ASSERT_TRUE(peer.AwaitStep());
    EXPECT_TRUE(facade.bIsChange());
    EXPECT_EQ(nullptr, facade.FindRecord(make(number + 1).c_str(), true));
    facade.Load();
    EXPECT_NE(nullptr, facade.FindRecord(make(number + 1).c_str(), true));
  }
  EXPECT_TRUE(peer.Finish());
  Paths expected;
  for (int number = 0; number < 10; ++number) {
    expected.push_back(make(number));
  }
  EXPECT_EQ(expected, PathsInFile(m_folder.CommonFile()));
}

// Neither loads: each save merges with what the other wrote.
TEST_F(CommonProcesses, AddingInTurnLosesNothing) {
  auto const make = [this](int number) {
    std::string const path = m_folder.Path() + "/key" + std::to_string(number);
    WriteFile(path, "");
    return path;
  };
  ProcessPeer peer([&](PeerSide& side) {
    CommonContInfoList facade;
    for (int number = 1; number < 10; number += 2) {
      side.AwaitGo();
      facade.Add(make(number).c_str());
      side.Reached();
    }
  });
  CommonContInfoList facade;
  Paths expected;
  for (int number = 0; number < 10; number += 2) {
    facade.Add(make(number).c_str());
    peer.Go();
    ASSERT_TRUE(peer.AwaitStep());
    expected.push_back(make(number));
    expected.push_back(make(number + 1));
  }
  EXPECT_TRUE(peer.Finish());
  Paths present = PathsInFile(m_folder.CommonFile());
  present.sort();
  expected.sort();
  EXPECT_EQ(expected, present);
}

TEST_F(CommonProcesses, WhatOneErasesGoesFromTheOther) {
  std::string const key = m_folder.Path() + "/key";
  WriteFile(key, "");
  m_folder.MakeCommonFile(CatalogueFile(1, {key}));
  CommonContInfoList facade;
  facade.Load();
  EXPECT_TRUE(InProcess([&] {
    CommonContInfoList own;
    own.Erase(key.c_str());
    return true;
  }));
  EXPECT_TRUE(facade.bIsChange());
  EXPECT_NE(nullptr, facade.FindRecord(key.c_str(), true));
  facade.Save(true);
  EXPECT_EQ(nullptr, facade.FindRecord(key.c_str(), true));
  EXPECT_EQ(Paths{}, PathsInFile(m_folder.CommonFile()));
}

// A process that ends while it makes the file leaves the others free to go on.
TEST_F(CommonProcesses, KilledCreatorHoldsNobodyUp) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    MakeProviderFile("content");
    ProcessPeer peer([&](PeerSide& side) {
      CommonSeams seams;
      seams.Before = [&](Seams::Call const& call) {
        if (call.name == "CopyFile") {
          side.Reached();
          side.AwaitGo();
        }
      };
      Creater creater;
      creater.CreateIfShould();
    });
    ASSERT_TRUE(peer.AwaitStep());
    ProcessPeer next([](PeerSide& side) {
      Creater creater;
      side.AwaitGo();
      creater.CreateIfShould();
      side.Reached();
    });
    next.Go();
    EXPECT_TRUE(next.AwaitBlocked());
    peer.Kill();
    EXPECT_TRUE(next.AwaitStep());
    EXPECT_EQ("content", ReadFile(m_folder.CommonFile()));
  }));
}

}  // namespace
