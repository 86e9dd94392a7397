// Every command over every kind of damage: it ends by itself, and leaves the file as it is.

#include <fcntl.h>
#include <unistd.h>

#include <functional>
#include <map>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "tests/tools/Samples.h"
#include "tools/Commands.h"

namespace {

using inspect::ExitStatus;
using inspect::Options;
using Command = std::function<ExitStatus(Options const&)>;

// What is printed goes nowhere while it lives.
class Silence {
 public:
  Silence() : m_out(Redirect(STDOUT_FILENO)), m_error(Redirect(STDERR_FILENO)) {}
  Silence(Silence const&) = delete;
  Silence& operator=(Silence const&) = delete;
  ~Silence() {
    Restore(m_out, STDOUT_FILENO);
    Restore(m_error, STDERR_FILENO);
  }

 private:
  static int Redirect(int number) {
    static_cast<void>(std::fflush(stdout));
    int const kept = ::dup(number);
    int const nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(nowhere, number);
    ::close(nowhere);
    return kept;
  }
  static void Restore(int kept, int number) {
    static_cast<void>(std::fflush(stdout));
    ::dup2(kept, number);
    ::close(kept);
  }

  int const m_out;
  int const m_error;
};

class EveryCommandTest : public testing::Test {
 protected:
  EveryCommandTest() { WriteFile(m_folder / "other", SampleCatalogue()); }

  // It has nothing to do for a file without records. A new file takes its time, so the runs of the
  // command are fewer; SalvageTest has the rest.
  static ExitStatus Salvage(Options const& options, std::string const& output) {
    try {
      return SalvageFile(options, {output, false});
    } catch (inspect::Failure const&) {
      return ExitStatus::Damaged;
    }
  }

  static Options WithoutJson(Options options) {
    options.isJson = false;
    return options;
  }

  std::map<std::string, Command> Commands() const {
    return {
        {"list", inspect::ListRecords},
        {"show", [](Options const& o) { return ShowRecords(o, "/keys/second"); }},
        {"dump", [](Options const& o) { return DumpFields(o, std::nullopt); }},
        {"check", [](Options const& o) { return CheckFile(o, {}); }},
        {"stat", inspect::ShowStatistics},
        {"diff", [this](Options const& o) { return ShowDifferences(o, m_folder / "other"); }},
        {"export", [](Options const& o) { return ExportFile(o, {}); }},
        {"salvage", [this](Options const& o) { return Salvage(o, m_folder / "out"); }},
        {"map", [](Options const& o) { return DrawMap(WithoutJson(o), {}); }},
    };
  }

  // A third of the commands, in turn: a file is spoilt in each of its bytes many times.
  void RunSome(std::string const& content) {
    Silence const silence;
    std::string const path = m_folder / "file";
    WriteFile(path, content);
    unsigned int number = ++m_runs;
    for (auto const& [name, run] : Commands()) {
      if (++number % 3 != 0 || (name == "salvage" && m_runs % 16 != 0)) {
        continue;
      }
      Options options;
      options.file = path;
      options.isJson = m_isJson;
      options.isLocked = false;
      ExitStatus const status = run(options);
      EXPECT_TRUE(status == ExitStatus::Success || status == ExitStatus::Different ||
                  status == ExitStatus::Damaged)
          << name << ", " << ToHex(content);
      m_isJson = !m_isJson;
      ::unlink((m_folder / "out").c_str());
    }
    EXPECT_EQ(content, ReadFile(path));
  }

  TempFolder const m_folder;
  unsigned int m_runs = 0;
  bool m_isJson = false;  // Each command in turn prints text and JSON.
};

TEST_F(EveryCommandTest, EndsByItselfOverEveryCutLength) {
  for (std::string const& file : WholeFiles()) {
    for (std::size_t size = 0; size <= file.size(); ++size) {
      RunSome(file.substr(0, size));
    }
  }
}

TEST_F(EveryCommandTest, EndsByItselfOverEveryWrongBit) {
  std::string const file = SampleCatalogue();
  for (std::size_t bit = 0; bit < 8 * file.size(); ++bit) {
    std::string wrong = file;
    wrong[bit / 8] = static_cast<char>(wrong[bit / 8] ^ (1 << bit % 8));
    RunSome(wrong);
  }
}

TEST_F(EveryCommandTest, EndsByItselfOverEveryWrongWord) {
  std::string const file = SampleCatalogue();
  for (std::size_t offset = 0; offset + 4 <= file.size(); ++offset) {
    for (unsigned int const value : {1U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
      std::string wrong = file;
      wrong.replace(offset, 4, Word(value));
      RunSome(wrong);
    }
  }
}

}  // namespace
