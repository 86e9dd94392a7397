#ifndef QUENDRIL_TOOLS_INTERRUPTION_H
#define QUENDRIL_TOOLS_INTERRUPTION_H

#include <csignal>

namespace inspect {

// How a program that runs until it is told to stop hears of it: SIGINT, SIGTERM and SIGHUP wait
// until Pause asks for them. One object at a time, on the thread that will pause.
class Interruption {
 public:
  Interruption();
  Interruption(Interruption const&) = delete;
  Interruption& operator=(Interruption const&) = delete;
  ~Interruption();

  // Waits. True when the program is to stop.
  bool Pause(unsigned int milliseconds) const;

  // While one lives, a signal ends the process at once and with success: a lock that is waited for
  // cannot be given up otherwise. REQUIRES: nothing that was printed waits to be written out.
  class EndsProcess {
   public:
    explicit EndsProcess(Interruption const& interruption);
    EndsProcess(EndsProcess const&) = delete;
    EndsProcess& operator=(EndsProcess const&) = delete;
    ~EndsProcess();

   private:
    Interruption const& m_interruption;
  };

 private:
  sigset_t m_signals{};
  sigset_t m_before{};
};

}  // namespace inspect

#endif
