// Every system call of a commit fails in turn: the file is the old one or the new one, a failure is
// told, and the same edit can be tried again.

#include <cerrno>
#include <cstdio>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "catalogue/ContainerInfoEdit.h"
#include "foundation/XTOOStatus.h"
#include "tests/common/SystemCalls.h"
#include "tests/hard/calls/FailingCalls.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/LockProbe.h"

namespace {

using Mode = FailingCalls::Mode;

struct Case {
  char const* name;
  int error;
  Mode mode;
};

class FailingEdit : public testing::TestWithParam<Case> {
 protected:
  // Tries the edit with the failure and, if that did not do it, without. False when the edit has
  // fewer system calls.
  bool TryTwice(World& world, long number) {
    ContainerInfoEdit edit(world.List);
    edit.Add(world.Other.c_str());
    edit.Erase(world.Key.c_str());
    bool hasFailed = false;
    std::string name;
    try {
      FailingCalls const failing(number, GetParam().error, GetParam().mode);
      auto const note = [&] {
        hasFailed = failing.HasFailed();
        name = hasFailed ? failing.Calls()[static_cast<std::size_t>(number)] : "";
      };
      try {
        edit.Commit();
      } catch (XTOOStatus const&) {
        note();
        throw;
      }
      note();
      // A container that cannot be asked about counts as gone, as for every save.
      m_seesContainer = name != "faccessat" || GetParam().error == FailingCalls::kShortTransfer;
    } catch (XTOOStatus const& status) {
      ++m_told;
      EXPECT_TRUE(hasFailed);
      EXPECT_NE(0, status.Status());
      EXPECT_EQ(m_old, ReadFile(world.File));
      EXPECT_EQ((std::list<std::string>{world.Key, world.Other}), PathsIn(world.List));
      edit.Commit();
      m_seesContainer = true;
    }
    return hasFailed;
  }

  int m_told = 0;
  bool m_seesContainer = true;
  std::string m_old;
};

TEST_P(FailingEdit, LeavesTheOldFileOrTheNewOneAndCanBeTriedAgain) {
  static_cast<void>(World());  // What is made once for the whole program is made now.
  long number = 0;
  for (bool isReached = true; isReached && !HasFailure(); ++number) {
    SCOPED_TRACE("call " + std::to_string(number));
    World world;
    m_old = ReadFile(world.File);
    int const descriptors = CountDescriptors();
    isReached = TryTwice(world, number);
    std::list<std::string> const left(m_seesContainer ? 1 : 0, world.Other);
    EXPECT_EQ(CatalogueFile(1, left), ReadFile(world.File));
    EXPECT_EQ(left, PathsIn(world.List));
    EXPECT_EQ(Lock::None, FileLockOf(world.File));
    EXPECT_EQ(descriptors, CountDescriptors());
  }
  EXPECT_GT(number, 10);
  if (GetParam().error != FailingCalls::kShortTransfer) {
    EXPECT_GT(m_told, 5);
  }
  std::printf("FIGURE failed system calls of a commit: %ld, told %d times\n", number - 1, m_told);
}

INSTANTIATE_TEST_SUITE_P(
    OnceAndForEver, FailingEdit,
    testing::Values(Case{"EIO_once", EIO, Mode::Once}, Case{"EIO_for_ever", EIO, Mode::ForEver},
                    Case{"ENOSPC_once", ENOSPC, Mode::Once},
                    Case{"ENOSPC_for_ever", ENOSPC, Mode::ForEver},
                    Case{"EACCES_once", EACCES, Mode::Once},
                    Case{"EMFILE_for_ever", EMFILE, Mode::ForEver},
                    Case{"short_for_ever", FailingCalls::kShortTransfer, Mode::ForEver}),
    [](auto const& failure) { return std::string(failure.param.name); });

}  // namespace
