#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// Ends the process, which the fuzzer takes for a crash and keeps the input.
inline void Expect(bool holds, const char* what, const std::string& detail = std::string()) {
  if (!holds) {
    std::fprintf(stderr, "expected: %s\n%s\n", what, detail.c_str());
    std::abort();
  }
}

// What libFuzzer calls with each input.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
