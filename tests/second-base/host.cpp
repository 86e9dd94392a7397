// A host that carries a base library of its own: enters its arguments into the machine-wide
// catalogue and prints what that holds.

#include <cstdio>

#include "catalogue/ContainerInfoEdit.h"
#include "common/CommonContInfoList.h"
#include "foundation/XTOOStatus.h"

int main(int /*count*/, char** arguments) {
  try {
    CommonContInfoList catalogue;
    ContainerInfoEdit edit(catalogue);
    while (*++arguments != nullptr) {
      edit.Add(*arguments);
    }
    edit.Commit();
    for (char const* path = catalogue.GetFirst(); path != nullptr; path = catalogue.GetNext()) {
      std::puts(path);
    }
  } catch (XTOOStatus const& status) {
    std::fprintf(stderr, "%s (status %d)\n", status.ErrorMessage(), status.Status());
    return 1;
  }
  return 0;
}
