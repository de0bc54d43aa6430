#include "tests/faults/allocation_faults.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> counts{false};
std::atomic<int64_t> counted{0};
std::atomic<int64_t> failing{0};
std::atomic<int64_t> failures{0};

}  // namespace

namespace allocation_faults {

void Set(int64_t n, int64_t count) {
  failing = n;
  failures = count;
  counted = 0;
}
void Run() {
  counts = true;
}
void Pause() {
  counts = false;
}
int64_t Count() {
  return counted;
}

}  // namespace allocation_faults

void* operator new(size_t size_bytes) {
  const int64_t number = counts ? ++counted : 0;
  const bool fails = counts && number >= failing && number < failing + failures;
  void* const memory = fails ? nullptr : std::malloc(size_bytes > 0 ? size_bytes : 1);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, size_t /*size_bytes*/) noexcept {
  std::free(memory);
}
