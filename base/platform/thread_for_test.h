#pragma once

namespace zo_base {

// The n-th start of a thread from now on fails once, as on a system that is out of threads.
// 0 takes the order back.
void FailThreadStartForTest(int n);

}  // namespace zo_base
