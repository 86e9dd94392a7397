#ifndef QUENDRIL_TOOLS_PROGRESS_H
#define QUENDRIL_TOOLS_PROGRESS_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>

namespace inspect {

// Tells on the standard error, once a second from the second second on, how far some work is whose
// steps are short.
class Progress {
 public:
  // `what`: "listing /a/b". Of `count` steps, if it is not 0, the share that is done is told.
  explicit Progress(std::string what, std::size_t count = 0);

  void Step(std::size_t done);

 private:
  using Clock = std::chrono::steady_clock;

  std::string const m_what;
  std::size_t const m_count;
  Clock::time_point m_next;
};

// The same for one step that may take for ever.
class Waiting {
 public:
  explicit Waiting(std::string what);
  Waiting(Waiting const&) = delete;
  Waiting& operator=(Waiting const&) = delete;
  ~Waiting();

 private:
  void Tell();

  std::string const m_what;
  std::mutex m_mutex;
  std::condition_variable m_ended;
  bool m_hasEnded = false;  // Guarded by m_mutex.
  std::thread m_thread;
};

}  // namespace inspect

#endif
