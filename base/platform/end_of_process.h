#pragma once

namespace zo_base {

// Calls `handler` when the process exits, or when the library is unloaded if that comes first.
// Handlers run in reverse order.
// Threads: any. The handler runs on the thread that exits or unloads.
// Errors:  returns false if there is no memory to register the handler.
bool AtEnd(void (*handler)());

// For the library's teardown: returns whether it is part of the process's end, and not of an unload
// from a process that goes on.
bool ProcessEnds();

}  // namespace zo_base
