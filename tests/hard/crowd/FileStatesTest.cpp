// The explaining of files is tested itself: it must not explain everything.

#include "tests/hard/crowd/FileStates.h"

#include <list>
#include <string>

#include <gtest/gtest.h>

#include "tests/hard/kills/LinkedRecord.h"
#include "tests/support/Bytes.h"

namespace {

class FileStatesTest : public testing::Test {
 protected:
  FileStatesTest() {
    for (int number = 0; number < 20; ++number) {
      m_records.push_back(LinkedBytes("/folder/linked-" + std::to_string(number), 1));
    }
  }
  std::string File() const { return RecordFile(0, 1, "", m_records); }

  std::list<std::string> m_records;
};

TEST_F(FileStatesTest, ExplainsWhatSavesLeave) {
  FileStates const states(m_records);
  std::string const file = File();
  std::string const last = Item(m_records.back());
  EXPECT_EQ("empty", states.Explain(""));
  EXPECT_EQ("whole", states.Explain(file));
  EXPECT_EQ("whole", states.Explain(RecordFile(0, 1, "", {})));
  EXPECT_EQ("records twice", states.Explain(file + last));
  EXPECT_EQ("cut", states.Explain(file.substr(0, 5)));
  EXPECT_EQ("cut", states.Explain(file.substr(0, file.size() - 1)));
  EXPECT_EQ("pieces", states.Explain(file + last.substr(7)));
  EXPECT_EQ("pieces", states.Explain(file + last.substr(7) + last));
  EXPECT_EQ("pieces, zeros", states.Explain(std::string(500, '\0') + last));
}

TEST_F(FileStatesTest, ExplainsNothingElse) {
  FileStates const states(m_records);
  std::string const file = File();
  EXPECT_EQ("unexplained", states.Explain(file + Pattern(200, 99)));
  EXPECT_EQ("unexplained", states.Explain(Pattern(200, 99) + file));
  for (std::size_t at = 0; at + 100 < file.size(); at += 61) {
    std::string other = file;
    other.replace(at, 100, Pattern(100, 77));
    EXPECT_EQ("unexplained", states.Explain(other)) << at;
  }
}

}  // namespace
