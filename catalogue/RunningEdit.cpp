#include "catalogue/RunningEdit.h"

#include <cerrno>

#include "foundation/XTOOStatus.h"

namespace {

thread_local bool t_isRunning = false;

}  // namespace

void RunningEdit::Refuse(char const* operation) {
  if (t_isRunning) {
    throw XTOOStatus(EDEADLK, CTOOString(operation) + " inside a ContainerInfoEdit", false);
  }
}

RunningEdit::RunningEdit() {
  Refuse("ContainerInfoEdit");
  t_isRunning = true;
}

RunningEdit::~RunningEdit() { t_isRunning = false; }
