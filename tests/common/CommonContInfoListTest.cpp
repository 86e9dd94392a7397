// CommonContInfoList: its life, its shape, and what it hands through.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/CommonContInfoList.h"
#include "foundation/XTOOStatus.h"
#include "tests/common/CommonSeams.h"
#include "tests/common/FolderOfTest.h"
#include "tests/support/Allocations.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/Peer.h"

namespace {

using Paths = std::list<std::string>;

// The facade consists of the pointer to its catalogue and the load stamp, both private.
ContainerInfoList& CatalogueOf(CommonContInfoList& facade) {
  return **reinterpret_cast<ContainerInfoList**>(&facade);
}

// As a moment: between the two parts of the stamp lie bytes that say nothing.
CTOODateTime MomentOf(CommonContInfoList const& facade) {
  CTOODateTime moment(false);
  std::memcpy(static_cast<void*>(&moment), reinterpret_cast<char const*>(&facade) + sizeof(void*),
              sizeof moment);
  return moment;
}

class CommonCatalogue : public testing::Test {
 protected:
  // A container that is there.
  std::string Make(std::string const& name) const {
    WriteFile(m_folder.Path() + "/" + name, "");
    return m_folder.Path() + "/" + name;
  }
  // A common file with these containers.
  Paths MakeCommonFile(Paths const& names) const {
    Paths paths;
    for (std::string const& name : names) {
      paths.push_back(Make(name));
    }
    m_folder.MakeCommonFile(CatalogueFile(1, paths));
    return paths;
  }

