// The library beside what one would use in its place, and beside the floor: a table of each
// workload.

#include "bench/Workloads.h"

int main(int count, char** arguments) {
  return RunSession(count, arguments,
                    {&RunLoad, &RunAdd, &RunSave, &RunEdit, &RunFind, &RunWalk, &RunCrowd,
                     &RunMemory, &RunMillion});
}
