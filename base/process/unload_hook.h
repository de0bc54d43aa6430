#pragma once

namespace zo_base {

// Has `hook` called when the library is unloaded from a process that lives on, to free what
// otherwise never dies. Hooks run in reverse order, on the thread that unloads, and only if no
// thread of the library is alive. A hook that is given twice is kept once.
// At the end of the process no hook runs: client threads may still be inside the library, and
// the system takes the memory back.
// Threads: any.
void AtUnload(void (*hook)());

// Has `handler` called at the end of the process, or when the library is unloaded if that comes
// first. Handlers run in reverse order. The handler is registered for the library by name: what
// stands in for std::atexit in a program under a tool may forget whose the handler is, and then
// calls it when the library is gone.
// Errors: false if there is no room for it.
bool AtEnd(void (*handler)());

// Runs what an unloading would run. Requires: no other thread is inside the library.
void RunUnloadHooksForTest();

}  // namespace zo_base
