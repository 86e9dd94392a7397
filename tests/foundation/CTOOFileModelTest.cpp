// CTOOFile against a plain string: whatever is read ahead and gathered, it must behave as a file
// without any of that.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "foundation/CTOOFile.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace {

constexpr unsigned int kWindow = 65536;
constexpr unsigned int kGathered = 1048576;

std::string Read(CTOOFile const& file, unsigned int count) {
  std::string bytes(count, '?');
  bytes.resize(file.Read(bytes.data(), count));
  return bytes;
}

unsigned int Write(CTOOFile& file, std::string const& bytes) {
  return file.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
}

// A file as plain as can be.
class Model {
 public:
  std::string Read(std::size_t count) {
    std::string read =
        m_position < m_bytes.size() ? m_bytes.substr(m_position, count) : std::string();
    m_position += read.size();
    return read;
  }
  void Write(std::string const& bytes) {
    if (bytes.empty()) {
      return;
    }
    m_bytes.resize(std::max(m_bytes.size(), m_position + bytes.size()));
    m_bytes.replace(m_position, bytes.size(), bytes);
    m_position += bytes.size();
  }
  void Seek(std::size_t position) { m_position = position; }
  void Truncate() { m_bytes.resize(m_position); }

  std::string const& Bytes() const { return m_bytes; }
  std::size_t Position() const { return m_position; }

 private:
  std::string m_bytes;
  std::size_t m_position = 0;
};

// Drives a handle and the model by the same pseudo-random steps.
class Walk {
 public:
  Walk(std::string const& path, unsigned int seed) : m_path(path), m_random(seed) {}

  void Run(int steps) {
    Reopen();
    for (int step = 0; step < steps && !testing::Test::HasFatalFailure(); ++step) {
      SCOPED_TRACE(step);
      Step();
      ASSERT_EQ(m_model.Position(), m_file->CurPos());
      ASSERT_EQ(m_model.Bytes().size(), m_file->Length());
      ASSERT_EQ(0, m_file->Status());
    }
    Reopen();
  }

 private:
  static constexpr std::size_t kFarthest = 3 * kGathered / 2;

  unsigned int Random(unsigned int below) { return static_cast<unsigned int>(m_random() % below); }

  // Mostly small, sometimes beside a length at which the buffers change what they do.
  unsigned int PickSize() {
    switch (Random(32)) {
      case 0:
        return kGathered - 2 + Random(5);
      case 1:
      case 2:
      case 3:
        return kWindow - 2 + Random(5);
      case 4:
      case 5:
        return Random(3 * kWindow);
      case 6:
      case 7:
        return Random(6000);
      default:
        return Random(120);
    }
  }
  std::size_t PickPosition() {
    std::size_t const near = Random(200);
    switch (Random(8)) {
      case 0:
        return near;
      case 1:
        return kWindow * static_cast<std::size_t>(1 + Random(20)) - 100 + near;
      case 2:
        return kGathered - 100 + near;
      case 3:
        return Random(kFarthest);
      case 4:
        return m_model.Bytes().size() + near - std::min(near, m_model.Bytes().size()) / 2;
      default:
        return m_model.Position() + near - std::min<std::size_t>(100, m_model.Position());
    }
  }

  void Step() {
    switch (Random(12)) {
      case 0:
      case 1:
      case 2:
        SeekSomewhere();
        break;
      case 3:
        if (Random(4) == 0) {
          m_file->Truncate();
          m_model.Truncate();
        }
        break;
      case 4:
        if (Random(12) == 0) {
          Reopen();
        }
        break;
      case 5:
      case 6:
      case 7:
        ReadSome(PickSize());
        break;
      default:
        WriteSome(PickSize());
        break;
    }
  }
  void SeekSomewhere() {
    std::size_t const target = std::min(PickPosition(), kFarthest);
    long const bases[] = {0, static_cast<long>(m_model.Position()),
                          static_cast<long>(m_model.Bytes().size())};
    int const origin = static_cast<int>(Random(3));
    ASSERT_EQ(0U, m_file->Seek(static_cast<long>(target) - bases[origin], origin));
    m_model.Seek(target);
  }
  void ReadSome(unsigned int count) {
    ASSERT_TRUE(m_model.Read(count) == Read(*m_file, count)) << "read of " << count;
  }
  void WriteSome(unsigned int count) {
    std::string const bytes = m_source.substr(Random(1000), count);
    ASSERT_EQ(count, Write(*m_file, bytes));
    m_model.Write(bytes);
  }
  void Reopen() {
    if (m_file) {
      m_file->Close();
      ASSERT_EQ(0, m_file->Status());
      ExpectContent();
    }
    m_file = std::make_unique<CTOOFile>(m_path.c_str(), nullptr, false);
    m_model.Seek(0);
  }
  void ExpectContent() const {
    std::string content(m_model.Bytes().size() + 1, '?');
    std::ifstream file(m_path, std::ios::binary);
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(file.gcount()));
    ASSERT_TRUE(m_model.Bytes() == content);
  }

  std::string const m_path;
  std::string const m_source = Pattern(kGathered + 2000, 1);
  std::mt19937 m_random;
  Model m_model;
  std::unique_ptr<CTOOFile> m_file;
};

TEST(CTOOFileModel, CannotBeToldFromAPlainFile) {
  TempFolder const folder;
  std::string const path = folder / "file";
  for (unsigned int seed = 1; seed <= 5 && !HasFatalFailure(); ++seed) {
    SCOPED_TRACE(seed);
    std::filesystem::remove(path);
    Walk(path, seed).Run(2000);
  }
}

// The same in a file so small that every border is met often.
TEST(CTOOFileModel, CannotBeToldFromAPlainSmallFile) {
  TempFolder const folder;
  std::string const path = folder / "file";
  std::mt19937 random(20260103);
  Model model;
  auto const file = std::make_unique<CTOOFile>(path.c_str(), nullptr, false);
  for (int step = 0; step < 60000; ++step) {
    unsigned int const number = static_cast<unsigned int>(random() % 24);
    switch (random() % 8) {
      case 0:
      case 1:
      case 2:
        file->Seek(number, 0);
        model.Seek(number);
        break;
      case 3:
      case 4:
        ASSERT_EQ(model.Read(number), Read(*file, number)) << step;
        break;
      case 5:
        if (number == 0) {
          file->Truncate();
          model.Truncate();
        }
        break;
      default: {
        std::string const bytes = Pattern(number % 6, static_cast<unsigned int>(step));
        ASSERT_EQ(bytes.size(), Write(*file, bytes));
        model.Write(bytes);
      }
    }
    ASSERT_EQ(model.Position(), file->CurPos()) << step;
    ASSERT_EQ(model.Bytes().size(), file->Length()) << step;
  }
  file->Close();
  EXPECT_EQ(model.Bytes(), ReadFile(path));
}

}  // namespace
