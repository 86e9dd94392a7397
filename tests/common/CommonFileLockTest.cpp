// CommonContInfoFileCreater: the lock under which it creates the common file.

#include <sys/sem.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/CommonContInfoFileCreater.h"
#include "foundation/IPC.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/FolderOfTest.h"
#include "tests/common/ProviderAndKey.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"
#include "tests/support/PrivateRoot.h"

namespace {

using Creater = CommonContInfoFileCreater;

class CommonFileLock : public testing::Test {
 protected:
  FolderOfTest m_folder;
};

TEST_F(CommonFileLock, WaitsForTheLock) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  for (bool const withKey : {true, false}) {
    EXPECT_TRUE(PrivateRoot::Run([&] {
      std::filesystem::remove_all(m_folder.VendorFolder());
      if (withKey) {
        MakeKeyFolder();
        Creater const creater;
      }
      ProcessPeer peer([](PeerSide& side) {
        Creater creater;
        side.AwaitGo();
        creater.CreateIfShould();
        side.Reached();
      });
      IPC::CReadWriteLock_smph lock(withKey ? KeyOfKeyFile() : -1);
      auto locker = std::make_unique<IPC::CReadLocker>(lock);
      peer.Go();
      EXPECT_TRUE(peer.AwaitBlocked());
      EXPECT_EQ(std::vector<std::string>{}, m_folder.Names());
      locker.reset();
      EXPECT_TRUE(peer.AwaitStep());
      EXPECT_EQ("", ReadFile(m_folder.CommonFile()));
    }));
  }
}

TEST_F(CommonFileLock, LooksOnceItHasTheLock) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeProviderFile("the provider's");
    ProcessPeer peer([](PeerSide& side) {
      Creater creater;
      side.AwaitGo();
      creater.CreateIfShould();
      side.Reached();
    });
    IPC::CReadWriteLock_smph lock(-1);
    auto locker = std::make_unique<IPC::CWriteLocker>(lock);
    peer.Go();
    EXPECT_TRUE(peer.AwaitBlocked());
    m_folder.MakeCommonFile("made meanwhile");
    locker.reset();
    EXPECT_TRUE(peer.AwaitStep());
    EXPECT_EQ("made meanwhile", ReadFile(m_folder.CommonFile()));
  }));
}

TEST_F(CommonFileLock, HoldsTheLockFromTheFirstLookToTheLastStep) {
  SKIP_WITHOUT_PRIVATE_ROOT();
  EXPECT_TRUE(PrivateRoot::Run([&] {
    MakeKeyFolder();
    MakeProviderFile("content");
    Creater creater;
    int const set = ::semget(KeyOfKeyFile(), 2, IPC_CREAT | 0666);
    int calls = 0;
    CommonSeams seams;
    auto const look = [&](Seams::Call const& call) {
      if (call.name == "CreateFolder" || call.name == "CopyFile") {
        ++calls;
        EXPECT_EQ(1, ::semctl(set, 0, GETVAL)) << call.name;
      }
    };
    seams.Before = look;
    seams.After = look;
    creater.CreateIfShould();
    EXPECT_EQ(4, calls);
    EXPECT_EQ(0, ::semctl(set, 0, GETVAL));
    EXPECT_EQ(0, ::semctl(set, 1, GETVAL));
  }));
}

}  // namespace
