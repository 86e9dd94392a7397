// The storage operations of the backend on disk.

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/TempFolder.h"
#include "tests/support/VirtualSlot.h"

namespace {

constexpr unsigned int kHere = 0xFFFFFFFF;

class DiskStorage : public testing::Test {
 protected:
  using Handle = std::unique_ptr<CTOOFile>;

  Handle Open(char const* mode) { return Handle(m_backend.stor_Open(m_path.c_str(), mode, false)); }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
  std::string const m_otherPath = m_folder / "other";
  CQuasiStructFile m_backend;
};

TEST(CQuasiStructFile, StorageOperationsKeepTheirSlots) {
  using Store = CQuasiStructFile;
  long slot = 13;
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Read));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Write));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Seek));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Open));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_IsExists));
  EXPECT_EQ(slot++, VirtualSlot<Store>(
                        static_cast<unsigned int (Store::*)(CTOOFile*)>(&Store::stor_Length)));
  EXPECT_EQ(slot++, VirtualSlot<Store>(
                        static_cast<unsigned int (Store::*)(char const*)>(&Store::stor_Length)));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_GetLastWriteTime));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_ReadIdentObject));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_WriteIdentObject));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_CurPos));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Truncate));
  EXPECT_EQ(slot++, VirtualSlot(&Store::stor_Close));
}

TEST_F(DiskStorage, OpenGivesAHandleOfAFailedOpenToo) {
  Handle const file = Open("rbc");
  ASSERT_NE(nullptr, file);
  EXPECT_EQ(ENOENT, file->Status());
  EXPECT_EQ(m_path, file->ErrorMessage());
  EXPECT_EQ(0, m_backend.Status());
}

TEST_F(DiskStorage, OpenPassesNameAndMode) {
  WriteFile(m_path, "content");
  WriteFile(m_otherPath, "other");
  char byte = 'X';
  {
    Handle const file = Open("rbc");
    EXPECT_EQ(0, file->Status());
    EXPECT_EQ(7U, m_backend.stor_Length(file.get()));
    EXPECT_EQ(0U, m_backend.stor_Write(file.get(), &byte, 1));
  }
  EXPECT_EQ("content", ReadFile(m_path));
  {
    Handle const file = Open("r+bc");
    EXPECT_EQ(1U, m_backend.stor_Write(file.get(), &byte, 1));
  }
  EXPECT_EQ("Xontent", ReadFile(m_path));
  { Handle const file = Open("wbc"); }
  EXPECT_EQ("", ReadFile(m_path));
  EXPECT_EQ("other", ReadFile(m_otherPath));
}

TEST_F(DiskStorage, OpenPassesTheFlag) {
  EXPECT_THROW(Handle(m_backend.stor_Open(m_path.c_str(), "rbc", true)), XTOOFile);
  WriteFile(m_path, "content");
  for (bool const flag : {false, true}) {
    Handle const file(m_backend.stor_Open(m_path.c_str(), "rbc", flag));
    EXPECT_EQ(flag, FlagOf(*file).Get());
  }
}

TEST_F(DiskStorage, ExistenceAndLengthAreThoseOfTheGivenName) {
  WriteFile(m_path, "content");
  CQuasiStructFile own(m_path.c_str(), true, false);
  EXPECT_FALSE(own.stor_IsExists(m_otherPath.c_str()));
  EXPECT_TRUE(own.stor_IsExists(m_path.c_str()));
  WriteFile(m_otherPath, "other");
  EXPECT_TRUE(own.stor_IsExists(m_otherPath.c_str()));
  EXPECT_EQ(5U, own.stor_Length(m_otherPath.c_str()));
  EXPECT_EQ(7U, own.stor_Length(m_path.c_str()));
}

TEST_F(DiskStorage, LengthOfAMissingFileThrows) {
  EXPECT_THROW(m_backend.stor_Length(m_path.c_str()), XTOOFile);
  EXPECT_EQ(0, m_backend.Status());
}

TEST_F(DiskStorage, LengthOfAMissingFileIsNeverAskedFor) {
  std::vector<StoreCall> operations = CallsOnAFile();
  for (StoreCall const& operation : CallsThatNeedAFile()) {
    operations.push_back(operation);
  }
  for (StoreCall const& operation : operations) {
    for (bool const create : {false, true}) {
      std::filesystem::remove(m_path);
      ExposedStore store(m_path, create);
      store.Clear();
      store.Before = [&](std::string const& what) {
        EXPECT_TRUE(what != "Length of name" || IsThere(m_path)) << operation.name;
      };
      EXPECT_NO_THROW(operation.run(store)) << operation.name;
    }
  }
}

