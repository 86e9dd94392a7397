#ifndef QUENDRIL_TESTS_HARD_KILLS_HARD_H
#define QUENDRIL_TESTS_HARD_KILLS_HARD_H

#include <sys/mman.h>

#include <map>
#include <new>
#include <string>

// What the tests that kill and crowd share.

// Whether the long figures are asked for: QUENDRIL_HARD=full in the environment.
bool IsFull();
// One of these. A sanitizer makes each step several times as long, hence its own count.
int HowMany(int ordinary, int full, int underSanitizers);
// Prints one line "FIGURE text", from whatever process.
void Figure(std::string const& text);
// The counts by name, in one line: "a 1, b 2".
std::string Listed(std::map<std::string, int> const& counts);
// Prints how far a long run has come, only in such a one.
void Progress(std::string const& text);

// While one of these lives, the whole program ends with a message after so many seconds: what hangs
// in a lock of the test's own process cannot be ended otherwise. One at a time.
class Watchdog {
 public:
  Watchdog(char const* what, unsigned int seconds);
  Watchdog(Watchdog const&) = delete;
  Watchdog& operator=(Watchdog const&) = delete;
  ~Watchdog();
};

// Takes the exclusive lock of a file whose holder was killed, and lets it go.
class LockTimes {
 public:
  // False when it took 5 s.
  [[nodiscard]] bool Take(std::string const& path);
  // How often; in how many of these it took more than 100 ms.
  int Taken() const { return m_taken; }
  int Late() const { return m_late; }

 private:
  int m_taken = 0;
  int m_late = 0;
};

// One object of a plain type, or one that is made of atomics, which forked processes share.
template <typename Type>
class SharedObject {
 public:
  SharedObject()
      : m_place(::mmap(nullptr, sizeof(Type), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)) {
    if (m_place == MAP_FAILED) {
      throw std::bad_alloc();
    }
    new (m_place) Type{};
  }
  SharedObject(SharedObject const&) = delete;
  SharedObject& operator=(SharedObject const&) = delete;
  ~SharedObject() { ::munmap(m_place, sizeof(Type)); }

  Type& operator*() const { return *static_cast<Type*>(m_place); }
  Type* operator->() const { return static_cast<Type*>(m_place); }

 private:
  void* m_place;
};

#endif
