#include "foundation/embedded/ThreadToken.h"

#include <atomic>

unsigned long ThreadToken() {
  static std::atomic<unsigned long> last{0};
  thread_local unsigned long const token = last.fetch_add(1) + 1;
  return token;
}
