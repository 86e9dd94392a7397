// What the bytes of a file are taken for.

#include "tools/RecordFile.h"

#include <gtest/gtest.h>

#include "catalogue/ContainerInfo.h"
#include "foundation/XTOOStatus.h"
#include "recordstore/QuasiStructBuffer.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/tools/Samples.h"

namespace {

using inspect::ContainerView;
using inspect::ParseFile;
using inspect::ReadContainer;

// A container record alone.
ContainerView Read(std::string const& blob) { return ReadContainer(blob, 0, 0, blob.size()); }

bool IsContainerForTheLibrary(std::string const& blob) {
  try {
    ContainerInfo().ReadData(reinterpret_cast<unsigned char const*>(blob.data()),
                             static_cast<unsigned int>(blob.size()));
    return true;
  } catch (XTOOStatus const&) {
    return false;
  }
}

TEST(RecordFileModel, EveryByteOfAWholeFileBelongsToOneField) {
  for (std::string const& file : WholeFiles()) {
    Gathered gathered;
    WalkFile(ParseFile(file), gathered);
    EXPECT_EQ(ToHex(file), ToHex(gathered.bytes));
    EXPECT_TRUE(gathered.isInOrder);
  }
}

TEST(RecordFileModel, EveryByteOfACutFileBelongsToOneField) {
  for (std::string const& file : WholeFiles()) {
    for (std::size_t size = 0; size < file.size(); ++size) {
      Gathered gathered;
      std::string const cut = file.substr(0, size);
      WalkFile(ParseFile(cut), gathered);
      EXPECT_EQ(ToHex(cut), ToHex(gathered.bytes));
      EXPECT_TRUE(gathered.isInOrder) << size;
    }
  }
}

TEST(RecordFileModel, EveryByteOfAFileWithAWrongBitBelongsToOneField) {
  for (std::string const& file : WholeFiles()) {
    for (std::size_t bit = 0; bit < 8 * file.size(); ++bit) {
      std::string wrong = file;
      wrong[bit / 8] = static_cast<char>(wrong[bit / 8] ^ (1 << bit % 8));
      Gathered gathered;
      WalkFile(ParseFile(wrong), gathered);
      EXPECT_EQ(wrong, gathered.bytes) << bit;
      EXPECT_TRUE(gathered.isInOrder) << bit;
    }
  }
}

TEST(RecordFileModel, RecordsAreThoseThatTheRecordStoreFinds) {
  for (std::string const& file : WholeFiles()) {
    for (std::size_t size = 1; size <= file.size(); ++size) {
      QuasiStructBuffer store(file.data(), size);
      inspect::RecordFile const parsed = ParseFile(std::string_view(file).substr(0, size));
      EXPECT_EQ(store.Status() != 0, parsed.damage.has_value()) << size;
      store.Clear();
      for (std::size_t number = 0; number < parsed.Count() && store.Status() == 0; ++number) {
        IdentObj record;
        // A store in memory reads nothing more after it has read past its end.
        if (!parsed.damage && store.Get(static_cast<long>(number), record) == 0) {
          EXPECT_EQ(DataOf(record), parsed.Blob(number));
        }
      }
    }
  }
}

TEST(RecordFileModel, HeadIsKnownByItsValues) {
  std::string const file = RecordFile(42, 3, "head!", {"one"});
  inspect::RecordFile const parsed = ParseFile(file);
  EXPECT_TRUE(parsed.hasHead);
  EXPECT_EQ(42U, parsed.reserved);
  EXPECT_EQ(3U, parsed.mark);
  EXPECT_EQ("head!", parsed.header);
  EXPECT_EQ(1U, parsed.Count());
  EXPECT_EQ("one", parsed.Blob(0));
}

TEST(RecordFileModel, EmptyFileIsNotDamaged) {
  inspect::RecordFile const parsed = ParseFile("");
  EXPECT_TRUE(parsed.IsEmpty());
  EXPECT_FALSE(parsed.hasHead);
  EXPECT_FALSE(parsed.damage);
}

TEST(RecordFileModel, RecordsEndAtALengthThatRunsPastTheEnd) {
  std::string const file = RecordFile({"one", "two"}) + Hex("ff ff ff ff") + "abc";
  inspect::RecordFile const parsed = ParseFile(file);
  EXPECT_EQ(2U, parsed.Count());
  ASSERT_TRUE(parsed.damage);
  EXPECT_EQ("record 2: 4294967295 bytes should stand here, 3 do", Explain(*parsed.damage));
  EXPECT_EQ(file.size() - 3, parsed.damage->offset);
}

TEST(ContainerModel, AllPartsAreRead) {
  std::string const blob = ContainerBytes("/a", "first", "second", 7, {{"sub", 8, 9}});
  ContainerView const view = Read(blob);
  EXPECT_TRUE(view.IsContainer());
  EXPECT_EQ("/a", view.path);
  EXPECT_EQ("first", view.ident1);
  EXPECT_EQ("second", view.ident2);
  EXPECT_EQ(7U, view.param);
  EXPECT_EQ(1U, view.subCount);
  std::size_t count = 0;
  ForEachSubRecord(view, [&count](inspect::SubView const& sub) {
    ++count;
    EXPECT_EQ("sub", sub.ident);
    EXPECT_EQ(8U, sub.param1);
    EXPECT_EQ(9U, sub.param2);
  });
  EXPECT_EQ(1U, count);
}

TEST(ContainerModel, WhatTheLibraryDecodesIsAContainer) {
  std::string const blob = ContainerBytes("/a", "first", "second", 7, {{"sub", 8, 9}, {"", 1, 2}});
  for (std::size_t size = 0; size <= blob.size(); ++size) {
    std::string const cut = blob.substr(0, size);
    EXPECT_EQ(IsContainerForTheLibrary(cut), Read(cut).IsContainer()) << size;
  }
  for (std::size_t bit = 0; bit < 8 * blob.size(); ++bit) {
    std::string wrong = blob;
    wrong[bit / 8] = static_cast<char>(wrong[bit / 8] ^ (1 << bit % 8));
    EXPECT_EQ(IsContainerForTheLibrary(wrong), Read(wrong).IsContainer()) << bit;
  }
}

TEST(ContainerModel, BytesBehindTheLastFieldAreTheTail) {
  std::string const blob = ContainerBytes("/a") + "tail";
  ContainerView const view = Read(blob);
  EXPECT_TRUE(view.IsContainer());
  EXPECT_EQ("tail", view.tail);
}

TEST(ContainerModel, SubRecordOfLengthZeroHasDefaultValues) {
  std::string blob = ContainerBytes("/a");
  blob.replace(blob.size() - 4, 4, Word(1) + Word(0));
  ContainerView const view = Read(blob);
  ASSERT_TRUE(view.IsContainer());
  EXPECT_EQ(1U, view.emptySubs);
  ForEachSubRecord(view, [](inspect::SubView const& sub) {
    EXPECT_TRUE(sub.isEmpty);
    EXPECT_EQ(0xFFFFFFFFU, sub.param2);
  });
}

TEST(ContainerModel, CountOfSubRecordsIsNotTrusted) {
  std::string blob = ContainerBytes("/a");
  blob.replace(blob.size() - 4, 4, Hex("ff ff ff ff"));
  ContainerView const view = Read(blob);
  ASSERT_FALSE(view.IsContainer());
  EXPECT_EQ("record 0: sub-record 0 length: 4 bytes should stand here, 0 do",
            Explain(*view.damage));
}

TEST(ContainerModel, PathEndsAtItsFirstZeroByte) {
  std::string const blob = ContainerBytes(std::string("/a\0b", 4));
  ContainerView const view = Read(blob);
  EXPECT_EQ("/a", view.Text());
  EXPECT_EQ(4U, view.path.size());
}

}  // namespace
