// Failures of single system calls that the base services meet alone, each with what comes of it.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/CTOOFile.h"
#include "foundation/CTOOString.h"
#include "foundation/IPC.h"
#include "foundation/XTOOStatus.h"
#include "tests/hard/calls/FailingCalls.h"
#include "tests/support/Files.h"
#include "tests/support/LockProbe.h"
#include "tests/support/NextSymbol.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TempFolder.h"

// A sanitizer registers a handler of its own before anything here is ready.
#define OWN_ATFORK (!QUENDRIL_ADDRESS_SANITIZER && !QUENDRIL_THREAD_SANITIZER)

namespace {

bool hasNoUnicode = false;

#if OWN_ATFORK
bool isAtForkToFail = false;
#endif

}  // namespace

extern "C" {

locale_t newlocale(int mask, char const* name, locale_t base) noexcept {
  static auto* const real = NextSymbol<locale_t(int, char const*, locale_t)>("newlocale");
  if (hasNoUnicode && std::string(name) == "C.UTF-8") {
    errno = ENOENT;
    return nullptr;
  }
  return real(mask, name, base);
}

#if OWN_ATFORK
// What pthread_atfork, which is part of each library, calls.
int __register_atfork(void (*prepare)(), void (*parent)(), void (*child)(),
                      void* library) noexcept {
  using Register = int(void (*)(), void (*)(), void (*)(), void*);
  static auto* const real = NextSymbol<Register>("__register_atfork");
  return isAtForkToFail ? ENOMEM : real(prepare, parent, child, library);
}
#endif

}  // extern "C"

namespace {

using Calls = std::vector<std::string>;
using FileLock = IPC::CReadWriteLock_file;
using Mode = FailingCalls::Mode;

class FailingBaseServices : public testing::Test {
 protected:
  TempFolder m_folder;
  std::string const m_path = m_folder / "file";
};

// Copies; an error that was met is the result, and the target is whole or as it was.

class FailingCopy : public FailingBaseServices {
 protected:
  FailingCopy() { WriteFile(m_path, "content"); }

  // Returns the status's code.
  int Copy(bool overwrite) {
    XTOOFile const status(false);
    bool const isDone =
        CTOOFile::CopyFile(m_path.c_str(), m_target.c_str(), overwrite, status, false);
    EXPECT_EQ(isDone, status.Status() == 0);
    return status.Status();
  }
  // Fails each call in turn. `fatal` holds, for each of `calls`, whether the copy fails with it.
  void ExpectFailures(bool overwrite, Calls const& calls, std::vector<bool> const& fatal) {
    for (std::size_t number = 0; number < calls.size(); ++number) {
      SCOPED_TRACE(std::to_string(number) + ": " + calls[number]);
      std::string const before = overwrite ? "before" : "";
      if (overwrite) {
        WriteFile(m_target, before);
      }
      int code = 0;
      {
        FailingCalls const failing(static_cast<long>(number), EIO, Mode::Once);
        code = Copy(overwrite);
        EXPECT_TRUE(failing.HasFailed());
        EXPECT_TRUE(fatal[number] || failing.Calls() == calls);
      }
      EXPECT_EQ(fatal[number] ? EIO : 0, code);
      EXPECT_EQ(!fatal[number] || overwrite, IsThere(m_target));
      if (IsThere(m_target)) {
        EXPECT_EQ(fatal[number] ? before : "content", ReadFile(m_target));
        ASSERT_EQ(0, std::remove(m_target.c_str()));
      }
      // What could not be removed stays.
      EXPECT_EQ(calls[number] == "unlink" ? 2U : 1U, m_folder.Names().size());
      for (std::string const& name : m_folder.Names()) {
        ASSERT_TRUE(name == "file" || std::remove((m_folder / name).c_str()) == 0);
      }
    }
  }

