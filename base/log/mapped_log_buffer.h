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

// Holds log text in a file-backed mapping. The system keeps the mapped pages when the process dies,
// so the lines of a crashed run are still in the buffer file at the next start.
//
// The file is as long as the buffer:
//   0              4 bytes, signed, little-endian: the number of text bytes that follow
//   4              the text, line after line
//   after that     zeros or stale text, never read
//
// A line is copied first and counted in the header after that, so a crash in between loses only
// that line. A full buffer passes its text to `on_full`, and is cleared once that reports the text
// safe.
//
// Threads: any. Append takes a lock, copies and stores. The thread that fills the buffer calls
//          `on_full` with the lock held, and the others wait.
// Owner:   LogFile.
// Errors:  by result. Append loses its line if the buffer isn't ready. If the line has no room, it
//          also loses it when `on_full` returns false or another process has changed the header.
class MappedLogBuffer {
 public:
  // Takes the buffer's text. Returns true if the text is safe and the buffer may be cleared. Must
  // not throw. Set it before Open.
  std::function<bool(const std::string&)> on_full;

  MappedLogBuffer() = default;
  MappedLogBuffer(const MappedLogBuffer&) = delete;
  MappedLogBuffer& operator=(const MappedLogBuffer&) = delete;

  // Reserves the file's blocks, maps it, and passes what an earlier run left in it to `on_full`.
  // After a failure nothing is mapped and the object may only be destroyed.
  // Throws std::out_of_range if the file has another size and is too short for a header. It has
  // deleted that file by then, so a second try makes a new one.
  bool Open(const std::string& path, uint32_t size);
  // Passes the text of an earlier run to `on_full`, unless Open has done so, and makes the buffer
  // ready. Returns false if nothing is mapped.
  bool LoadOldContent();
  void Append(std::string_view text);
  // Passes the text to `on_full` and returns true. Acts as LoadOldContent before the buffer is
  // ready.
  bool Flush();
  // Flushes and unmaps. Later appends are lost.
  bool Close();
  void Clear();
  [[nodiscard]] bool IsReady() const { return ready_.load(std::memory_order_acquire); }

 private:
  bool RecoverBufferOfOtherSize(uint32_t& size) ZO_REQUIRES(mutex_);
  bool LoadOldContentLocked() ZO_REQUIRES(mutex_);
  void FlushLocked() ZO_REQUIRES(mutex_);
  void ClearLocked() ZO_REQUIRES(mutex_);
  [[nodiscard]] int32_t ReadHeader() const ZO_REQUIRES(mutex_);
  void WriteHeader(int32_t text_bytes) ZO_REQUIRES(mutex_);
  [[nodiscard]] std::string_view TextLocked() const ZO_REQUIRES(mutex_);

  RecursiveMutex mutex_;
  std::atomic<bool> ready_{false};          // set once the old content has been taken over
  int32_t used_ ZO_GUARDED_BY(mutex_) = 0;  // text bytes; mirrors the header
  char* write_pos_ ZO_GUARDED_BY(mutex_) = nullptr;
  char* view_ ZO_GUARDED_BY(mutex_) = nullptr;
  std::string path_ ZO_GUARDED_BY(mutex_);
  uint32_t size_ ZO_GUARDED_BY(mutex_) = 0;
  MappedFile mapping_ ZO_GUARDED_BY(mutex_);
};

}  // namespace zo_base
