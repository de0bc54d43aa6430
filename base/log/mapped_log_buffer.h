#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "base/platform/mapped_file.h"
#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"

namespace zo_base {

// Log text in a file-backed mapping: the system keeps the mapped pages when the process dies, so
// the lines of a crashed run are still in the buffer file at the next start.
//
// The file is as long as the buffer:
//   0              4 bytes, signed, little-endian: the number of text bytes that follow
//   4              the text, line after line
//   after that     zeros or stale text, never read
//
// A line is copied first and counted in the header after that, so a crash in between loses that
// line alone. When the buffer is full its text goes to `on_full` and the buffer is cleared, but
// only once `on_full` says that the text is safe.
//
// Threads: any. Append is a lock, a copy and a store; the one that fills the buffer does the work
//          of `on_full` with the lock held, and the others wait.
// Owner:   LogFile.
// Errors:  by result; an Append to a buffer that isn't ready loses the line.
class MappedLogBuffer {
 public:
  static constexpr uint32_t kHeaderBytes = 4;

  // Given text, returns true if it is safe, so that the buffer may be cleared. Must not throw.
  std::function<bool(const std::string&)> on_full;  // set before Open

  MappedLogBuffer() = default;
  MappedLogBuffer(const MappedLogBuffer&) = delete;
  MappedLogBuffer& operator=(const MappedLogBuffer&) = delete;

  // Maps the file, with its blocks reserved, and hands what a former run left in it to `on_full`.
  // On failure nothing is mapped and the object may only be dropped.
  // Throws std::out_of_range on a file of another size that is too short for a header; that file
  // is gone then, so a second try makes a new one.
  bool Open(const std::string& path, uint32_t size);
  bool LoadOldContent();
  void Append(std::string_view text);
  bool Flush();
  // Flush, and unmap. What is appended after that is lost.
  bool Close();
  void Clear();
  [[nodiscard]] bool IsReady() const { return ready_.load(std::memory_order_acquire); }

 private:
  bool DealWithOtherSize(uint32_t& size) ZO_REQUIRES(mutex_);
  bool LoadOldContentLocked() ZO_REQUIRES(mutex_);
  void FlushLocked() ZO_REQUIRES(mutex_);
  void ClearLocked() ZO_REQUIRES(mutex_);
  [[nodiscard]] int32_t ReadHeader() const ZO_REQUIRES(mutex_);
  void WriteHeader(int32_t text_bytes) ZO_REQUIRES(mutex_);
  [[nodiscard]] std::string_view TextLocked() const ZO_REQUIRES(mutex_);

  RecursiveMutex mutex_;
  std::atomic<bool> ready_{false};          // goes to true once the old content is dealt with
  int32_t used_ ZO_GUARDED_BY(mutex_) = 0;  // text bytes; mirrors the header
  char* write_pos_ ZO_GUARDED_BY(mutex_) = nullptr;
  char* view_ ZO_GUARDED_BY(mutex_) = nullptr;
  std::string path_ ZO_GUARDED_BY(mutex_);
  uint32_t size_ ZO_GUARDED_BY(mutex_) = 0;
  MappedFile mapping_ ZO_GUARDED_BY(mutex_);
};

}  // namespace zo_base
