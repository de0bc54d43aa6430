#pragma once

#include <functional>
#include <thread>

namespace lab {

// Starts a thread on which no handler of a signal runs. The program's handlers then run on its own
// threads only: one may end the lab, which the lab's thread can't do.
std::thread StartQuietThread(std::function<void()> body);

}  // namespace lab
