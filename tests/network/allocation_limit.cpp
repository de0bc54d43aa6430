#include "tests/network/allocation_limit.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "tests/support/sanitizers.h"

namespace {

std::atomic<size_t> refused_from{SIZE_MAX};

}  // namespace

ScopedAllocationLimit::ScopedAllocationLimit(size_t size_bytes) {
  refused_from = size_bytes;
}

ScopedAllocationLimit::~ScopedAllocationLimit() {
  refused_from = SIZE_MAX;
}

#ifndef STURDY_UNDER_TSAN

void* operator new(size_t size_bytes, const std::nothrow_t& /*tag*/) noexcept {
  return size_bytes < refused_from ? std::malloc(size_bytes > 0 ? size_bytes : 1) : nullptr;
}

void* operator new(size_t size_bytes) {
  void* const memory = operator new(size_bytes, std::nothrow);
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

#endif
