#pragma once

namespace zo_base {

// Has `hook` called when the library is unloaded from a process that lives on, to free what
// otherwise never dies. Hooks run in reverse order, on the thread that unloads, and only if no
// thread of the library is alive. A hook that is given twice is kept once.
// At the end of the process no hook runs: client threads may still be inside the library, and
// the system takes the memory back.
// Threads: any.
void AtUnload(void (*hook)());

// Runs what an unloading would run. Requires: no other thread is inside the library.
void RunUnloadHooksForTest();

}  // namespace zo_base
