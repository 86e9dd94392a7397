#include "tests/support/Peer.h"

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/Files.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kLimit = std::chrono::seconds(60);

// Whether the task sits in a system call that waits for a lock.
bool IsInLockCall(std::string const& task) {
  std::ifstream file("/proc/" + task + "/syscall");
  long number = -1;
  if (!(file >> number)) {
    return false;  // "running", or gone.
  }
  return number == SYS_fcntl || number == SYS_flock || number == SYS_semop ||
         number == SYS_semtimedop || number == SYS_futex;
}

// Twice in a row with a pause: a call that only passes through is not taken for one that waits.
template <typename StillThere>
bool AwaitLockCall(std::string const& task, StillThere stillThere) {
  auto const end = Clock::now() + kLimit;
  int seen = 0;
  while (Clock::now() < end && stillThere()) {
    seen = IsInLockCall(task) ? seen + 1 : 0;
    if (seen == 3) {
      return stillThere();
    }
    ::poll(nullptr, 0, 1);
  }
  return false;
}

// `hadFailed`: whether the test had failed before the fork, which says nothing of the peer.
[[noreturn]] void EndChild(bool hadFailed, std::function<bool()> const& body) {
  int status = 1;
  try {
    status = body() && (hadFailed || !testing::Test::HasFailure()) ? 0 : 1;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "peer: %s\n", error.what());
  } catch (...) {
    std::fprintf(stderr, "peer: an exception of its own kind\n");
  }
  std::fflush(nullptr);
  ::_exit(status);
}

bool HasEndedWell(pid_t process) {
  int status = 0;
  auto const end = Clock::now() + kLimit;
  while (Clock::now() < end) {
    pid_t const ended = ::waitpid(process, &status, WNOHANG);
    if (ended == process) {
      return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    if (ended < 0) {
      return false;
    }
    ::poll(nullptr, 0, 1);
  }
  ::kill(process, SIGKILL);
  ::waitpid(process, &status, 0);
  return false;
}

class PipeSide : public PeerSide {
 public:
  PipeSide(int toTest, int fromTest) : m_toTest(toTest), m_fromTest(fromTest) {}
  void Reached() override {
    char const step = 's';
    if (::write(m_toTest, &step, 1) != 1) {
      throw std::runtime_error("the test is gone");
    }
  }
  void AwaitGo() override {
    char go = 0;
    if (::read(m_fromTest, &go, 1) != 1) {
      throw std::runtime_error("the test is gone");
    }
  }

 private:
  int m_toTest;
  int m_fromTest;
};

}  // namespace

ProcessPeer::ProcessPeer(std::function<void(PeerSide&)> const& body) {
  int up[2];
  int down[2];
  if (::pipe(up) != 0 || ::pipe(down) != 0) {
    throw std::runtime_error("no pipe");
  }
  ::signal(SIGPIPE, SIG_IGN);  // A peer that is gone is told by the write's result.
  std::fflush(nullptr);
  m_process = ::fork();
  if (m_process == 0) {
    ::close(up[0]);
    ::close(down[1]);
    EndChild(testing::Test::HasFailure(), [&] {
      PipeSide side(up[1], down[0]);
      body(side);
      return true;
    });
  }
  ::close(up[1]);
  ::close(down[0]);
  m_fromPeer = up[0];
  m_toPeer = down[1];
}

ProcessPeer::~ProcessPeer() {
  Kill();
  ::close(m_fromPeer);
  ::close(m_toPeer);
}

bool ProcessPeer::AwaitStep() {
  struct pollfd waited {
    m_fromPeer, POLLIN, 0
  };
  char step = 0;
  return ::poll(&waited, 1, std::chrono::milliseconds(kLimit).count()) == 1 &&
         ::read(m_fromPeer, &step, 1) == 1;
}

void ProcessPeer::Go() {
  char const go = 'g';
  if (::write(m_toPeer, &go, 1) != 1) {
    throw std::runtime_error("the peer is gone");
  }
}

bool ProcessPeer::AwaitBlocked() {
  return AwaitLockCall(std::to_string(m_process), [this] {
    struct pollfd asked {
      m_fromPeer, POLLIN, 0
    };
    return ::poll(&asked, 1, 0) == 0;
  });
}

bool ProcessPeer::Finish() {
  pid_t const process = m_process;
  m_process = -1;
  return process > 0 && HasEndedWell(process);
}

