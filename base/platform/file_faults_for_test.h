// Lets tests make file calls fail. Each call of base/platform that reaches the disk asks first;
// without a ScopedFileFault that costs one relaxed load.
#pragma once

namespace zo_base {

enum class FileFault {
  kFailOnce,  // the n-th call fails, later ones work again
  kFailOn,    // the n-th call and all after it fail
  kKill,      // SIGKILL ends the process instead of the n-th call
};

// Makes the n-th file call from here on fail, counted from 1 over all threads. A failing or dying
// write writes half of its bytes first, as on a disk that fills up.
// Owner: a test's scope, one at a time.
class ScopedFileFault {
 public:
  ScopedFileFault(int nth_call, FileFault fault);
  ~ScopedFileFault();
  ScopedFileFault(const ScopedFileFault&) = delete;
  ScopedFileFault& operator=(const ScopedFileFault&) = delete;

  // Returns true after the n-th call: a loop over n ends at the first run with fewer calls.
  [[nodiscard]] static bool Fired();
};

// For the file calls: counts one and returns whether it must fail.
bool FileCallFails();
// The same for a write, which calls EndFailedWrite after it has written half of its bytes.
bool WriteFails();
void EndFailedWrite();

}  // namespace zo_base
