#include "lab/platform/quiet_thread.h"

#include <utility>

namespace lab {

// The system runs handlers on threads that it starts for them.
std::thread StartQuietThread(std::function<void()> body) {
  return std::thread(std::move(body));
}

}  // namespace lab
