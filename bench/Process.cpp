#include "bench/Process.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace {

// The helpers lie beside this program.
std::string HelperOf(std::string const& contender) {
  static std::string const folder =
      std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
  return folder + "/bench-once-" + contender;
}

}  // namespace

Process::Process(std::string const& contender, std::vector<std::string> arguments)
    : m_what(contender + " " + arguments.front()) {
  arguments.insert(arguments.begin(), HelperOf(contender));
  std::vector<char*> pointers;
  for (std::string& argument : arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  if (::posix_spawn(&m_process, pointers.front(), nullptr, nullptr, pointers.data(), environ) !=
      0) {
    throw std::runtime_error("cannot start " + arguments.front());
  }
}

Process::~Process() {
  if (m_process != -1) {
    int status = 0;
    ::waitpid(m_process, &status, 0);
  }
}

void Process::Wait() {
  int status = -1;
  pid_t const process = m_process;
  m_process = -1;
  if (::waitpid(process, &status, 0) != process || status != 0) {
    throw std::runtime_error("failed in a process of its own: " + m_what);
  }
}
