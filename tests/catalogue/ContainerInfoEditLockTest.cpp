// ContainerInfoEdit: what it holds, whom it keeps out, and what it refuses instead of hanging.

#include <cerrno>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "catalogue/ContainerInfoEdit.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/CQuasiStructFile.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"

namespace {

using testing::HasSubstr;

class CatalogueEditLocks : public CatalogueFixture {
 protected:
  CatalogueEditLocks() { Write(CatalogueFile(1, {m_path})); }

  // The message of the EDEADLK that `body` throws; "none" for nothing thrown.
  static std::string Refusal(std::function<void()> const& body) {
    try {
      body();
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(EDEADLK, status.Status());
      return status.ErrorMessage();
    }
    return "none";
  }

  std::string const m_path = Container("key");
  std::string const m_new = Container("new");
};

TEST_F(CatalogueEditLocks, HoldsListAndFileFromBeginningToEnd) {
  ContainerInfoList list(File());
  auto edit = std::make_unique<ContainerInfoEdit>(list);
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_file));
  ThreadPeer reader([&](PeerSide& side) {
    EXPECT_NE(nullptr, list.FindRecord(m_path.c_str(), true));
    side.Reached();
  });
  EXPECT_TRUE(reader.AwaitBlocked());
  edit->Add(m_new.c_str());
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_file));
  edit.reset();
  EXPECT_TRUE(reader.AwaitStep());
  EXPECT_TRUE(reader.Finish());
  EXPECT_EQ(Lock::None, FileLockOf(m_file));
}

TEST_F(CatalogueEditLocks, CommitLetsBothLocksGo) {
  ContainerInfoList list(File());
  ContainerInfoEdit edit(list);
  edit.Commit();
  EXPECT_EQ(Lock::None, FileLockOf(m_file));
  EXPECT_NE(nullptr, list.FindRecord(m_path.c_str(), true));
  list.Add(m_new.c_str());
  EXPECT_EQ(CatalogueFile(1, {m_path, m_new}), FileBytes());
}

TEST_F(CatalogueEditLocks, WhatFailsToBeginHoldsNothing) {
  ContainerInfoList list(File());
  Write("damaged");
  EXPECT_THROW(ContainerInfoEdit{list}, XTOOStatus);
  EXPECT_EQ(Lock::None, FileLockOf(m_file));
  Write(CatalogueFile(1, {m_path}));
  ContainerInfoEdit(list).Commit();
}

TEST_F(CatalogueEditLocks, TakesTheListsLockBeforeTheFiles) {
  ContainerInfoList list(File());
  auto locker = std::make_unique<IPC::CWriteLocker>(list.GetSyncList()->Lock);
  ThreadPeer editor([&](PeerSide&) { ContainerInfoEdit(list).Commit(); });
  EXPECT_TRUE(editor.AwaitBlocked());
  EXPECT_EQ(Lock::None, FileLockOf(m_file));
  locker.reset();
  EXPECT_TRUE(editor.Finish());
}

TEST_F(CatalogueEditLocks, WaitsForWhoHoldsTheFile) {
  ProcessPeer holder([&](PeerSide& side) {
    CQuasiStructFile store(File(), false, false);
    std::unique_ptr<IPC::CReadLocker> const locker(store.LockReadFile());
    side.Reached();
    side.AwaitGo();
  });
  ASSERT_TRUE(holder.AwaitStep());
  ContainerInfoList list(File());
  ThreadPeer editor([&](PeerSide&) { ContainerInfoEdit(list).Commit(); });
  EXPECT_TRUE(editor.AwaitBlocked());
  holder.Go();
  EXPECT_TRUE(holder.Finish());
  EXPECT_TRUE(editor.Finish());
}

