#ifndef QUENDRIL_BENCH_STOPWATCH_H
#define QUENDRIL_BENCH_STOPWATCH_H

#include <chrono>

// Runs from when it is made.
class Stopwatch {
 public:
  double Microseconds() const {
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - m_start)
        .count();
  }

 private:
  std::chrono::steady_clock::time_point const m_start = std::chrono::steady_clock::now();
};

#endif
