// The seam at which tests make file calls fail. Every call of base/platform that reaches the disk
// asks it first; without a live ScopedFileFault that costs one relaxed load.
#pragma once

namespace zo_base {

enum class FileFault {
  kFailOnce,  // the n-th call fails, those after it work again
  kFailOn,    // the n-th call and all after it fail
  kKill,      // the process dies by SIGKILL in the place of the n-th call
};

// Makes the n-th file call from here on fail, counted from 1 over all threads. A write that fails
// or dies writes half of its bytes first, as on a disk that fills up. Owner: one at a time, a
// test's scope.
class ScopedFileFault {
 public:
  ScopedFileFault(int nth_call, FileFault fault);
  ~ScopedFileFault();
  ScopedFileFault(const ScopedFileFault&) = delete;
  ScopedFileFault& operator=(const ScopedFileFault&) = delete;

  // True once the n-th call was made: a loop over n ends at the first run that never gets there.
  [[nodiscard]] static bool Fired();
};

// Asked by the file calls themselves.
bool FileCallFails();
// The same for a write, which calls EndFailedWrite once half of its bytes are out.
bool WriteFails();
void EndFailedWrite();

}  // namespace zo_base