TEST_F(DiskStorage, LengthOfAHandleIsThatOfTheOpenFile) {
  WriteFile(m_path, "content");
  Handle const file = Open("r+bc");
  std::filesystem::rename(m_path, m_otherPath);
  WriteFile(m_path, "another file under the name");
  EXPECT_EQ(7U, m_backend.stor_Length(file.get()));
  m_backend.stor_Seek(file.get(), 0, 2);
  m_backend.stor_Write(file.get(), "more", 4);
  EXPECT_EQ(11U, m_backend.stor_Length(file.get()));
}

TEST_F(DiskStorage, LastWriteTimeIsThatOfTheStoresOwnFile) {
  WriteFile(m_path, "content");
  timespec const aged = AgeFile(m_path);
  WriteFile(m_otherPath, "other");
  CQuasiStructFile own(m_path.c_str(), true, false);
  unsigned long const expected =
      (static_cast<unsigned long>(aged.tv_sec) + 11644473600) * 10000000 +
      static_cast<unsigned long>(aged.tv_nsec) / 100;
  EXPECT_EQ(expected, TicksOf(own.stor_GetLastWriteTime(m_path.c_str())));
  EXPECT_EQ(expected, TicksOf(own.stor_GetLastWriteTime(m_otherPath.c_str())));
  EXPECT_EQ(expected, TicksOf(own.stor_GetLastWriteTime(nullptr)));
}

TEST_F(DiskStorage, LastWriteTimeOfAMissingFileIsTheDefaultOne) {
  WriteFile(m_otherPath, "other");
  CQuasiStructFile own(m_path.c_str(), true, true);
  EXPECT_EQ(0U, TicksOf(own.stor_GetLastWriteTime(m_otherPath.c_str())));
  EXPECT_EQ(0U, TicksOf(m_backend.stor_GetLastWriteTime(m_otherPath.c_str())));
  EXPECT_EQ(0, own.Status());
}

TEST_F(DiskStorage, ReadAndWriteMoveThatManyBytes) {
  WriteFile(m_path, "0123456789");
  Handle const file = Open("r+bc");
  char bytes[12] = {};
  EXPECT_EQ(4U, m_backend.stor_Read(file.get(), bytes, 4));
  EXPECT_STREQ("0123", bytes);
  EXPECT_EQ(2U, m_backend.stor_Write(file.get(), "abXX", 2));
  EXPECT_EQ(6U, m_backend.stor_CurPos(file.get()));
  EXPECT_EQ(4U, m_backend.stor_Read(file.get(), bytes, 12));  // All there is.
  EXPECT_STREQ("6789", bytes);
  m_backend.stor_Close(file.get());
  EXPECT_EQ("0123ab6789", ReadFile(m_path));
}

TEST_F(DiskStorage, SeekKnowsTheThreeOrigins) {
  WriteFile(m_path, "0123456789");
  Handle const file = Open("rbc");
  EXPECT_EQ(0U, m_backend.stor_Seek(file.get(), 3, 0));
  EXPECT_EQ(3U, m_backend.stor_CurPos(file.get()));
  EXPECT_EQ(0U, m_backend.stor_Seek(file.get(), 4, 1));
  EXPECT_EQ(7U, m_backend.stor_CurPos(file.get()));
  EXPECT_EQ(0U, m_backend.stor_Seek(file.get(), -2, 1));
  EXPECT_EQ(5U, m_backend.stor_CurPos(file.get()));
  EXPECT_EQ(0U, m_backend.stor_Seek(file.get(), -1, 2));
  EXPECT_EQ(9U, m_backend.stor_CurPos(file.get()));
  EXPECT_EQ(0xFFFFFFFFU, m_backend.stor_Seek(file.get(), -1, 0));
}

TEST_F(DiskStorage, TruncateCutsAtThePosition) {
  WriteFile(m_path, "0123456789");
  Handle const file = Open("r+bc");
  m_backend.stor_Seek(file.get(), 3, 0);
  m_backend.stor_Truncate(file.get());
  EXPECT_EQ(3U, m_backend.stor_Length(file.get()));
  EXPECT_EQ(3U, m_backend.stor_CurPos(file.get()));
  EXPECT_EQ("012", ReadFile(m_path));
}

