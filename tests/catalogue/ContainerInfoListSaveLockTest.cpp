// ContainerInfoList: what a save does with the list's lock.

#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "foundation/IPC.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Containers.h"

namespace {

class ContainerInfoListSaveLock : public CatalogueFixture {
 protected:
  // An empty one that is to be saved to the file, which is removed.
  std::unique_ptr<ContainerInfoList> List() const {
    std::filesystem::remove(m_file);
    return std::make_unique<ContainerInfoList>(File());
  }
};

TEST_F(ContainerInfoListSaveLock, WaitsForAReaderOrAWriterOfTheList) {
  auto const list = List();
  Write(CatalogueFile(0, {Container("key")}));
  auto const expectWaits = [&](auto held) {
    ThreadPeer saver([&](PeerSide& side) {
      list->Save(true);
      side.Reached();
    });
    EXPECT_TRUE(saver.AwaitBlocked());
    ExpectUntouched();
    held.reset();
    EXPECT_TRUE(saver.AwaitStep());
    EXPECT_TRUE(saver.Finish());
    Write(CatalogueFile(0, {m_folder / "key"}));
  };
  expectWaits(std::make_unique<IPC::CReadLocker>(list->GetSyncList()->Lock));
  expectWaits(std::make_unique<IPC::CWriteLocker>(list->GetSyncList()->Lock));
}

// It waits at the file, which this thread holds for reading, and the list can be locked meanwhile.
TEST_F(ContainerInfoListSaveLock, DoesNotHoldTheListWhileItWorks) {
  auto const list = List();
  Write(CatalogueFile(1, {Container("key")}));
  IPC::CReadWriteLock_file fileLock(File());
  auto held = std::make_unique<IPC::CReadLocker>(fileLock);
  ThreadPeer saver([&](PeerSide& /*side*/) { list->Save(true); });
  EXPECT_TRUE(saver.AwaitBlocked());
  ThreadPeer writer([&](PeerSide& side) {
    IPC::CWriteLocker const locker(list->GetSyncList()->Lock);
    side.Reached();
  });
  EXPECT_TRUE(writer.AwaitStep());
  EXPECT_TRUE(writer.Finish());
  held.reset();
  EXPECT_TRUE(saver.Finish());
}

TEST_F(ContainerInfoListSaveLock, WithoutWaitingWorksUnderTheCallersLock) {
  std::string const path = Container("key");
  auto const list = List();
  RecordsOf(*list).push_back(Record(path, ContainerInfo::StateAdded));
  EXPECT_TRUE(InProcess([&] {
    IPC::CWriteLocker const locker(list->GetSyncList()->Lock);
    list->Save(false);
    return true;
  }));
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
}

TEST_F(ContainerInfoListSaveLock, WithoutWaitingWorksBesideAReader) {
  std::string const path = Container("key");
  auto const list = List();
  RecordsOf(*list).push_back(Record(path, ContainerInfo::StateAdded));
  IPC::CReadLocker const locker(list->GetSyncList()->Lock);
  ThreadPeer saver([&](PeerSide& side) {
    list->Save(false);
    side.Reached();
  });
  EXPECT_TRUE(saver.AwaitStep());
  EXPECT_TRUE(saver.Finish());
  EXPECT_EQ(CatalogueFile(1, {path}), FileBytes());
}

}  // namespace
