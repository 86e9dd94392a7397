#include "tools/Interruption.h"

#include <pthread.h>
#include <unistd.h>

#include <ctime>

namespace inspect {

namespace {

constexpr int kEnding[] = {SIGINT, SIGTERM, SIGHUP};

extern "C" void EndWithSuccess(int /*signal*/) { ::_exit(0); }

}  // namespace

Interruption::Interruption() {
  sigemptyset(&m_signals);
  for (int const signal : kEnding) {
    sigaddset(&m_signals, signal);
    struct sigaction action {};
    action.sa_handler = &EndWithSuccess;
    static_cast<void>(::sigaction(signal, &action, nullptr));
  }
  ::pthread_sigmask(SIG_BLOCK, &m_signals, &m_before);
}

Interruption::~Interruption() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

bool Interruption::Pause(unsigned int milliseconds) const {
  timespec limit{};
  limit.tv_sec = milliseconds / 1000;
  limit.tv_nsec = static_cast<long>(milliseconds % 1000) * 1000000;
  return ::sigtimedwait(&m_signals, nullptr, &limit) > 0;
}

Interruption::EndsProcess::EndsProcess(Interruption const& interruption)
    : m_interruption(interruption) {
  ::pthread_sigmask(SIG_UNBLOCK, &m_interruption.m_signals, nullptr);
}

Interruption::EndsProcess::~EndsProcess() {
  ::pthread_sigmask(SIG_BLOCK, &m_interruption.m_signals, nullptr);
}

}  // namespace inspect
