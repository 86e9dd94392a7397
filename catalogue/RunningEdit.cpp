#include "catalogue/RunningEdit.h"

#include <unistd.h>

#include <cerrno>

#include "foundation/XTOOStatus.h"

namespace {

// The process whose edit this thread is inside, 0 for none. In a forked child it is the parent's.
thread_local pid_t t_process = 0;

}  // namespace

void RunningEdit::Refuse(char const* operation) {
  if (t_process != 0 && t_process == ::getpid()) {
    throw XTOOStatus(EDEADLK, CTOOString(operation) + " inside a ContainerInfoEdit", false);
  }
}

RunningEdit::RunningEdit() : m_process(::getpid()) {
  Refuse("ContainerInfoEdit");
  t_process = m_process;
}

RunningEdit::~RunningEdit() { t_process = 0; }

bool RunningEdit::IsInherited() const { return m_process != ::getpid(); }
