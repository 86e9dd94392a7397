#ifndef QUENDRIL_TESTS_SUPPORT_PRIVATEROOT_H
#define QUENDRIL_TESTS_SUPPORT_PRIVATEROOT_H

#include <functional>
#include <string>

// For tests of paths that are fixed: a process in namespaces of its own, where /usr/lib and
// /var/lib are empty folders that nobody else sees, it may do what root may, and there are no
// semaphores yet.
namespace PrivateRoot {

// Why this machine does not allow it; empty where it does. Tests skip with this text otherwise.
std::string const& Obstacle();

// Runs `body` in such a process and waits; true when it threw nothing and no EXPECT in it failed.
[[nodiscard]] bool Run(std::function<void()> const& body);

}  // namespace PrivateRoot

// At the start of a test.
#define SKIP_WITHOUT_PRIVATE_ROOT()          \
  if (!PrivateRoot::Obstacle().empty()) {    \
    GTEST_SKIP() << PrivateRoot::Obstacle(); \
  }                                          \
  static_assert(true, "a semicolon follows")

#endif
