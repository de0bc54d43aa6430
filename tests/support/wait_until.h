#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

// How long a test waits for what comes at once on an idle machine.
inline constexpr std::chrono::seconds kPatience{60};

// Polls until `condition` holds: the end of a thread, an atomic or a mapped page notifies nobody.
template <class Condition>
[[nodiscard]] testing::AssertionResult WaitUntil(const Condition& condition,
                                                 std::chrono::milliseconds limit = kPatience) {
  constexpr std::chrono::milliseconds kPause{1};
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) {
      return testing::AssertionFailure() << "the condition doesn't hold at the limit";
    }
    std::this_thread::sleep_for(kPause);
  }
  return testing::AssertionSuccess();
}
