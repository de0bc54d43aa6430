#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// Aborts the process if the expectation fails. The fuzzer then keeps the input as it does after a
// crash.
inline void Expect(bool holds, const char* what, const std::string& detail = std::string()) {
  if (!holds) {
    std::fprintf(stderr, "expected: %s\n", what);
    std::fwrite(detail.data(), 1, detail.size(), stderr);  // it can hold zeros
    std::abort();
  }
}

// Each target defines this. libFuzzer, the replay and some tests call it with one input. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
