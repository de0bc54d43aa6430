#pragma once

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>

namespace sturdyctl {

// A step that failed. what() says what was expected and what came instead.
class StepFailed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throw StepFailed unless both texts are equal, or unless `what` holds.
void Expect(const std::string& what, const std::string& expected, const std::string& actual);
void Expect(const std::string& what, bool holds);

// Runs the steps of the demo and prints each with its time.
// Threads: one.
class Story {
 public:
  // Runs `body`, which returns the text to print. Returns false if it threw: the error is printed,
  // and no further step must run.
  [[nodiscard]] bool Step(const std::string& name, const std::function<std::string()>& body);

 private:
  int number_ = 0;
};

}  // namespace sturdyctl
