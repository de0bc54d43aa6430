#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace zo_base {

// The system's threads. Every thread of the library is made here.

// Starts a thread that blocks all signals but the synchronous ones, so that the host's handlers
// run on the host's own threads while its crash reporter still sees a crash of ours.
// Errors: the standard system error if no thread can be started; nothing is left over.
std::thread StartThread(std::function<void()> body);

// The name that debuggers show, cut at the system's limit.
void SetCurrentThreadName(const std::string& name);

uint32_t CurrentThreadId();
uint32_t CurrentProcessId();

// The calling thread was made by StartThread.
bool IsLibraryThread();
// Threads made by StartThread whose body hasn't returned yet.
int LiveLibraryThreads();

}  // namespace zo_base
