// Every system call that an operation makes fails in turn, once and for ever, with each errno that
// such calls give. Whatever comes out is stated, and nothing stays open, locked or unusable.

#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/XTOOStatus.h"
#include "recordstore/CQuasiStructFile.h"
#include "tests/common/SystemCalls.h"
#include "tests/hard/calls/FailingCalls.h"
#include "tests/support/Bytes.h"
#include "tests/support/Containers.h"
#include "tests/support/Files.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Peer.h"
#include "tests/support/Sanitizers.h"

namespace {

using Mode = FailingCalls::Mode;

struct Failure {
  char const* name;
  int error;
  Mode mode;
};

// EINTR for ever would be waited out for ever. Under the sanitizers, which are there for other
// faults and slow, one errno stands for all.
std::vector<Failure> Failures() {
  std::vector<Failure> failures{{"EINTR once", EINTR, Mode::Once},
                                {"short once", FailingCalls::kShortTransfer, Mode::Once},
                                {"short for ever", FailingCalls::kShortTransfer, Mode::ForEver}};
  std::vector<std::pair<char const*, int>> errors{{"EIO", EIO}};
  if (!kIsSanitized) {
    errors.insert(errors.end(),
                  {{"ENOSPC", ENOSPC}, {"EACCES", EACCES}, {"EMFILE", EMFILE}, {"ENOLCK", ENOLCK}});
  }
  for (auto const& [name, error] : errors) {
    failures.push_back({name, error, Mode::Once});
    failures.push_back({name, error, Mode::ForEver});
  }
  return failures;
}

// Makes the call with that failure; false when it has fewer system calls.
bool MakeWith(Failure const& failure, long number, SystemCall const& call, World& world) {
  FailingCalls const failing(number, failure.error, failure.mode);
  try {
    call.run(world);
  } catch (XTOOStatus const& status) {
    EXPECT_NE(0, status.Status());
  }
  return failing.HasFailed();
}

void ExpectNothingLocked(World& world) {
  for (std::string const& file : {world.File, world.RecordFile, world.Folder.CommonFile()}) {
    EXPECT_TRUE(!IsThere(file) || FileLockOf(file) == Lock::None) << file;
  }
  EXPECT_EQ(Lock::None, FolderLockOf(world.Folder.Path()));
}

// The same objects go on working once the failures are over.
void ExpectUsable(World& world) {
  world.Store.Clear();
  if (CTOOFile::IsExists(world.RecordFile.c_str())) {
    WriteFile(world.RecordFile, RecordFile({"one"}));
  }
  EXPECT_EQ(0U, world.Store.Reload(world.RecordFile.c_str(), true, false));
  EXPECT_EQ(0U, world.Store.Add(Blob("added")));
  IdentObj record;
  EXPECT_EQ(0U, world.Store.Get(0, record));
  world.List.Load(world.File.c_str());
  world.List.Add(world.Other.c_str());
  EXPECT_NE(nullptr, world.List.FindRecord(world.Other.c_str(), true));
  ContainerInfoList const again(world.File.c_str());
  EXPECT_NE(nullptr, const_cast<ContainerInfoList&>(again).FindRecord(world.Other.c_str(), true));
}

// Returns how many system calls were made to fail.
long FailEach(Failure const& failure, SystemCall const& call) {
  long number = 0;
  for (bool isReached = true; isReached; ++number) {
    SCOPED_TRACE(std::string(call.name) + ", " + failure.name +
                 (failure.mode == Mode::Once ? ", call " : " for ever from call ") +
                 std::to_string(number));
    int const before = CountDescriptors();
    {
      auto const world = WorldFor(call);
      int const descriptors = CountDescriptors();
      isReached = MakeWith(failure, number, call, *world);
      EXPECT_EQ(descriptors, CountDescriptors());
      ExpectNothingLocked(*world);
      ExpectUsable(*world);
    }
    EXPECT_EQ(before, CountDescriptors());
    if (testing::Test::HasFailure()) {
      return number;  // One report is enough.
    }
  }
  return number - 1;
}

class FailingSystemCalls : public testing::TestWithParam<std::size_t> {};

TEST_P(FailingSystemCalls, LeaveNothingOpenOrLockedOrUnusable) {
  SystemCall const& call = SystemCalls()[GetParam()];
  static_cast<void>(WorldFor(call));  // What is made once for the whole program is made now.
  long failed = 0;
  for (Failure const& failure : Failures()) {
    failed += FailEach(failure, call);
  }
  std::printf("FIGURE failed system calls in %s: %ld\n", call.name.c_str(), failed);
}

INSTANTIATE_TEST_SUITE_P(EveryOperation, FailingSystemCalls,
                         testing::Range(std::size_t{0}, SystemCalls().size()),
                         [](auto const& operation) {
                           std::string name;
                           for (char const c : SystemCalls()[operation.param].name) {
                             name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
                           }
                           return name;
                         });

// The seam itself: without it all of the above would pass on anything.
TEST(FailingCalls, FailTheCallThatIsMeant) {
  TempFolder const folder;
  std::string const path = folder / "file";
  WriteFile(path, "content");
  std::vector<std::string> calls;
  {
    FailingCalls const none(1000, EIO, Mode::Once);
    CTOOFile const file(path.c_str(), "rbc", false);
    char byte = 0;
    EXPECT_EQ(1U, file.Read(&byte, 1));
    file.Close();
    calls = none.Calls();
    EXPECT_FALSE(none.HasFailed());
  }
  EXPECT_EQ((std::vector<std::string>{"open", "fstat", "pread", "pread", "close"}), calls);
  for (long number = 0; number < static_cast<long>(calls.size()); ++number) {
    FailingCalls const failing(number, ENOLCK, Mode::Once);
    CTOOFile const file(path.c_str(), "rbc", false);
    if (file.Status() == 0) {
      char byte = 0;
      file.Read(&byte, 1);
      file.Close();
    }
    EXPECT_TRUE(failing.HasFailed());
    EXPECT_EQ(ENOLCK, file.Status()) << calls[static_cast<std::size_t>(number)];
  }
}

// Otherwise it would count as older than the scan, and what the store remembers as true.
TEST(FailingCalls, FileThatIsThereWithoutATimeThrows) {
  TempFolder const folder;
  std::string const path = folder / "records";
  WriteFile(path, RecordFile({"one"}));
  CQuasiStructFile store(path.c_str(), false, false);
  FailingCalls const failing(1, EIO, Mode::Once);
  EXPECT_THROW(store.stor_GetLastWriteTime(path.c_str()), XTOOFile);
  EXPECT_EQ((std::vector<std::string>{"faccessat", "stat"}), failing.Calls());
}

}  // namespace