  std::string const m_target = m_folder / "target";
};

TEST_F(FailingCopy, OverATargetFailsWithWhatItMeets) {
  ExpectFailures(true,
                 {"open", "fstat", "open", "pread", "pread", "pwrite", "pread", "stat", "futimens",
                  "close", "rename", "close"},
                 {true, true, true, true, true, true, true, false, false, true, true, false});
}

TEST_F(FailingCopy, ToANewTargetFailsWithWhatItMeets) {
  ExpectFailures(
      false,
      {"open", "fstat", "open", "pread", "pread", "pwrite", "pread", "stat", "futimens", "close",
       "link", "unlink", "close"},
      {true, true, true, true, true, true, true, false, false, true, true, false, false});
}

TEST_F(FailingCopy, TakesAnotherNameWhereOneIsTaken) {
  {
    FailingCalls const failing(2, EEXIST, Mode::Once);
    EXPECT_EQ(0, Copy(true));
    EXPECT_EQ("open", failing.Calls()[3]);
  }
  EXPECT_EQ("content", ReadFile(m_target));
}

TEST_F(FailingCopy, WriteThatMovesNothingIsAnInputOutputError) {
  {
    FailingCalls const failing(5, FailingCalls::kNothingMoved, Mode::Once);
    EXPECT_EQ(EIO, Copy(true));
    EXPECT_EQ("pwrite", failing.Calls().at(5));
  }
  EXPECT_EQ(1U, m_folder.Names().size());
}

// Files.

TEST_F(FailingBaseServices, WriteOutThatMovesNothingIsAnInputOutputError) {
  WriteFile(m_path, "content");
  CTOOFile file(m_path.c_str(), "r+bc", false);
  EXPECT_EQ(3U, file.Write("CON", 3));
  {
    FailingCalls const failing(0, FailingCalls::kNothingMoved, Mode::Once);
    file.Close();
    EXPECT_EQ("pwrite", failing.Calls().at(0));
  }
  EXPECT_EQ(EIO, file.Status());
  EXPECT_EQ("content", ReadFile(m_path));
}

// Only a file can have a lease that is worth waiting for.
TEST_F(FailingBaseServices, OpenThatWouldWaitIsTriedAgainForFilesOnly) {
  WriteFile(m_path, "content");
  std::string const missing = m_folder / "missing";
  struct Case {
    std::string path;
    int code;
    std::size_t opens;
  };
  for (auto const& [path, code, opens] :
       {Case{m_path, 0, 2}, {missing, ENOENT, 1}, {m_folder.Path(), EWOULDBLOCK, 1}}) {
    FailingCalls const failing(0, EWOULDBLOCK, Mode::Once);
    CTOOFile const file(path.c_str(), "rbc", false);
    EXPECT_EQ(code, file.Status()) << path;
    Calls const calls = failing.Calls();
    EXPECT_EQ(opens, static_cast<std::size_t>(std::count(calls.begin(), calls.end(), "open")))
        << path;
  }
}

// Locks.

// Returns the code that is thrown, 0 for none.
int CodeOfLocking(std::string const& path, int error) {
  FileLock lock(path.c_str());
  FailingCalls const failing(0, error, Mode::ForEver);
  try {
    IPC::CWriteLocker const locker(lock);
  } catch (XTOOStatus const& status) {
    return status.Status();
  }
  EXPECT_TRUE(failing.HasFailed());
  return 0;
}

TEST_F(FailingBaseServices, LockReportsWhatIsNoFaultOfThePath) {
  WriteFile(m_path, "content");
  for (int const error :
       {ENOENT, ENOTDIR, EACCES, EPERM, EROFS, EISDIR, ELOOP, ENAMETOOLONG, ENXIO, ETXTBSY}) {
    EXPECT_EQ(0, CodeOfLocking(m_path, error)) << error;
  }
  for (int const error : {EIO, EMFILE, ENFILE, ENOMEM, ENODEV}) {
    EXPECT_EQ(error, CodeOfLocking(m_path, error)) << error;
  }
  EXPECT_EQ(Lock::None, FileLockOf(m_path));
}

// Whichever step towards the file that appeared fails, the hold stays on the folder.
TEST_F(FailingBaseServices, HoldThatFailsToMoveStaysOnTheFolder) {
  Calls const steps{"stat", "open", "fstat", "fcntl lock", "stat"};
  for (std::size_t number = 1; number < steps.size(); ++number) {
    SCOPED_TRACE(steps[number]);
    FileLock lock(m_path.c_str());
    IPC::CWriteLocker const outer(lock);
    WriteFile(m_path, "content");
    {
      FailingCalls const failing(static_cast<long>(number), EIO, Mode::Once);
      IPC::CReadLocker const inner(lock);
      EXPECT_TRUE(failing.HasFailed());
      Calls const calls = failing.Calls();
      EXPECT_EQ(Calls(steps.begin(), steps.begin() + static_cast<long>(number) + 1),
                Calls(calls.begin(), calls.begin() + static_cast<long>(number) + 1));
      EXPECT_EQ(Lock::Exclusive, FolderLockOf(m_folder.Path()));
      EXPECT_EQ(Lock::None, FileLockOf(m_path));
    }  // The end of the inner one moves it.
    EXPECT_EQ(Lock::None, FolderLockOf(m_folder.Path()));
    EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
    ASSERT_EQ(0, std::remove(m_path.c_str()));
  }
}

// What is made once for a whole program, each in a program of its own.

class FailingOnceForAll : public FailingBaseServices {
 protected:
  FailingOnceForAll() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(FailingOnceForAll, ComparisonWithoutUnicodeFoldsAsciiAlone) {
  EXPECT_EXIT(
      {
        hasNoUnicode = true;
        CTOOString const text("Key \xC3\x84");
        bool const isRight = text.CollateNoCase("kEY \xC3\x84") == 0 &&
                             text.CollateNoCase("Key \xC3\xA4") != 0 &&
                             text.CollateNoCase("Key \xC3\x84 ") < 0;
        std::_Exit(isRight ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

#if OWN_ATFORK
TEST_F(FailingOnceForAll, LockWithoutAForkHandlerIsNoneAndIsTriedAgain) {
  WriteFile(m_path, "content");
  EXPECT_EXIT(
      {
        FileLock lock(m_path.c_str());
        bool hasThrown = false;
        isAtForkToFail = true;
        try {
          IPC::CWriteLocker const locker(lock);
        } catch (std::bad_alloc const&) {
          hasThrown = true;
        }
        isAtForkToFail = false;
        IPC::CWriteLocker const locker(lock);
        std::_Exit(hasThrown && FileLockOf(m_path) == Lock::Exclusive ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