// Of each pair of an edit and a call in another process the second waits for the first and then
// sees all of it.
TEST_F(CatalogueEditLocks, OtherProcessesWaitAndSeeItWhole) {
  std::string const other = Container("other");
  std::vector<std::pair<char const*, std::function<void(ContainerInfoList&)>>> const calls = {
      {"Load", [&](ContainerInfoList& list) { list.Load(nullptr); }},
      {"Save", [&](ContainerInfoList& list) { list.Save(true); }},
      {"Add", [&](ContainerInfoList& list) { list.Add(other.c_str()); }},
      {"Erase", [&](ContainerInfoList& list) { list.Erase(m_path.c_str()); }},
      {"edit", [&](ContainerInfoList& list) { ContainerInfoEdit(list).Commit(); }},
      {"construction", [&](ContainerInfoList&) { ContainerInfoList const another(File()); }},
  };
  for (auto const& call : calls) {
    SCOPED_TRACE(call.first);
    Write(CatalogueFile(1, {m_path}));
    ProcessPeer peer([&](PeerSide& side) {
      ContainerInfoList list(File());
      side.Reached();
      side.AwaitGo();
      call.second(list);
      list.Load(nullptr);
      EXPECT_NE(nullptr, list.FindRecord(m_new.c_str(), true));
    });
    ASSERT_TRUE(peer.AwaitStep());
    ContainerInfoList list(File());
    ContainerInfoEdit edit(list);
    peer.Go();
    EXPECT_TRUE(peer.AwaitBlocked());
    edit.Add(m_new.c_str());
    EXPECT_TRUE(peer.AwaitBlocked());
    edit.Commit();
    EXPECT_TRUE(peer.Finish());
  }
}

// Who comes without any lock finds, at every moment, a whole file that is not empty.
TEST_F(CatalogueEditLocks, NobodyEverSeesHalfOfIt) {
  std::vector<std::string> paths;
  for (int number = 0; number < 300; ++number) {
    paths.push_back(Container("key-" + std::to_string(number)));
  }
  std::string const some = CatalogueFile(1, {m_path});
  std::string all;
  {
    ContainerInfoList list(File());
    ContainerInfoEdit edit(list);
    for (std::string const& path : paths) {
      edit.Add(path.c_str());
    }
    edit.Commit();
    all = FileBytes();
  }
  ProcessPeer editor([&](PeerSide& side) {
    ContainerInfoList list(File());
    for (int round = 0; round < 200; ++round) {
      ContainerInfoEdit edit(list);
      for (std::string const& path : paths) {
        round % 2 == 0 ? edit.Erase(path.c_str()) : edit.Add(path.c_str());
      }
      edit.Commit();
      if (round == 0) {
        side.Reached();
      }
    }
  });
  ASSERT_TRUE(editor.AwaitStep());
  int sights = 0;
  for (int i = 0; i < 1000; ++i) {
    std::string const seen = FileBytes();
    ASSERT_TRUE(seen == some || seen == all) << seen.size() << " bytes";
    ++sights;
    ContainerInfoList list(File());
    std::size_t const count = RecordsOf(list).size();
    ASSERT_TRUE(count == 1 || count == 301) << count;
  }
  EXPECT_TRUE(editor.Finish());
}

TEST_F(CatalogueEditLocks, ItsOwnThreadIsRefusedWhatWouldHang) {
  ContainerInfoList list(File());
  ContainerInfoList another((m_file + "-another").c_str());
  for (ContainerInfoList* asked : {&list, &another}) {
    ContainerInfoEdit edit(list);
    edit.Add(m_new.c_str());
    EXPECT_THAT(Refusal([&] { ContainerInfoEdit const second(*asked); }),
                HasSubstr("ContainerInfoEdit inside"));
    EXPECT_THAT(Refusal([&] { asked->Add("/any"); }), HasSubstr("Add"));
    EXPECT_THAT(Refusal([&] { asked->Add(""); }), HasSubstr("Add"));
    EXPECT_THAT(Refusal([&] { asked->Erase("/any"); }), HasSubstr("Erase"));
    EXPECT_THAT(Refusal([&] { asked->Load(nullptr); }), HasSubstr("Load"));
    EXPECT_THAT(Refusal([&] { asked->Save(true); }), HasSubstr("Save"));
    EXPECT_THAT(Refusal([&] { asked->Save(false); }), HasSubstr("Save"));
    EXPECT_THAT(Refusal([&] { asked->FindRecord("/any", true); }), HasSubstr("FindRecord"));
    EXPECT_THAT(Refusal([&] { asked->GetRecord("/any", true); }), HasSubstr("FindRecord"));
    EXPECT_THAT(Refusal([&] { *asked = ContainerInfoList(); }), HasSubstr("operator="));
    EXPECT_THAT(Refusal([&] { ContainerInfoList const made(File()); }), HasSubstr("Load"));
    EXPECT_STREQ(m_new.c_str(), list.GetRecord(m_new.c_str(), false).Path);
    EXPECT_EQ(m_path, list.GetFirst());
    EXPECT_EQ(m_new, list.GetNext());
  }
  ExpectUntouched();
  // The refusals end with the edit.
  list.Load(nullptr);
  another.Add(m_new.c_str());
  EXPECT_EQ(CatalogueFile(1, {m_new}), ReadFile(m_file + "-another"));
}

