#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <string>

// Shared by a client that is killed and the test that reads its files.

// The log is cut at this size. A cut keeps half of it, which is more than one flush writes.
inline constexpr uint32_t kLogBytes = 512 * 1024;
inline constexpr int kWritingThreads = 2;
inline constexpr int kQueriedNames = 8;

// The message of one line of the client. Lengths differ.
inline std::string NumberedLine(int thread, int number) {
  const std::string name = std::to_string(thread) + " " + std::to_string(number);
  return "[numbered] " + name + " " + std::string(static_cast<size_t>(number) % 97, '.') + " " +
         name;
}

// Counts the lines that each thread of the client has written, in pages of a file in its folder,
// which outlive it.
// Threads: each of the client's changes its own count. The test reads them once the client is dead.
class SharedCounts {
 public:
  using Count = std::atomic<int>;

  explicit SharedCounts(const std::string& folder) {
    const int file = open((folder + "/counts").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    static_cast<void>(!ftruncate(file, kWritingThreads * sizeof(Count)));
    counts_ = static_cast<Count*>(mmap(nullptr, kWritingThreads * sizeof(Count),
                                       PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    close(file);
  }
  ~SharedCounts() { munmap(counts_, kWritingThreads * sizeof(Count)); }
  SharedCounts(const SharedCounts&) = delete;
  SharedCounts& operator=(const SharedCounts&) = delete;

  Count& operator[](int thread) { return counts_[thread]; }

 private:
  Count* counts_;
};
