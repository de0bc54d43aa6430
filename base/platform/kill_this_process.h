#pragma once

namespace zo_base {

// Ends the process at once, as a kill from outside would: no handler runs. For tests.
void KillThisProcess();

}  // namespace zo_base
