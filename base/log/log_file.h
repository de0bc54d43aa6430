#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/log/mapped_log_buffer.h"
#include "base/sync/mutex.h"
#include "base/sync/thread_annotations.h"

namespace zo_base {

// The log file with its size limit and its buffer. Lines collect in the buffer file next to the log
// (path + kLogBufferSuffix) and are appended to the log when the buffer is full. A log that has
// reached its limit loses its older half. It is cut, not rotated: the newer half is copied to a
// temporary file (path + ".tmp") that is renamed over the log, so a kill at any point leaves a
// whole log.
//
// Threads: any.
// Owner:   the logger.
// Errors:  Init returns false if the buffer can't be made; lines are dropped then. A log that
//          can't be opened loses the buffer's content. No error is reported elsewhere.
class LogFile {
 public:
  LogFile() = default;
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // A size of 0 selects its default. A later call changes the log's path and limit and keeps the
  // buffer. Throws what MappedLogBuffer::Open throws.
  bool Init(const std::string& path, uint32_t max_size, uint32_t buffer_size);
  void Write(std::string_view text);
  bool Flush();
  // Flushes the buffer and stops using it. A Write in progress stays safe: the buffer object lives
  // as long as this one.
  bool Close();
  // Appends to the log and cuts it if it has reached its limit. Always returns true: a log that
  // can't be written loses the text, so that the buffer stays usable.
  bool WriteToFile(const std::string& text);

 private:
  Mutex mutex_;
  std::string path_ ZO_GUARDED_BY(mutex_);
  uint32_t max_size_ ZO_GUARDED_BY(mutex_) = 0;
  // Serializes Init and Close. Taken before the buffer's mutex and before mutex_.
  Mutex init_mutex_;
  std::vector<std::unique_ptr<MappedLogBuffer>> buffers_ ZO_GUARDED_BY(init_mutex_);
  std::atomic<MappedLogBuffer*> buffer_{nullptr};  // the last of `buffers_`; null if closed
};

}  // namespace zo_base
