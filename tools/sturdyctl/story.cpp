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
    throw StepFailed(what);
  }
}

bool Story::Step(const std::string& name, const std::function<std::string()>& body) {
  ++number_;
  const auto begin = std::chrono::steady_clock::now();
  try {
    const std::string told = body();
    const std::chrono::duration<double, std::milli> passed =
        std::chrono::steady_clock::now() - begin;
    std::printf("%2d. %-16s %8.1f ms  ", number_, name.c_str(), passed.count());
    for (const char letter : told) {  // further lines stand under the first
      std::fputs(
          letter == '\n' ? "\n                                 " : std::string(1, letter).c_str(),
          stdout);
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
