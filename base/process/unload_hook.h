#pragma once

namespace zo_base {

// Calls `hook` when the library is unloaded from a process that goes on, to free objects that are
// otherwise never destroyed. Hooks run in reverse order, on the thread that unloads, before the
// handlers of AtEnd. Registering a hook twice has no effect.
// No hook runs if a thread of the library still runs: the objects leak. No hook runs when the
// process exits: client threads may still be inside the library, and the system frees the memory.
// Threads: any.
// Errors:  throws std::bad_alloc if there is no memory to register the hook.
void AtUnload(void (*hook)());

// Runs the hooks as unloading would. Requires: no other thread is inside the library.
void RunUnloadHooksForTest();

}  // namespace zo_base
