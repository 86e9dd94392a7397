#ifndef QUENDRIL_BENCH_PROCESS_H
#define QUENDRIL_BENCH_PROCESS_H

#include <sys/types.h>

#include <string>
#include <vector>

// The helper program of a contender (Once.cpp), run in new processes. It is linked with this one
// contender only, so that nobody pays for starting the others' libraries.
class Process {
 public:
  // Starts it. Throws std::runtime_error.
  Process(std::string const& contender, std::vector<std::string> arguments);
  Process(Process const&) = delete;
  Process& operator=(Process const&) = delete;
  ~Process();

  // Waits for its end. Throws std::runtime_error for a status other than 0.
  void Wait();

 private:
  std::string const m_what;
  pid_t m_process = -1;
};

#endif
