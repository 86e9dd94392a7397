#ifndef QUENDRIL_TOOLS_PROGRESS_H
#define QUENDRIL_TOOLS_PROGRESS_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace inspect {

// Tells on the standard error what is being done, once a second from the second second on. The
// functions are for the thread that made it.
class Progress {
 public:
  // `what`: "waiting for the lock of /a/b".
  explicit Progress(std::string const& what);
  Progress(Progress const&) = delete;
  Progress& operator=(Progress const&) = delete;
  ~Progress();

  // Of how many steps how many are done; nothing is told about the steps while the count is 0.
  void SetCount(std::uint64_t count) { m_count = count; }
  void Step(std::uint64_t done) { m_done = done; }

 private:
  void Tell();

  std::string const m_what;
  std::atomic<std::uint64_t> m_count{0};
  std::atomic<std::uint64_t> m_done{0};
  std::mutex m_mutex;
  std::condition_variable m_ended;
  bool m_hasEnded = false;  // Guarded by m_mutex.
  std::thread m_thread;
};

}  // namespace inspect

#endif
