#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace lab {

// A program that runs beside the test, with its output and errors in one pipe and its input in
// another. Killed and reaped at the end of the object, if it still runs then.
// Errors: one that can't be started has no output, and ends with -1.
class Child {
 public:
  explicit Child(std::vector<std::string> command);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  [[nodiscard]] pid_t id() const { return id_; }
  // Without its line end; waits for it. Empty at the end of the output.
  std::string ReadLine();
  std::string ReadRest();
  // A byte to its input.
  void Signal();
  void Kill();
  // Its exit code, or minus the signal that ended it.
  int Wait();

 private:
  pid_t id_ = -1;
  std::FILE* output_ = nullptr;
  int input_ = -1;
};

}  // namespace lab
