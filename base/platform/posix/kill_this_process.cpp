#include "base/platform/kill_this_process.h"

#include <csignal>

namespace zo_base {

void KillThisProcess() {
  std::raise(SIGKILL);
}

}  // namespace zo_base