TEST_F(CatalogueEditLocks, OtherThreadsAreNotRefused) {
  ContainerInfoList list(File());
  ContainerInfoList another((m_file + "-another").c_str());
  ContainerInfoEdit edit(list);
  ThreadPeer peer([&](PeerSide& side) {
    another.Add(m_new.c_str());
    side.Reached();
    list.Add(m_new.c_str());
  });
  EXPECT_TRUE(peer.AwaitStep());
  EXPECT_TRUE(peer.AwaitBlocked());
  edit.Commit();
  EXPECT_TRUE(peer.Finish());
  EXPECT_EQ(CatalogueFile(1, {m_path, m_new}), FileBytes());
}

TEST_F(CatalogueEditLocks, AForkedChildHoldsNothingAndCommitsNothing) {
  ContainerInfoList list(File());
  auto edit = std::make_unique<ContainerInfoEdit>(list);
  edit->Add(m_new.c_str());
  EXPECT_TRUE(InProcess([&] {
    try {
      edit->Commit();
      ADD_FAILURE() << "committed";
    } catch (XTOOStatus const& status) {
      EXPECT_EQ(EPERM, status.Status());
    }
    EXPECT_EQ((Paths{m_path, m_new}), PathsIn(list));
    edit.reset();
    EXPECT_EQ((Paths{m_path, m_new}), PathsIn(list));
    // A list of its own is none of the edit's affair. The file is locked by the parent.
    ContainerInfoList own((m_file + "-own").c_str());
    own.Add(m_path.c_str());
    EXPECT_EQ(Paths{m_path}, PathsInFile(m_file + "-own"));
    return true;
  }));
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_file));
  ExpectUntouched();
  edit->Commit();
  EXPECT_EQ(CatalogueFile(1, {m_path, m_new}), FileBytes());
}

// Every operation that locks against every other, in threads that share one list and in threads
// with a list each. Save(true) is not for a list that others use, since it only waits for the lock.
class CatalogueEditPairs : public CatalogueFixture, public testing::WithParamInterface<bool> {};

TEST_P(CatalogueEditPairs, NoTwoOperationsWaitForEachOther) {
  std::string const path = Container("key");
  using Call = std::function<void(ContainerInfoList&)>;
  std::vector<Call> const calls = {
      [&](ContainerInfoList& list) { list.Load(nullptr); },
      [&](ContainerInfoList& list) { list.Add(path.c_str()); },
      [&](ContainerInfoList& list) { list.Erase(path.c_str()); },
      [&](ContainerInfoList& list) { list.FindRecord(path.c_str(), true); },
      [&](ContainerInfoList& list) {
        ContainerInfoEdit edit(list);
        edit.Add(path.c_str());
        edit.Commit();
      },
      [&](ContainerInfoList& list) {
        ContainerInfoEdit edit(list);
        edit.Erase(path.c_str());
      },
  };
  bool const isShared = GetParam();
  for (Call const& first : calls) {
    for (Call const& second : calls) {
      EXPECT_TRUE(InProcess([&] {
        ContainerInfoList list(File());
        ContainerInfoList another(File());
        auto const repeat = [](Call const& call, ContainerInfoList& target) {
          for (int i = 0; i < 20; ++i) {
            // Somebody else's plain save may have written meanwhile: that is told, and no hang.
            try {
              call(target);
            } catch (XTOOStatus const&) {
            }
          }
        };
        ThreadPeer peer([&](PeerSide&) { repeat(first, isShared ? list : another); });
        repeat(second, list);
        return peer.Finish();
      }));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(SharedAndApart, CatalogueEditPairs, testing::Bool());

}  // namespace
