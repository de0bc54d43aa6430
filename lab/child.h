#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace lab {

// Runs a program as another process. One pipe carries its output and its errors, another its input.
// The destructor kills and reaps a process that still runs.
// Threads: one.
// Owner:   the caller.
// Errors:  a program that can't be started has no output, and Wait returns -1.
class Child {
 public:
  explicit Child(const std::vector<std::string>& command);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  [[nodiscard]] int id() const;
  // Blocks until a line has come, and returns it without its line end. Returns "" at the end.
  std::string ReadLine();
  // Reads lines until one contains `text`, and returns that one. Returns "" at the end or at an
  // empty line.
  std::string ReadLineWith(const std::string& text);
  // Blocks until the output ends, and returns what was left of it.
  std::string ReadRest();
  // Writes one byte to its input.
  void Signal();
  void Kill();
  // Blocks until it has ended. Returns its exit code, or minus the signal that ended it.
  int Wait();

 private:
  std::string ReadTo(int end);

  std::intptr_t process_ = -1;  // the id, on Windows the handle; -1 once it has ended
  std::FILE* output_ = nullptr;
  int input_ = -1;
};

}  // namespace lab
