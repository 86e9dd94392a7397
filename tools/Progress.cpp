#include "tools/Progress.h"

#include <utility>

#include <fmt/core.h>

namespace inspect {

namespace {

constexpr std::chrono::seconds kPause(1);

void Print(std::string const& text) { fmt::print(stderr, "quendril-inspect: {}\n", text); }

}  // namespace

Progress::Progress(std::string what, std::size_t count)
    : m_what(std::move(what)), m_count(count), m_next(Clock::now() + kPause) {}

void Progress::Step(std::size_t done) {
  if (Clock::now() < m_next) {
    return;
  }
  m_next = Clock::now() + kPause;
  Print(m_count == 0 ? fmt::format("{}: {} done", m_what, done)
                     : fmt::format("{}: {} % of {}", m_what, 100 * done / m_count, m_count));
}

Waiting::Waiting(std::string what) : m_what(std::move(what)), m_thread([this] { Tell(); }) {}

Waiting::~Waiting() {
  {
    std::lock_guard<std::mutex> const guard(m_mutex);
    m_hasEnded = true;
  }
  m_ended.notify_one();
  m_thread.join();
}

void Waiting::Tell() {
  std::unique_lock<std::mutex> guard(m_mutex);
  while (!m_ended.wait_for(guard, kPause, [this] { return m_hasEnded; })) {
    Print(m_what);
  }
}

}  // namespace inspect
