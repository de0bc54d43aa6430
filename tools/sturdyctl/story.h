#pragma once

#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>

namespace sturdyctl {

// What a step of the story found wrong. what() says what was expected and what came.
class StepFailed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws StepFailed unless `expected` and `actual` are the same.
void Expect(const std::string& what, const std::string& expected, const std::string& actual);
void Expect(const std::string& what, bool holds);

// Tells a story step by step, each with its time, and ends it at the first that doesn't hold.
class Story {
 public:
  // `body` does the step and returns what is to be told of it. False if it failed: then the name
  // of the step and what was wrong with it have been printed, and the story must end.
  [[nodiscard]] bool Step(const std::string& name, const std::function<std::string()>& body);

 private:
  int number_ = 0;
};

}  // namespace sturdyctl
