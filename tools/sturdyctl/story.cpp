#include "tools/sturdyctl/story.h"

#include <cstdio>

namespace sturdyctl {

void Expect(const std::string& what, const std::string& expected, const std::string& actual) {
  if (expected != actual) {
    throw StepFailed(what + ": expected \"" + expected + "\", got \"" + actual + "\"");
  }
}

void Expect(const std::string& what, bool holds) {
  if (!holds) {
    throw StepFailed("expected that " + what);
  }
}

bool Story::Step(const std::string& name, const std::function<std::string()>& body) {
  ++number_;
  const auto begin = std::chrono::steady_clock::now();
  try {
    const std::string text = body();
    const std::chrono::duration<double, std::milli> passed =
        std::chrono::steady_clock::now() - begin;
    std::printf("%2d. %-16s %8.1f ms  ", number_, name.c_str(), passed.count());
    for (const char letter : text) {
      std::fputc(letter, stdout);
      if (letter == '\n') {
        std::printf("%34s", "");  // aligns further lines with the first
      }
    }
    std::puts("");
    std::fflush(stdout);
    return true;
  } catch (const std::exception& error) {
    std::printf("%2d. %-16s FAILED: %s\n", number_, name.c_str(), error.what());
    std::fflush(stdout);
    return false;
  }
}

}  // namespace sturdyctl
