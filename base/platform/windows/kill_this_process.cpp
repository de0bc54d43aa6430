#include "base/platform/kill_this_process.h"

#include <windows.h>

namespace zo_base {

void KillThisProcess() {
  TerminateProcess(GetCurrentProcess(), 1);
}

}  // namespace zo_base