void ProcessPeer::Kill() {
  if (m_process > 0) {
    ::kill(m_process, SIGKILL);
    ::waitpid(m_process, nullptr, 0);
    m_process = -1;
  }
}

class ThreadPeer::Thread : public PeerSide {
 public:
  explicit Thread(std::function<void(PeerSide&)> const& body)
      : m_thread([this, body] { Run(body); }) {}
  Thread(Thread const&) = delete;
  Thread& operator=(Thread const&) = delete;
  ~Thread() override {
    {
      std::lock_guard<std::mutex> const guard(m_mutex);
      m_abandoned = true;
      m_changed.notify_all();
    }
    if (m_thread.joinable()) {
      m_thread.join();
    }
  }

  void Reached() override { Count(m_steps); }
  void AwaitGo() override {
    std::unique_lock<std::mutex> guard(m_mutex);
    m_waitsForGo = true;
    m_changed.wait(guard, [this] { return m_gos > 0 || m_abandoned; });
    m_gos -= m_abandoned ? 0 : 1;
    m_waitsForGo = false;
    m_changed.notify_all();
  }

  bool AwaitStep() {
    std::unique_lock<std::mutex> guard(m_mutex);
    if (!m_changed.wait_for(guard, kLimit, [this] { return m_steps > 0 || m_ended; }) ||
        m_steps == 0) {
      return false;
    }
    --m_steps;
    return true;
  }
  void Go() { Count(m_gos); }
  bool AwaitBlocked() {
    pid_t task = 0;
    {
      std::unique_lock<std::mutex> guard(m_mutex);
      m_changed.wait(guard, [this] { return m_task != 0 && !m_waitsForGo; });
      task = m_task;
    }
    return AwaitLockCall("self/task/" + std::to_string(task), [this] {
      std::lock_guard<std::mutex> const guard(m_mutex);
      return m_steps == 0 && !m_ended;
    });
  }
  bool Finish() {
    std::unique_lock<std::mutex> guard(m_mutex);
    bool const ended = m_changed.wait_for(guard, kLimit, [this] { return m_ended; });
    return ended && m_endedWell;
  }

 private:
  void Run(std::function<void(PeerSide&)> const& body) {
    {
      std::lock_guard<std::mutex> const guard(m_mutex);
      m_task = static_cast<pid_t>(::syscall(SYS_gettid));
      m_changed.notify_all();
    }
    bool endedWell = false;
    try {
      body(*this);
      endedWell = true;
    } catch (std::exception const& error) {
      std::fprintf(stderr, "peer: %s\n", error.what());
    } catch (...) {
      std::fprintf(stderr, "peer: an exception of its own kind\n");
    }
    std::lock_guard<std::mutex> const guard(m_mutex);
    m_ended = true;
    m_endedWell = endedWell;
    m_changed.notify_all();
  }
  void Count(int& counter) {
    std::lock_guard<std::mutex> const guard(m_mutex);
    ++counter;
    m_changed.notify_all();
  }

  std::mutex m_mutex;
  std::condition_variable m_changed;
  // Guarded by m_mutex.
  pid_t m_task = 0;
  int m_steps = 0;
  int m_gos = 0;
  bool m_waitsForGo = false;
  bool m_abandoned = false;
  bool m_ended = false;
  bool m_endedWell = false;

  std::thread m_thread;  // Last: it uses all the others.
};

ThreadPeer::ThreadPeer(std::function<void(PeerSide&)> const& body)
    : m_thread(std::make_unique<Thread>(body)) {}

ThreadPeer::~ThreadPeer() = default;

bool ThreadPeer::AwaitStep() { return m_thread->AwaitStep(); }

void ThreadPeer::Go() { m_thread->Go(); }

bool ThreadPeer::AwaitBlocked() { return m_thread->AwaitBlocked(); }

bool ThreadPeer::Finish() { return m_thread->Finish(); }

bool InProcess(std::function<bool()> const& body) {
  std::fflush(nullptr);
  pid_t const process = ::fork();
  if (process == 0) {
    EndChild(testing::Test::HasFailure(), body);
  }
  return process > 0 && HasEndedWell(process);
}

bool AsOrdinaryUser(std::function<void()> const& body) {
  constexpr unsigned int kNobody = 65534;
  return InProcess([&] {
    if (IsRoot() && (::setresgid(kNobody, kNobody, kNobody) != 0 ||
                     ::setresuid(kNobody, kNobody, kNobody) != 0)) {
      return false;
    }
    body();
    return true;
  });
}
