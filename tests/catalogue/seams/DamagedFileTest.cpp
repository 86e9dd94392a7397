// Catalogue files that somebody has spoilt: whatever the bytes are, a load and a save do what an
// independent reading of the file says, and leave nothing locked or open.

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <iterator>
#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "catalogue/ContainerInfoList.h"
#include "tests/catalogue/CatalogueFixture.h"
#include "tests/catalogue/seams/Decoder.h"
#include "tests/catalogue/seams/Seams.h"
#include "tests/support/Allocations.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/LockProbe.h"

namespace {

using Blobs = std::list<std::string>;

// A record as the merge sees it.
struct Entry {
  std::string path;
  std::string bytes;
  unsigned int state;
};
using Entries = std::list<Entry>;

bool operator==(Entry const& first, Entry const& second) {
  return first.path == second.path && first.bytes == second.bytes && first.state == second.state;
}

std::ostream& operator<<(std::ostream& out, Entry const& entry) {
  return out << entry.state << ": " << ToHex(entry.bytes);
}

Entries EntriesOf(ContainerInfoList& list) {
  Entries entries;
  for (ContainerInfo& record : RecordsOf(list)) {
    entries.push_back(
        {static_cast<char const*>(record.Path), DataOf(record.WriteData()), record.State});
  }
  return entries;
}

// Null for a file of which no record counts.
bool DecodeAll(Blobs const& blobs, Entries& entries) {
  for (std::string const& blob : blobs) {
    Decoded const decoded = Decode(blob);
    if (!decoded.failure.empty()) {
      return false;
    }
    entries.push_back({decoded.path, decoded.Bytes(), 0});
  }
  return true;
}

unsigned int WordAt(std::string const& bytes, std::size_t offset) {
  unsigned int word = 0;
  for (std::size_t i = 4; i > 0; --i) {
    word = word << 8 | static_cast<unsigned char>(bytes[offset + i - 1]);
  }
  return word;
}

// Where a whole file has the lengths of its header, its records and their paths.
std::vector<std::size_t> LengthFields(std::string const& whole) {
  std::vector<std::size_t> fields{8};
  for (std::size_t next = 12 + WordAt(whole, 8); next < whole.size();) {
    fields.push_back(next);
    fields.push_back(next + 4);
    next += 4 + WordAt(whole, next);
  }
  return fields;
}

bool IsStale(std::string const& path) {
  std::string joined = path[0] == '/' ? "/" : "";
  std::string name;
  for (std::size_t start = 0; start < path.size();) {
    std::size_t const end = std::min(path.find('/', start), path.size());
    std::string const part = path.substr(start, end - start);
    if (!part.empty() && part != ".") {
      joined += (joined.empty() || joined == "/" ? "" : "/") + part;
      name = part;
    }
    start = end + 1;
  }
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  struct stat what {};
  return ::stat(joined.c_str(), &what) != 0 || name == "cur_pers" ||
         name.find(".lck") != std::string::npos;
}

void Merge(Entries& memory, Entries file) {
  for (auto next = memory.end(); next != memory.begin();) {
    auto const own = std::prev(next);
    auto const found = std::find_if(file.rbegin(), file.rend(),
                                    [&](Entry const& other) { return other.path == own->path; });
    bool isKept = own->state == ContainerInfo::StateAdded;
    if (found != file.rend()) {
      isKept = own->state != ContainerInfo::StateRemoved;
      *own = own->state == ContainerInfo::StateSynced ? *found : *own;
      file.erase(std::prev(found.base()));
    } else {
      own->state = ContainerInfo::StateSynced;
    }
    next = isKept ? own : memory.erase(own);
  }
  memory.splice(memory.end(), file);
}

class DamagedFile : public CatalogueFixture {
 protected:
  // A header, a record with everything, one whose container is gone, and a plain one.
  std::string Reference(unsigned int mark) const {
    return RecordFile(7, mark, "head",
                      {ContainerBytes(m_first, "first", "2", 0x01020304, {{"sub", 5, 6}}),
                       ContainerBytes(m_gone), ContainerBytes(m_second, "", "x", 9)});
  }

