#ifndef QUENDRIL_TESTS_SUPPORT_PEER_H
#define QUENDRIL_TESTS_SUPPORT_PEER_H

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>

// Somebody else who takes part in a test, step by step: a forked process or a thread. Both sides
// have time limits, so that a test whose lock never comes free fails instead of hanging.
//
//   ProcessPeer peer([&](PeerSide& side) {
//     IPC::CWriteLocker locker(lock);
//     side.Reached();   // The test's AwaitStep returns.
//     side.AwaitGo();   // Until the test's Go.
//   });
//   peer.AwaitStep();
//
// A peer ends well unless it throws or an EXPECT in it fails. Processes are forked, so make them
// before any thread.

// The peer's end.
class PeerSide {
 public:
  virtual ~PeerSide() = default;
  // Tells the test that the next step is done.
  virtual void Reached() = 0;
  // Waits for the test.
  virtual void AwaitGo() = 0;
};

// The test's end.
class Peer {
 public:
  virtual ~Peer() = default;

  // Waits until the peer has done its next step; false when it ended or took too long.
  [[nodiscard]] virtual bool AwaitStep() = 0;
  virtual void Go() = 0;
  // Waits until the peer sits in a system call that waits for a lock (fcntl, flock, semop, futex);
  // false when it does a step, ends or takes too long instead.
  [[nodiscard]] virtual bool AwaitBlocked() = 0;
  // Lets the peer run to its end; true when it ended well.
  [[nodiscard]] virtual bool Finish() = 0;
};

class ProcessPeer : public Peer {
 public:
  explicit ProcessPeer(std::function<void(PeerSide&)> const& body);
  ProcessPeer(ProcessPeer const&) = delete;
  ProcessPeer& operator=(ProcessPeer const&) = delete;
  ~ProcessPeer() override;

  [[nodiscard]] bool AwaitStep() override;
  void Go() override;
  [[nodiscard]] bool AwaitBlocked() override;
  [[nodiscard]] bool Finish() override;
  // Ends the process at once, as a crash would, and waits for its end.
  void Kill();
  pid_t Process() const { return m_process; }

 private:
  pid_t m_process = -1;
  int m_fromPeer = -1;
  int m_toPeer = -1;
};

class ThreadPeer : public Peer {
 public:
  explicit ThreadPeer(std::function<void(PeerSide&)> const& body);
  ThreadPeer(ThreadPeer const&) = delete;
  ThreadPeer& operator=(ThreadPeer const&) = delete;
  // Lets the peer go on until it ends.
  ~ThreadPeer() override;

  [[nodiscard]] bool AwaitStep() override;
  void Go() override;
  [[nodiscard]] bool AwaitBlocked() override;
  [[nodiscard]] bool Finish() override;

 private:
  class Thread;
  std::unique_ptr<Thread> m_thread;
};

// Runs `body` in a forked process and waits; true when it returned true, threw nothing and no
// EXPECT in it failed.
[[nodiscard]] bool InProcess(std::function<bool()> const& body);

// Runs `body` in a process of a user with no special rights, whatever those of the test are; true
// when it threw nothing and no EXPECT in it failed. The real identity is such a user's too:
// access() asks about that one.
[[nodiscard]] bool AsOrdinaryUser(std::function<void()> const& body);

#endif