TEST_F(DiskStorage, CloseClosesTheFile) {
  WriteFile(m_path, "content");
  int const descriptors = CountDescriptors();
  Handle const file = Open("r+bc");
  m_backend.stor_Write(file.get(), "C", 1);
  m_backend.stor_Close(file.get());
  EXPECT_EQ(descriptors, CountDescriptors());
  EXPECT_EQ("Content", ReadFile(m_path));
}

TEST_F(DiskStorage, BlobsMoveAtTheCurrentPosition) {
  WriteFile(m_path, "##" + Item("one") + Item("two"));
  Handle const file = Open("r+bc");
  m_backend.stor_Seek(file.get(), 2, 0);
  IdentObj blob;
  EXPECT_EQ(7U, m_backend.stor_ReadIdentObject(file.get(), blob, kHere));
  EXPECT_EQ("one", DataOf(blob));
  EXPECT_EQ(7U, m_backend.stor_WriteIdentObject(file.get(), Blob("TWO"), kHere));
  EXPECT_EQ(5U, m_backend.stor_WriteIdentObject(file.get(), Blob("3"), kHere));
  EXPECT_EQ(0U, m_backend.stor_ReadIdentObject(file.get(), blob, kHere));  // The end.
  m_backend.stor_Close(file.get());
  EXPECT_EQ(ToHex("##" + Item("one") + Item("TWO") + Item("3")), ToHex(ReadFile(m_path)));
}

TEST_F(DiskStorage, BlobsMoveAtAGivenPosition) {
  std::string const content = "##" + Item("one") + Item("two");
  WriteFile(m_path, content);
  Handle const file = Open("r+bc");
  IdentObj blob;
  EXPECT_EQ(7U, m_backend.stor_ReadIdentObject(file.get(), blob, 9));
  EXPECT_EQ("two", DataOf(blob));
  EXPECT_EQ(7U, m_backend.stor_ReadIdentObject(file.get(), blob, 2));
  EXPECT_EQ("one", DataOf(blob));
  EXPECT_EQ(9U, m_backend.stor_CurPos(file.get()));
  EXPECT_EQ(7U, m_backend.stor_WriteIdentObject(file.get(), Blob("ONE"), 2));
  EXPECT_EQ(4U, m_backend.stor_WriteIdentObject(file.get(), IdentObj(), 0));
  m_backend.stor_Close(file.get());
  EXPECT_EQ(ToHex(Word(0) + Hex("00 00") + "ONE" + Item("two")), ToHex(ReadFile(m_path)));
}

TEST_F(DiskStorage, StorageOperationsTakeNoLock) {
  WriteFile(m_path, SomeFile());
  CQuasiStructFile store(m_path.c_str(), true, false);
  std::unique_ptr<IPC::CWriteLocker> const holder(store.LockWriteFile());
  ProcessPeer peer([&](PeerSide& side) {
    CQuasiStructFile own(m_path.c_str(), true, false);
    side.Reached();
  });
  EXPECT_TRUE(peer.AwaitBlocked());  // Its constructor scans; the backend alone does not wait:
  ProcessPeer other([&](PeerSide& side) {
    char byte = 0;
    IdentObj blob;
    ExposedFile own;
    own.m_fileName = m_path.c_str();
    own.stor_IsExists(m_path.c_str());
    own.stor_Length(m_path.c_str());
    own.stor_GetLastWriteTime(m_path.c_str());
    Handle const file(own.stor_Open(m_path.c_str(), "r+bc", false));
    own.stor_Length(file.get());
    own.stor_Read(file.get(), &byte, 1);
    own.stor_Seek(file.get(), 0, 0);
    own.stor_Write(file.get(), &byte, 1);
    own.stor_ReadIdentObject(file.get(), blob, kHere);
    own.stor_WriteIdentObject(file.get(), blob, kHere);
    own.stor_CurPos(file.get());
    own.stor_Truncate(file.get());
    own.stor_Close(file.get());
    EXPECT_EQ(nullptr, own.m_lock);
    side.Reached();
  });
  EXPECT_TRUE(other.AwaitStep());
  EXPECT_TRUE(other.Finish());
}

}  // namespace
