#ifndef QUENDRIL_TOOLS_DESCRIPTOR_H
#define QUENDRIL_TOOLS_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace inspect {

// Closes what it was given.
class Descriptor {
 public:
  explicit Descriptor(int number) : m_number(number) {}
  Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() {
    if (m_number >= 0) {
      ::close(m_number);
    }
  }

  bool IsOpen() const { return m_number >= 0; }
  int Get() const { return m_number; }
  // From then on somebody else closes it.
  int Release() { return std::exchange(m_number, -1); }

 private:
  int m_number;
};

}  // namespace inspect

#endif
