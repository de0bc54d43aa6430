#pragma once

namespace zo_base {

// Makes the n-th start of a thread from now on fail once, as on a system without free threads.
// 0 cancels that.
void FailThreadStartForTest(int n);

}  // namespace zo_base