  // Hands out every variant of the file, until one makes the test fail.
  void ForEachDamage(std::vector<unsigned int> const& marks,
                     std::function<void(std::string const&)> const& use) const {
    auto const check = [&](std::string const& bytes) {
      if (!HasFatalFailure()) {
        use(bytes);
      }
    };
    for (unsigned int const mark : marks) {
      std::string const whole = Reference(mark);
      check(whole);
      for (std::size_t const field : LengthFields(whole)) {
        unsigned int const length = WordAt(whole, field);
        for (unsigned int const value :
             {0U, length - 1, length + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
          check(std::string(whole).replace(field, 4, Word(value)));
        }
      }
      for (std::size_t size = 0; size < whole.size(); ++size) {
        check(whole.substr(0, size));
        for (int bit = 0; bit < 8; ++bit) {
          std::string spoilt = whole;
          spoilt[size] = static_cast<char>(spoilt[size] ^ (1 << bit));
          check(spoilt);
        }
      }
    }
  }

  // Runs `use`, which must give back all that it takes, and must not take more than the file has
  // bytes, apart from what the reading of any file takes.
  void Use(ContainerInfoList& list, std::function<void()> const& use) const {
    int const descriptors = CountDescriptors();
    long locked = 0;
    std::size_t largest = 0;
    {
      Allocations const allocations;
      Seams seams;
      seams.After = [&](Seams::Call const& call) {
        if (call.object == &list.GetSyncList()->Lock) {
          locked += call.name.find("Unlock") == std::string::npos ? 1 : -1;
        }
      };
      use();
      largest = allocations.Largest();
    }
    ASSERT_EQ(0, locked);
    ASSERT_EQ(descriptors, CountDescriptors());
    ASSERT_EQ(Lock::None, FileLockOf(m_file));
    ASSERT_LE(largest, 65536U + 1024U);
  }

  std::string const m_first = Container("first");
  std::string const m_second = Container("second");
  std::string const m_gone = Missing("gone");
};

TEST_F(DamagedFile, LoadsWhatItHoldsOrNothing) {
  ForEachDamage({0, 1}, [&](std::string const& bytes) {
    DecodedFile const file = DecodeFile(bytes);
    Entries all;
    bool const isGood = !file.isDamaged && DecodeAll(file.records, all);
    Entries kept;
    Blobs keptBlobs;
    auto blob = file.records.begin();
    for (Entry const& entry : isGood ? all : Entries()) {
      if (file.mark != 0 || !IsStale(entry.path)) {
        kept.push_back(entry);
        keptBlobs.push_back(*blob);
      }
      ++blob;
    }
    Write(bytes);
    ContainerInfoList list;
    RecordsOf(list).push_back(Record("/old", ContainerInfo::StateAdded));
    ASSERT_NO_FATAL_FAILURE(Use(list, [&] { list.Load(File()); })) << ToHex(bytes);
    ASSERT_EQ(kept, EntriesOf(list)) << ToHex(bytes);
    if (isGood && kept.size() < all.size()) {
      ASSERT_EQ(RecordFile(0, 1, "", keptBlobs), FileBytes()) << ToHex(bytes);
    } else {
      ExpectUntouched();
    }
  });
}

TEST_F(DamagedFile, IsSavedOverWithWhatItHolds) {
  std::string const added = Container("added");
  ContainerInfoList list((m_folder / "not there yet").c_str());
  {
    ContainerInfoList const named(File());
    list = named;
  }
  ForEachDamage({0}, [&](std::string const& bytes) {
    RecordsOf(list).clear();
    RecordsOf(list).push_back(Record(m_first, ContainerInfo::StateSynced, 11));
    RecordsOf(list).push_back(Record(added, ContainerInfo::StateAdded, 12));
    RecordsOf(list).push_back(Record(m_second, ContainerInfo::StateRemoved, 13));
    Entries expected = EntriesOf(list);
    DecodedFile const file = DecodeFile(bytes);
    Entries inFile;
    bool const isSaved = file.isDamaged || DecodeAll(file.records, inFile);
    if (isSaved) {
      Merge(expected, file.isDamaged ? Entries() : inFile);
    }
    Write(bytes);
    int const descriptors = CountDescriptors();
    list.Save(true);
    ASSERT_EQ(descriptors, CountDescriptors());
    ASSERT_EQ(Lock::None, FileLockOf(m_file));
    ASSERT_EQ(expected, EntriesOf(list)) << ToHex(bytes);
    Blobs blobs;
    for (Entry const& entry : expected) {
      blobs.push_back(entry.bytes);
    }
    if (isSaved) {
      ASSERT_EQ(ToHex(RecordFile(file.reserved, 1, file.header, blobs)), ToHex(FileBytes()))
          << ToHex(bytes);
    } else {
      ExpectUntouched();
    }
  });
  EXPECT_TRUE(IsLockFree(list));
}

}  // namespace