  FolderOfTest m_folder;
};

Paths PathsIn(CommonContInfoList& facade) { return PathsIn(CatalogueOf(facade)); }

int CodeOf(std::function<void()> const& call) {
  try {
    call();
  } catch (XTOOStatus const& status) {
    return status.Status();
  }
  return 0;
}

// Its life.

TEST_F(CommonCatalogue, ConstructionMakesFolderAndFile) {
  CommonContInfoList facade;
  EXPECT_EQ("", ReadFile(m_folder.CommonFile()));
  EXPECT_EQ(Paths{}, PathsIn(facade));
}

TEST_F(CommonCatalogue, ConstructionLoadsTheFile) {
  Paths const paths = MakeCommonFile({"one", "two"});
  std::string const content = ReadFile(m_folder.CommonFile());
  CommonContInfoList facade;
  EXPECT_EQ(paths, PathsIn(facade));
  EXPECT_EQ(content, ReadFile(m_folder.CommonFile()));
}

TEST_F(CommonCatalogue, EmptyFileGivesAnEmptyCatalogueWithItsName) {
  m_folder.MakeCommonFile("");
  CommonContInfoList facade;
  EXPECT_EQ(Paths{}, PathsIn(facade));
  EXPECT_EQ("", ReadFile(m_folder.CommonFile()));
  facade.Add(Make("key").c_str());
  EXPECT_EQ(Paths{m_folder.Path() + "/key"}, PathsInFile(m_folder.CommonFile()));
}

TEST_F(CommonCatalogue, DamagedFileGivesAnEmptyCatalogueWithItsName) {
  m_folder.MakeCommonFile("damaged");
  CommonContInfoList facade;
  EXPECT_EQ(Paths{}, PathsIn(facade));
  EXPECT_EQ("damaged", ReadFile(m_folder.CommonFile()));
  MakeCommonFile({"key"});
  facade.Load();
  EXPECT_EQ(Paths{m_folder.Path() + "/key"}, PathsIn(facade));
}

// The lock is let go before the catalogue loads.
TEST_F(CommonCatalogue, ConstructionCreatesThenLoads) {
  MakeCommonFile({"key"});
  CommonSeams seams;
  CommonContInfoList facade;
  std::vector<std::string> names = seams.Names();
  ASSERT_LE(4U, names.size());
  names.resize(4);
  EXPECT_EQ((std::vector<std::string>{"SemaphoreLock", "WriteLock", "WriteUnlock", "IsExists"}),
            names);
  EXPECT_EQ(m_folder.CommonFile(), seams.Calls[3].text);
}

TEST_F(CommonCatalogue, DestructionDeletesTheCatalogue) {
  MakeCommonFile({"one", "two"});
  { CommonContInfoList const facade; }  // What is loaded once is loaded now.
  m_folder.Queries.reserve(8);
  long const blocks = LiveBlocks();
  {
    auto facade = std::make_unique<CommonContInfoList>();
    void* const lock = &facade->GetSyncList()->Lock;
    CommonSeams seams;
    seams.NoteDestructors = true;
    facade.reset();
    seams.NoteDestructors = false;
    ASSERT_FALSE(seams.Calls.empty());
    EXPECT_EQ("~CReadWriteLock_pth", seams.Calls.front().name);
    EXPECT_EQ(lock, seams.Calls.front().object);
  }
  EXPECT_EQ(blocks, LiveBlocks());
}

TEST_F(CommonCatalogue, DestructionSavesNothing) {
  MakeCommonFile({"one"});
  std::string const content = ReadFile(m_folder.CommonFile());
  timespec written{};
  {
    CommonContInfoList facade;
    facade.GetSyncList()->Records.push_back(Record(Make("two"), ContainerInfo::StateAdded));
    facade.GetSyncList()->Records.front().State = ContainerInfo::StateRemoved;
    written = AgeFile(m_folder.CommonFile());
  }
  EXPECT_EQ(content, ReadFile(m_folder.CommonFile()));
  EXPECT_TRUE(StatOf(m_folder.CommonFile()).st_mtim == written);
}

// A constructor that fails.

class FailingConstruction : public CommonCatalogue {
 protected:
  // The construction fails with that code, and nothing stays behind.
  void ExpectFailure(int code) {
    auto const construct = [] { CommonContInfoList const facade; };
    EXPECT_EQ(code, CodeOf(construct));  // What is loaded once is loaded now.
    m_folder.Queries.reserve(8);
    long const blocks = LiveBlocks();
    int const descriptors = CountDescriptors();
    EXPECT_EQ(code, CodeOf(construct));
    EXPECT_EQ(blocks, LiveBlocks());
    EXPECT_EQ(descriptors, CountDescriptors());
    CommonSeams seams;
    seams.NoteDestructors = true;
    EXPECT_EQ(code, CodeOf(construct));
    seams.NoteDestructors = false;
    for (auto const& [begin, end] : std::list<std::pair<std::string, std::string>>{
             {"SemaphoreLock", "~SemaphoreLock"}, {"WriteLock", "WriteUnlock"}}) {
      EXPECT_EQ(Count(seams, begin), Count(seams, end)) << begin;
    }
  }

