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

// Calls `handler` when the process exits, or when the library is unloaded if that comes first.
// Handlers run in reverse order. Registered through __cxa_atexit with our DSO handle: the
// std::atexit that sanitizers intercept loses the owner and would call the handler after dlclose.
// Threads: any. The handler runs on the thread that exits or unloads.
// Errors:  returns false if there is no memory to register the handler.
bool AtEnd(void (*handler)());

// Runs the hooks as unloading would. Requires: no other thread is inside the library.
void RunUnloadHooksForTest();

}  // namespace zo_base
