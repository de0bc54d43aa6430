#pragma once

#include <string>

namespace bench {

// A folder of the benchmarks' own on the disk where the program runs, removed with its content at
// the end.
// Threads: one.
// Errors:  throws std::runtime_error if none can be made.
class WorkFolder {
 public:
  WorkFolder();
  ~WorkFolder();
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  // In memory, where the system has such a place: what is written there waits for no disk.
  static WorkFolder InMemory() { return WorkFolder("/dev/shm"); }

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  explicit WorkFolder(const std::string& parent);

  std::string path_;
};

}  // namespace bench
