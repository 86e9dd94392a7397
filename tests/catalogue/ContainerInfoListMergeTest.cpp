// ContainerInfoList: the merge of the list with what the file holds.

#include <list>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"

namespace {

// A record as far as the merge is concerned; `param` tells two with the same path apart.
struct Entry {
  std::string path;
  unsigned int state = 0;
  unsigned int param = 0;
};

bool operator==(Entry const& first, Entry const& second) {
  return first.path == second.path && first.state == second.state && first.param == second.param;
}

std::ostream& operator<<(std::ostream& out, Entry const& entry) {
  return out << entry.path << " state " << entry.state << " param " << entry.param;
}

using Entries = std::list<Entry>;

constexpr unsigned int kSynced = ContainerInfo::StateSynced;
constexpr unsigned int kAdded = ContainerInfo::StateAdded;
constexpr unsigned int kRemoved = ContainerInfo::StateRemoved;

class ContainerInfoListMerge : public CatalogueFixture {
 protected:
  // Saves a list with these records over a file with those. The paths are names in the folder.
  Entries Merge(Entries const& memory, Entries const& file) {
    std::list<std::string> blobs;
    for (Entry const& entry : file) {
      blobs.push_back(BytesOf(entry));
    }
    ContainerInfoList list(File());
    RecordsOf(list).clear();
    for (Entry const& entry : memory) {
      RecordsOf(list).push_back(Record(PathOf(entry.path), entry.state, entry.param));
    }
    Write(RecordFile(0, 1, "", blobs));
    list.Save(true);
    Entries result;
    std::list<std::string> saved;
    for (ContainerInfo const& record : RecordsOf(list)) {
      result.push_back({NameOf(static_cast<char const*>(record.Path)), record.State, record.Param});
      saved.push_back(BytesOf(result.back()));
    }
    EXPECT_EQ(RecordFile(0, 1, "", saved), FileBytes());
    return result;
  }

  void SetUp() override {
    for (char const* const name : {"a", "b", "c", "d", "e", "f", "A"}) {
      Container(name);
    }
  }

