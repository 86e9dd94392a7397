// The bytes on disk, pinned by reference files that are explained byte by byte.

#include "tests/golden/GoldenFiles.h"

#include <list>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "recordstore/CQuasiStructFile.h"
#include "recordstore/QuasiStructBuffer.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace {

std::list<std::string> const kRecords{"one", "", Hex("00 ff 00 ff 74 68 72 65 65 0a")};

TEST(GoldenRecordFile, IsReadByBothBackends) {
  TempFolder const folder;
  std::string const bytes = GoldenBytes(kGoldenRecordFile);
  WriteFile(folder / "records", bytes);
  CQuasiStructFile onDisk((folder / "records").c_str(), false, false);
  QuasiStructBuffer inMemory(bytes.data(), bytes.size());
  for (QuasiStructFileBase* const store :
       {static_cast<QuasiStructFileBase*>(&onDisk), static_cast<QuasiStructFileBase*>(&inMemory)}) {
    EXPECT_EQ(0, store->Status());
    EXPECT_EQ(42U, store->Words.Reserved);
    EXPECT_EQ(0U, store->Words.CleanedMark);
    EXPECT_EQ("head!", DataOf(store->GetHeader()));
    std::list<IdentObj> records;
    EXPECT_EQ(0U, store->GetAll(records));
    EXPECT_EQ(kRecords, DataOf(records));
  }
}

TEST(GoldenRecordFile, IsWrittenByBothBackends) {
  TempFolder const folder;
  std::string const bytes = GoldenBytes(kGoldenRecordFile);
  // The header and the first word can only come out of a file, so both start with those alone.
  std::string const start = bytes.substr(0, 17);
  WriteFile(folder / "records", start);
  CQuasiStructFile onDisk((folder / "records").c_str(), false, false);
  QuasiStructBuffer inMemory(start.data(), start.size());
  for (std::string const& record : kRecords) {
    EXPECT_EQ(0U, onDisk.Add(Blob(record)));
    EXPECT_EQ(0U, inMemory.Add(Blob(record)));
  }
  EXPECT_EQ(ToHex(bytes), ToHex(ReadFile(folder / "records")));
  EXPECT_EQ(ToHex(bytes), ToHex(inMemory.GetBuffer()));
}

TEST(GoldenCatalogue, IsLoaded) {
  TempFolder const folder;
  WriteFile(folder / "catalogue", GoldenBytes(kGoldenCatalogue));
  ContainerInfoList list((folder / "catalogue").c_str());
  std::list<ContainerInfo>& records = list.GetSyncList()->Records;
  ASSERT_EQ(2U, records.size());
  ContainerInfo const& first = records.front();
  EXPECT_STREQ("/keys/M\xc3\xbcller/k1", first.Path);
  EXPECT_EQ(Hex("01 02 03"), DataOf(first.Ident1));
  EXPECT_EQ(Hex("ff fe"), DataOf(first.Ident2));
  EXPECT_EQ(0x12345678U, first.Param);
  ASSERT_EQ(2U, first.SubConts.size());
  EXPECT_EQ("ab", DataOf(first.SubConts.front().Ident));
  EXPECT_EQ(7U, first.SubConts.front().Param1);
  EXPECT_EQ(8U, first.SubConts.front().Param2);
  EXPECT_EQ("z", DataOf(first.SubConts.back().Ident));
  EXPECT_EQ(0U, first.SubConts.back().Param1);
  EXPECT_EQ(0xFFFFFFFFU, first.SubConts.back().Param2);
  EXPECT_STREQ("/keys/k2", records.back().Path);
  EXPECT_EQ(GoldenBytes(kGoldenCatalogue), ReadFile(folder / "catalogue"));
}

TEST(GoldenCatalogue, RecordsEncodeToItsBytes) {
  TempFolder const folder;
  WriteFile(folder / "catalogue", GoldenBytes(kGoldenCatalogue));
  ContainerInfoList list((folder / "catalogue").c_str());
  std::list<std::string> blobs;
  for (ContainerInfo& record : list.GetSyncList()->Records) {
    blobs.push_back(DataOf(record.WriteData()));
  }
  EXPECT_EQ(ToHex(GoldenBytes(kGoldenCatalogue)), ToHex(RecordFile(0, 1, "", blobs)));
}

TEST(GoldenCatalogue, IsCleanedOnce) {
  TempFolder const folder;
  std::string const golden = GoldenBytes(kGoldenUncleanedCatalogue);
  WriteFile(folder / "catalogue", golden);
  ContainerInfoList list((folder / "catalogue").c_str());
  EXPECT_EQ(std::list<std::string>{"/"}, PathsIn(list));
  // The mark is set and the header is gone; the record that stays has the bytes that it had.
  std::string const kept = golden.substr(golden.size() - 25);
  EXPECT_EQ(ToHex(Word(0) + Word(1) + Word(0) + kept), ToHex(ReadFile(folder / "catalogue")));
}

}  // namespace
