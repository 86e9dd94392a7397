#include "tools/Progress.h"

#include <chrono>

#include <fmt/core.h>

namespace inspect {

Progress::Progress(std::string const& what) : m_what(what), m_thread([this] { Tell(); }) {}

Progress::~Progress() {
  {
    std::lock_guard<std::mutex> const guard(m_mutex);
    m_hasEnded = true;
  }
  m_ended.notify_one();
  m_thread.join();
}

void Progress::Tell() {
  std::unique_lock<std::mutex> guard(m_mutex);
  while (!m_ended.wait_for(guard, std::chrono::seconds(1), [this] { return m_hasEnded; })) {
    std::uint64_t const count = m_count;
    std::string text = "quendril-inspect: " + m_what;
    if (count != 0) {
      text += fmt::format(", {} % of {}", 100 * m_done / count, count);
    }
    fmt::print(stderr, "{}\n", text);
  }
}

}  // namespace inspect
