#pragma once

#include <cstddef>

// While one exists, operator new fails for this many bytes or more, on all threads.
// Has no effect under TSan, whose runtime has its own operators that can't be replaced.
class ScopedAllocationLimit {
 public:
  explicit ScopedAllocationLimit(size_t size_bytes);
  ~ScopedAllocationLimit();
  ScopedAllocationLimit(const ScopedAllocationLimit&) = delete;
  ScopedAllocationLimit& operator=(const ScopedAllocationLimit&) = delete;
};
