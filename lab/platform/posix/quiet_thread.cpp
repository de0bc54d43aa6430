#include "lab/platform/quiet_thread.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace lab {
namespace {

// Blocks all signals for a thread that starts meanwhile.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

}  // namespace

std::thread StartQuietThread(std::function<void()> body) {
  const AllSignalsBlocked blocked;
  return std::thread(std::move(body));
}

}  // namespace lab
