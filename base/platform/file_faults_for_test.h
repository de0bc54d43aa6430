// Lets tests make file calls fail. Each call of base/platform that reaches the disk asks first;
// without a ScopedFileFault that costs one relaxed load.
#pragma once

namespace zo_base {

enum class FileFault {
  kFailOnce,       // the n-th call fails, later ones work again
  kFailFromThere,  // the n-th call and all after it fail
  kKill,           // a kill ends the process instead of the n-th call
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

  // Returns whether the n-th call has come. A test raises n until this is false.
  [[nodiscard]] static bool Fired();
};

// For the file calls: counts one and returns whether it must fail.
bool FileCallFails();
// The same for a write. If it must fail, it writes half of its bytes and then calls KillIfAsked.
bool WriteFails();
// Ends the process if the fault is kKill.
void KillIfAsked();

}  // namespace zo_base
