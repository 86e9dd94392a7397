// Files on which another process has a lease, as file servers take them: it gives the lease back
// when somebody opens the file, and that takes a moment.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "foundation/CTOOFile.h"
#include "foundation/IPC.h"
#include "tests/support/Files.h"
#include "tests/support/LockProbe.h"
#include "tests/support/Peer.h"
#include "tests/support/TempFolder.h"

namespace {

class Lease : public testing::Test {
 protected:
  Lease() { WriteFile(m_path, "content"); }

  // Takes a lease, says so, and gives it back a little after it was asked to.
  void HoldLease(PeerSide& side) const {
    sigset_t asked;
    ::sigemptyset(&asked);
    ::sigaddset(&asked, SIGIO);
    ::sigprocmask(SIG_BLOCK, &asked, nullptr);
    int const file = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, ::fcntl(file, F_SETLEASE, F_WRLCK));
    side.Reached();
    ASSERT_EQ(SIGIO, ::sigwaitinfo(&asked, nullptr));
    ::usleep(20000);
    ASSERT_EQ(0, ::fcntl(file, F_SETLEASE, F_UNLCK));
    side.AwaitGo();
  }

  TempFolder m_folder;
  std::string const m_path = m_folder / "records";
};

TEST_F(Lease, IsAwaitedByAnOpening) {
  ProcessPeer server([&](PeerSide& side) { HoldLease(side); });
  if (!server.AwaitStep()) {
    GTEST_SKIP() << "no leases on files here";
  }
  CTOOFile file(m_path.c_str(), "r+bc", false);
  EXPECT_EQ(0, file.Status());
  EXPECT_EQ(7U, file.Length());
}

TEST_F(Lease, IsAwaitedByALock) {
  ProcessPeer server([&](PeerSide& side) { HoldLease(side); });
  if (!server.AwaitStep()) {
    GTEST_SKIP() << "no leases on files here";
  }
  IPC::CReadWriteLock_file lock(m_path.c_str());
  IPC::CWriteLocker const locker(lock);
  EXPECT_EQ(Lock::Exclusive, FileLockOf(m_path));
}

}  // namespace
