#include "foundation/embedded/PathLock.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <utility>

#include "foundation/embedded/ThreadHold.h"
#include "foundation/XTOOStatus.h"

namespace {

struct FreeMemory {
  void operator()(char* memory) const { std::free(memory); }
};

LockPlace PlaceOf(std::string const& path) {
  std::size_t const slash = path.rfind('/');
  std::string const parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  std::unique_ptr<char, FreeMemory> const real(::realpath(parent.c_str(), nullptr));
  // A folder that is missing keeps the name that was given.
  std::string folder = real ? real.get() : parent;
  std::string const name = path.substr(slash == std::string::npos ? 0 : slash + 1);
  std::string const separator = folder.back() == '/' ? "" : "/";
  std::string file = folder + separator + name;
  return LockPlace{std::move(folder), std::move(file), real != nullptr};
}

// One holder's share in what its thread holds. A hold that began on the folder goes over to the
// file at the first chance, so that other files of the folder do not wait longer than they must.
class PathHolder : public IPC::LockHold {
 public:
  explicit PathHolder(std::shared_ptr<ThreadHold> hold) : m_hold(std::move(hold)) {}
  ~PathHolder() override {
    if (m_hold.use_count() > 1) {
      m_hold->MoveToFile();
    }
  }

 private:
  std::shared_ptr<ThreadHold> m_hold;
};

}  // namespace

PathLock::PathLock(char const* path) : m_place(PlaceOf(path)) {}

std::unique_ptr<IPC::LockHold> PathLock::Take(IPC::LockMode mode) {
  LockPlace const place = m_place.hasFolder ? m_place : PlaceOf(m_place.path);
  std::shared_ptr<ThreadHold> hold = ThreadHold::Find(place);
  if (hold) {
    if (mode == IPC::LockMode::Exclusive && hold->Mode() == IPC::LockMode::Shared) {
      throw XTOOStatus(EDEADLK, place.path.c_str(), false);
    }
    hold->MoveToFile();
  } else {
    hold = ThreadHold::Take(place, mode);
  }
  return std::make_unique<PathHolder>(std::move(hold));
}
