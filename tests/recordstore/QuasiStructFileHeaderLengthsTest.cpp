// PutHeader over a file with records, from every length to every other.

#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/recordstore/StoreHarness.h"
#include "tests/support/TempFolder.h"

namespace {

// Such data that a length prefix of which any bytes were overwritten with it says far too much.
std::string Loud(unsigned int size, unsigned int seed) {
  return Pattern(size - 4, seed) + std::string(4, '\xFF');
}

// The records as they must be after their header was replaced by one of another length. Kept on
// purpose: reading ahead does not count the 4 bytes of the prefix of what is written next, so a
// record that begins in the last 4 bytes of that place is overwritten there before it is read, and
// comes back empty.
std::vector<std::string> MovedRecords(std::vector<std::string> records, std::size_t oldLength,
                                      std::size_t newLength) {
  std::vector<std::size_t> places;
  std::size_t place = 12 + oldLength;
  for (std::string const& record : records) {
    places.push_back(place);
    place += 4 + record.size();
  }
  std::size_t unread = 1;
  while (unread < records.size() && places[unread] < 12 + newLength) {
    ++unread;
  }
  place = 12 + newLength;
  for (std::string const& record : records) {
    for (bool first = true;
         unread < records.size() && (first || places[unread] < place + record.size());
         first = false) {
      ++unread;
    }
    place += 4 + record.size();
    if (unread < records.size() && places[unread] < place) {
      records[unread].clear();
    }
  }
  return records;
}

class EveryHeaderLength : public testing::Test {
 protected:
  // Puts every header over every other one and compares the file. Returns how often a record was
  // lost.
  int PutEachOverEach(std::vector<unsigned int> const& sizes) {
    std::vector<std::string> records;
    for (unsigned int const size : sizes) {
      records.push_back(Loud(size, size));
    }
    int lost = 0;
    for (unsigned int before = 0; before <= kLongest; ++before) {
      for (unsigned int after = 0; after <= kLongest; ++after) {
        std::vector<std::string> const moved =
            before == after ? records : MovedRecords(records, before, after);
        PutOver(FileOf(before, 1, records), FileOf(after, 2, moved), after);
        lost += moved == records ? 0 : 1;
        if (HasFailure()) {
          ADD_FAILURE() << before << " to " << after;
          return lost;
        }
      }
    }
    return lost;
  }

 private:
  static constexpr unsigned int kLongest = 60;

  static std::string FileOf(unsigned int length, unsigned int seed,
                            std::vector<std::string> const& records) {
    return RecordFile(3, 4, Pattern(length, seed),
                      std::list<std::string>(records.begin(), records.end()));
  }

  void PutOver(std::string const& before, std::string const& after, unsigned int length) {
    MakeOldFile(m_path, before);
    ExposedFile store(m_path.c_str(), false, false);
    EXPECT_EQ(0U, store.PutHeader(Blob(after.substr(12, length))));
    EXPECT_EQ(ToHex(after), ToHex(ReadFile(m_path)));
    EXPECT_EQ(length, store.Words.HeaderLength);
    std::list<unsigned int> const offsets = store.m_offsets;
    EXPECT_EQ(0U, store.Init());
    EXPECT_EQ(store.m_offsets, offsets);
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
};

TEST_F(EveryHeaderLength, GivesWayBeforeOneRecord) { EXPECT_EQ(0, PutEachOverEach({6})); }

TEST_F(EveryHeaderLength, GivesWayBeforeRecordsOfOneSize) {
  EXPECT_EQ(0, PutEachOverEach({6, 6, 6, 6, 6, 6, 6}));
}

TEST_F(EveryHeaderLength, GivesWayBeforeRecordsThatGetLonger) {
  EXPECT_EQ(0, PutEachOverEach({6, 9, 14, 22, 35}));
}

TEST_F(EveryHeaderLength, GivesWayBeforeMixedRecordsOfWhichItMayCostOne) {
  EXPECT_LT(0, PutEachOverEach({34, 6, 9, 6, 17, 8, 6}));
}

}  // namespace
