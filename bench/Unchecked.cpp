// Adding one record, everything but the checks whether containers exist: they take most of an add's
// time, and would hide the rest in their noise. The library asks its host's base library for them;
// this program's own answer, which costs nothing, takes the place of the base library's.

#include <cstdio>

#include "bench/AddOne.h"
#include "bench/Workloads.h"
#include "catalogue/ContainerInfoList.h"
#include "foundation/CTOOFile.h"

bool CTOOFile::IsExists(char const* /*name*/) { return true; }
bool CTOOFile::IsExists(CTOOString const& /*name*/) { return true; }

namespace {

// That the library asks this program.
void RequireNoChecks(Ground& ground) {
  ContainerInfoList list(ground.Restore("quendril", &MakeFloor, 1).c_str());
  list.Add("/bench-unchecked/no-such-container");
  Require(list.GetSyncList()->Records.size() == 2);
}

void RunUnchecked(Session& session) {
  static Contestant const quendril{"quendril", &MakeQuendril};
  static Contestant const floor{"floor", &MakeUncheckedFloor};
  RequireNoChecks(session.Memory());
  for (Ground& ground : session.Grounds()) {
    for (std::size_t const count : session.Counts()) {
      // Here the library cannot make the file: it takes each that is missing for one that is there.
      ground.Restore("quendril", &MakeFloor, count);
      std::vector<Case> cases;
      for (Contestant const* const one : {&quendril, &floor}) {
        cases.push_back({one->name, [&ground, one, count] {
                           return AddWithOpenHandle(ground, *one, count, &Contender::AddOne);
                         }});
      }
      session.Run({"add one, without the checks", count, ground.Name()}, cases);
    }
  }
}

}  // namespace

int main(int count, char** arguments) { return RunSession(count, arguments, {&RunUnchecked}); }