 private:
  std::string PathOf(std::string const& name) const { return name.empty() ? "" : m_folder / name; }
  std::string NameOf(std::string const& path) const {
    return path.empty() ? "" : path.substr(m_folder.Path().size() + 1);
  }
  std::string BytesOf(Entry const& entry) const {
    return ContainerBytes(PathOf(entry.path), "", "", entry.param);
  }
};

TEST_F(ContainerInfoListMerge, SyncedRecordTakesTheFilesVersion) {
  EXPECT_EQ((Entries{{"a", kSynced, 2}}), Merge({{"a", kSynced, 1}}, {{"a", 0, 2}}));
}

TEST_F(ContainerInfoListMerge, SyncedRecordTakesAllFieldsOfTheFilesVersion) {
  std::string const path = m_folder / "a";
  std::string const blob = ContainerBytes(path, "first", "second", 9, {{"s", 1, 2}, {"t", 3, 4}});
  Write(RecordFile(0, 1, "", {blob}));
  ContainerInfoList list(File());
  ContainerInfo& record = RecordsOf(list).front();
  record.Ident1 = Blob("old");
  record.Ident2.Empty();
  record.Param = 1;
  record.SubConts.resize(5);
  list.Save(true);
  ASSERT_EQ(1U, RecordsOf(list).size());
  EXPECT_EQ(&record, &RecordsOf(list).front());
  EXPECT_EQ(blob, DataOf(record.WriteData()));
  EXPECT_EQ(kSynced, record.State);
  EXPECT_EQ(RecordFile(0, 1, "", {blob}), FileBytes());
}

// What follows a record in its blob is ignored, and not written again.
TEST_F(ContainerInfoListMerge, FilesRecordWithMoreBytesBehindItIsWrittenWithoutThem) {
  std::string const blob = ContainerBytes(m_folder / "a", "first", "second", 9, {{"s", 1, 2}});
  Write(RecordFile(0, 1, "", {blob}));
  ContainerInfoList list(File());
  Write(RecordFile(0, 1, "", {blob + "more"}));
  list.Save(true);
  EXPECT_EQ(RecordFile(0, 1, "", {blob}), FileBytes());
}

TEST_F(ContainerInfoListMerge, FilesRecordThatIsCutAnywhereLeavesListAndFileAsTheyWere) {
  std::string const blob = ContainerBytes(m_folder / "a", "first", "second", 9, {{"s", 1, 2}});
  Write(RecordFile(0, 1, "", {blob}));
  ContainerInfoList list(File());
  for (std::size_t length = 0; length < blob.size(); ++length) {
    Write(RecordFile(0, 1, "", {blob.substr(0, length)}));
    list.Save(true);
    ExpectUntouched();
    ASSERT_EQ(1U, RecordsOf(list).size()) << length;
    EXPECT_EQ(blob, DataOf(RecordsOf(list).front().WriteData())) << length;
  }
}

TEST_F(ContainerInfoListMerge, RemovedRecordGoesFromMemoryAndFile) {
  EXPECT_EQ((Entries{{"b", kSynced, 2}}), Merge({{"a", kRemoved, 1}}, {{"a", 0, 1}, {"b", 0, 2}}));
}

TEST_F(ContainerInfoListMerge, AddedRecordWinsOverTheFilesAndStaysAdded) {
  EXPECT_EQ((Entries{{"a", kAdded, 1}}), Merge({{"a", kAdded, 1}}, {{"a", 0, 2}}));
}

TEST_F(ContainerInfoListMerge, AddedRecordThatTheFileLacksBecomesSynced) {
  EXPECT_EQ((Entries{{"a", kSynced, 1}}), Merge({{"a", kAdded, 1}}, {}));
}

TEST_F(ContainerInfoListMerge, SyncedRecordThatTheFileLacksGoes) {
  EXPECT_EQ(Entries{}, Merge({{"a", kSynced, 1}}, {}));
}

TEST_F(ContainerInfoListMerge, RemovedRecordThatTheFileLacksGoes) {
  EXPECT_EQ(Entries{}, Merge({{"a", kRemoved, 1}}, {}));
}

TEST_F(ContainerInfoListMerge, AnyOtherStateIsKeptBesideTheFilesAndGoesWithoutIt) {
  for (unsigned int const state : {2U, 4U, 5U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ((Entries{{"a", state, 1}}), Merge({{"a", state, 1}}, {{"a", 0, 2}}));
    EXPECT_EQ(Entries{}, Merge({{"a", state, 1}}, {}));
  }
}

TEST_F(ContainerInfoListMerge, PathsMatchExactly) {
  EXPECT_EQ((Entries{{"a", kSynced, 2}}), Merge({{"A", kSynced, 1}}, {{"a", 0, 2}}));
  EXPECT_EQ((Entries{{"A", kSynced, 1}, {"a", kSynced, 2}}),
            Merge({{"A", kAdded, 1}}, {{"a", 0, 2}}));
  EXPECT_EQ((Entries{{"a", kSynced, 2}}), Merge({{"A", kRemoved, 1}}, {{"a", 0, 2}}));
  EXPECT_EQ((Entries{{"a", kSynced, 2}}), Merge({{"/a", kSynced, 1}}, {{"a", 0, 2}}));
}

TEST_F(ContainerInfoListMerge, RecordsOnlyInTheFileFollowInFileOrder) {
  EXPECT_EQ((Entries{{"c", kAdded, 1}, {"e", kSynced, 3}, {"a", kSynced, 4}, {"b", kSynced, 5}}),
            Merge({{"c", kAdded, 1}}, {{"e", 0, 3}, {"a", 0, 4}, {"c", 0, 2}, {"b", 0, 5}}));
}

TEST_F(ContainerInfoListMerge, OwnRecordsKeepTheirOrder) {
  EXPECT_EQ((Entries{{"d", kSynced, 14},
                     {"b", kSynced, 2},
                     {"a", kAdded, 3},
                     {"e", kSynced, 15},
                     {"f", kSynced, 16}}),
            Merge({{"d", kSynced, 1},
                   {"c", kRemoved, 9},
                   {"b", kAdded, 2},
                   {"a", kAdded, 3},
                   {"e", kSynced, 4}},
                  {{"a", 0, 11}, {"f", 0, 16}, {"c", 0, 13}, {"d", 0, 14}, {"e", 0, 15}}));
}

// Kept on purpose: the repair comes before the file is read, and once.
TEST_F(ContainerInfoListMerge, DuplicatesThatOnlyTheFileHoldsComeBack) {
  EXPECT_EQ((Entries{{"a", kSynced, 3}, {"a", kSynced, 1}, {"a", kSynced, 2}}),
            Merge({{"a", kSynced, 9}}, {{"a", 0, 1}, {"a", 0, 2}, {"a", 0, 3}}));
  EXPECT_EQ((Entries{{"a", kSynced, 1}, {"b", kSynced, 2}, {"a", kSynced, 3}}),
            Merge({}, {{"a", 0, 1}, {"b", 0, 2}, {"a", 0, 3}}));
}

TEST_F(ContainerInfoListMerge, LastOfTheFilesDuplicatesIsMatched) {
  EXPECT_EQ((Entries{{"a", kSynced, 2}, {"a", kSynced, 1}, {"b", kSynced, 3}}),
            Merge({{"a", kSynced, 9}}, {{"a", 0, 1}, {"b", 0, 3}, {"a", 0, 2}}));
  EXPECT_EQ((Entries{{"a", kSynced, 1}}), Merge({{"a", kRemoved, 9}}, {{"a", 0, 1}, {"a", 0, 2}}));
  EXPECT_EQ((Entries{{"a", kAdded, 9}, {"a", kSynced, 1}}),
            Merge({{"a", kAdded, 9}}, {{"a", 0, 1}, {"a", 0, 2}}));
}

TEST_F(ContainerInfoListMerge, EmptyPathsOfTheFileAreKept) {
  EXPECT_EQ((Entries{{"a", kSynced, 2}, {"", kSynced, 1}, {"", kSynced, 3}}),
            Merge({{"a", kSynced, 0}, {"", kSynced, 9}}, {{"", 0, 1}, {"a", 0, 2}, {"", 0, 3}}));
}

// What a walk over the whole of both lists gives, said again in the simplest way. The memory's own
// duplicates and empty paths are gone by then.
Entries Walk(Entries memory, Entries file) {
  std::map<std::string, int> seen;
  memory.remove_if(
      [&](Entry const& entry) { return entry.path.empty() || ++seen[entry.path] > 1; });
  for (auto next = memory.end(); next != memory.begin();) {
    auto own = std::prev(next);
    auto other = file.end();
    while (other != file.begin() && (other == file.end() || other->path != own->path)) {
      --other;
    }
    bool const isFound = other != file.end() && other->path == own->path;
    bool isKept = true;
    if (isFound) {
      if (own->state == kSynced) {
        own->param = other->param;
      }
      isKept = own->state != kRemoved;
      file.erase(other);
    } else if (own->state == kAdded) {
      own->state = kSynced;
    } else {
      isKept = false;
    }
    next = isKept ? own : memory.erase(own);
  }
  memory.splice(memory.end(), file);
  return memory;
}

TEST_F(ContainerInfoListMerge, IsThatOfTheWalkFromTheEnd) {
  std::mt19937 random(20240117);
  auto const pick = [&](unsigned int below) { return static_cast<unsigned int>(random() % below); };
  std::vector<std::string> const names{"a", "b", "c", "d", "e", "f", "A", ""};
  std::vector<unsigned int> const states{kSynced, kSynced, kAdded, kAdded, kRemoved, 2, 77};
  for (int round = 0; round < 600; ++round) {
    Entries memory;
    Entries file;
    unsigned int param = 0;
    for (unsigned int count = pick(9); count > 0; --count) {
      memory.push_back({names[pick(8)], states[pick(7)], ++param});
    }
    for (unsigned int count = pick(9); count > 0; --count) {
      file.push_back({names[pick(8)], kSynced, ++param});
    }
    ASSERT_EQ(Walk(memory, file), Merge(memory, file)) << "round " << round;
  }
}

}  // namespace
