#pragma once

#include <string>
#include <vector>

namespace bench {

// Runs the benchmarks' client with these arguments, for as long as it takes to end.
// Threads: any.
// Errors:  std::runtime_error if it can't be run or ends badly.
class Child {
 public:
  explicit Child(const std::vector<std::string>& arguments);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // What it has written, once it has ended.
  std::string Output();

 private:
  int process_ = -1;
  int output_ = -1;
};

// The monotonic clock.
long long NowNs();

}  // namespace bench
