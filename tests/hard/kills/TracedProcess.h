#ifndef QUENDRIL_TESTS_HARD_KILLS_TRACEDPROCESS_H
#define QUENDRIL_TESTS_HARD_KILLS_TRACEDPROCESS_H

#include <functional>
#include <string>

// A process that is killed between two of its system calls, or before one is done.

// Why this machine does not allow to trace a process; empty where it does.
std::string const& TraceObstacle();

enum class TracedEnd { Killed, RanThrough, Failed };

// Runs `prepare` and then `body` in a forked process. `body`'s system calls stop it twice each, at
// the entry, when nothing is done yet, and at the exit; at stop number `stop`, counted from 1, it
// is killed. `killed` is called right after the signal was sent and before the process is waited
// for.
TracedEnd KillAtStop(int stop, std::function<void()> const& prepare,
                     std::function<void()> const& body, std::function<void()> const& killed);

#endif