 private:
  static long Count(CommonSeams const& seams, std::string const& name) {
    std::vector<std::string> const names = seams.Names();
    return std::count(names.begin(), names.end(), name);
  }
};

TEST_F(FailingConstruction, WithoutACommonFolder) {
  m_folder.Result = 1;
  ExpectFailure(194);
}

TEST_F(FailingConstruction, WithAFileInTheFoldersPlace) {
  WriteFile(m_folder.VendorFolder(), "");
  ExpectFailure(ENOTDIR);
}

TEST_F(FailingConstruction, WithAFileThatCannotBeMade) {
  std::filesystem::create_directory(m_folder.VendorFolder());
  std::filesystem::create_symlink("no/such/folder/file", m_folder.CommonFile());
  ExpectFailure(ENOENT);
}

TEST_F(FailingConstruction, OfTheCatalogueOverAFolder) {
  std::filesystem::create_directories(m_folder.CommonFile());
  ExpectFailure(EISDIR);
}

// Its shape.

TEST_F(CommonCatalogue, ConsistsOfItsCatalogueAndItsStamp) {
  static_assert(sizeof(CommonContInfoList) == sizeof(void*) + sizeof(CTOODateTime));
  static_assert(!std::is_polymorphic_v<CommonContInfoList>);
  MakeCommonFile({"key"});
  CommonContInfoList facade;
  EXPECT_EQ(facade.GetListItrMgr(), &CatalogueOf(facade));
  CTOODateTime const never(0L);
  CTOODateTime stamp = MomentOf(facade);
  EXPECT_FALSE(never < stamp || stamp < never);
  CTOODateTime const before(true);
  facade.Load();
  CTOODateTime const after(true);
  stamp = MomentOf(facade);
  EXPECT_FALSE(stamp < before || after < stamp);
}

TEST_F(CommonCatalogue, ForwardingLeavesTheStamp) {
  std::string const one = MakeCommonFile({"one"}).front();
  std::string const two = Make("two");
  CommonContInfoList facade;
  for (bool const isLoaded : {false, true}) {
    if (isLoaded) {
      facade.Load();
    }
    CTOODateTime const stamp = MomentOf(facade);
    for (auto const& call : std::list<std::function<void()>>{
             [&] { facade.Save(true); }, [&] { facade.Add(two.c_str()); },
             [&] { facade.Erase(two.c_str()); }, [&] { facade.GetFirst(); },
             [&] { facade.GetNext(); }, [&] { facade.GetPrevious(); },
             [&] { facade.FindRecord(one.c_str(), true); },
             [&] { facade.GetRecord(one.c_str(), true); }, [&] { facade.GetListItrMgr(); },
             [&] { facade.GetSyncList(); }, [&] { facade.bIsChange(); }}) {
      call();
      CTOODateTime const now = MomentOf(facade);
      EXPECT_FALSE(stamp < now || now < stamp);
    }
  }
}

// What it hands through.

TEST_F(CommonCatalogue, HandsTheWalkThrough) {
  Paths const paths = MakeCommonFile({"one", "two", "three"});
  CommonContInfoList facade;
  std::vector<char const*> texts;
  for (ContainerInfo const& record : facade.GetSyncList()->Records) {
    texts.push_back(record.Path);
  }
  EXPECT_EQ(texts[0], facade.GetFirst());
  EXPECT_EQ(texts[1], CatalogueOf(facade).GetNext());  // One cursor for both.
  EXPECT_EQ(texts[2], facade.GetNext());
  EXPECT_EQ(nullptr, facade.GetNext());
  EXPECT_EQ(texts[2], facade.GetPrevious());
  EXPECT_EQ(texts[1], facade.GetPrevious());
  EXPECT_EQ(texts[0], facade.GetPrevious());
  EXPECT_EQ(nullptr, facade.GetPrevious());
}

TEST_F(CommonCatalogue, HandsTheLookupThrough) {
  std::string const key = MakeCommonFile({"other", "key"}).back();
  CommonContInfoList facade;
  ContainerInfo* const record = &facade.GetSyncList()->Records.back();
  for (bool const lock : {true, false}) {
    EXPECT_EQ(record, facade.FindRecord(key.c_str(), lock));
    EXPECT_EQ(record, &facade.GetRecord(key.c_str(), lock));
    EXPECT_EQ(nullptr, facade.FindRecord("/absent", lock));
  }
}

TEST_F(CommonCatalogue, HandsTheLookupsLockThrough) {
  std::string const key = MakeCommonFile({"key"}).front();
  CommonContInfoList facade;
  auto locker = std::make_unique<IPC::CWriteLocker>(facade.GetSyncList()->Lock);
  ThreadPeer without([&](PeerSide& side) {
    facade.FindRecord(key.c_str(), false);
    facade.GetRecord(key.c_str(), false);
    side.Reached();
  });
  EXPECT_TRUE(without.AwaitStep());
  ThreadPeer find([&](PeerSide& side) {
    facade.FindRecord(key.c_str(), true);
    side.Reached();
  });
  ThreadPeer get([&](PeerSide& side) {
    facade.GetRecord(key.c_str(), true);
    side.Reached();
  });
  EXPECT_TRUE(find.AwaitBlocked());
  EXPECT_TRUE(get.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(find.AwaitStep());
  EXPECT_TRUE(get.AwaitStep());
}

TEST_F(CommonCatalogue, HandsTheParts) {
  CommonContInfoList facade;
  EXPECT_EQ(CatalogueOf(facade).GetListItrMgr(), facade.GetListItrMgr());
  EXPECT_EQ(CatalogueOf(facade).GetSyncList(), facade.GetSyncList());
}

TEST_F(CommonCatalogue, HandsAddThrough) {
  CommonContInfoList facade;
  facade.Add(nullptr);
  facade.Add("");
  EXPECT_EQ("", ReadFile(m_folder.CommonFile()));
  std::string const path = m_folder.Path() + "//key";  // Kept as it is given.
  Make("key");
  facade.Add(path.c_str());
  EXPECT_EQ(Paths{path}, PathsIn(facade));
  EXPECT_EQ(CatalogueFile(1, {path}), ReadFile(m_folder.CommonFile()));
}

TEST_F(CommonCatalogue, HandsEraseThrough) {
  Paths const paths = MakeCommonFile({"one", "two"});
  CommonContInfoList facade;
  facade.Erase(paths.front().c_str());
  EXPECT_EQ(Paths{paths.back()}, PathsIn(facade));
  EXPECT_EQ(CatalogueFile(1, {paths.back()}), ReadFile(m_folder.CommonFile()));
  facade.GetSyncList()->Records.push_back(Record(""));
  facade.Erase(nullptr);
  EXPECT_EQ(Paths{paths.back()}, PathsIn(facade));
}

TEST_F(CommonCatalogue, HandsSaveThrough) {
  CommonContInfoList facade;
  std::string const key = Make("key");
  facade.GetSyncList()->Records.push_back(Record(key, ContainerInfo::StateAdded));
  auto locker = std::make_unique<IPC::CWriteLocker>(facade.GetSyncList()->Lock);
  facade.Save(false);
  EXPECT_EQ(Paths{key}, PathsInFile(m_folder.CommonFile()));
  ThreadPeer peer([&](PeerSide& side) {
    facade.Save(true);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitBlocked());
  locker.reset();
  EXPECT_TRUE(peer.AwaitStep());
}

TEST_F(CommonCatalogue, ExceptionsPassThrough) {
  CommonContInfoList facade;
  try {
    facade.GetRecord("/absent//key", true);
    ADD_FAILURE() << "no exception";
  } catch (XTOOStatus const& status) {
    EXPECT_TRUE(typeid(status) == typeid(XTOOStatus));
    EXPECT_EQ(194, status.Status());
    EXPECT_STREQ("/absent//key", status.ErrorMessage());
  }
  std::string const key = Make("key");
  CatalogueOf(facade).Load("");
  for (auto const& call : std::list<std::function<void()>>{[&] { facade.Save(true); },
                                                           [&] { facade.Add(key.c_str()); },
                                                           [&] { facade.Erase(key.c_str()); }}) {
    try {
      call();
      ADD_FAILURE() << "no exception";
    } catch (XTOOStatus const& status) {
      EXPECT_TRUE(typeid(status) == typeid(XTOOStatus));
      EXPECT_EQ(28, status.Status());
      EXPECT_STREQ("ContainerInfoList", status.ErrorMessage());
    }
  }
}

TEST_F(CommonCatalogue, ExceptionsOfOtherKindsPassThrough) {
  std::string const key = MakeCommonFile({"key"}).front();
  std::string const other = Make("other");
  CommonContInfoList facade;
  CommonSeams seams;
  seams.Before = [](Seams::Call const& call) {
    if (call.name == "Open" || call.name == "CollateNoCase" || call.name == "LastWriteTime") {
      throw std::logic_error("from within");
    }
  };
  for (auto const& call : std::list<std::function<void()>>{
           [&] { facade.Load(); }, [&] { facade.Save(true); }, [&] { facade.bIsChange(); },
           [&] { facade.Add(other.c_str()); }, [&] { facade.Erase(key.c_str()); },
           [&] { facade.FindRecord(key.c_str(), true); },
           [&] { facade.GetRecord(key.c_str(), true); }}) {
    EXPECT_THROW(call(), std::logic_error);
  }
}

}  // namespace
