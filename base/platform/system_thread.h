#pragma once

#include <functional>
#include <thread>

namespace zo_base {

// Starts a thread of the system for StartThread, with the signals blocked that thread.h names.
// Throws std::system_error if the system has no thread left.
std::thread StartSystemThread(std::function<void()> body);

}  // namespace zo_base
