#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace zo_base {

// The system's threads. StartThread makes all threads of the library. Any thread may call these.

// Starts a thread that blocks all signals except the synchronous ones: the host's handlers run on
// the host's own threads, but its crash reporter still sees a crash of ours. The caller joins it.
// An exception from `body` ends the process.
// Throws std::system_error if the system has no thread left; nothing has changed then.
std::thread StartThread(std::function<void()> body);

// Sets the name that debuggers show, cut at the system's limit.
void SetCurrentThreadName(const std::string& name);

uint32_t CurrentThreadId();
uint32_t CurrentProcessId();

// Returns whether StartThread has made the calling thread.
bool IsLibraryThread();
// Returns the number of StartThread's threads whose body hasn't returned yet.
int LiveLibraryThreads();

}  // namespace zo_base
