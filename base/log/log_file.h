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

// The log file with its size limit and a mapped buffer in front of it: lines collect in the buffer
// file beside it (path + ".qel_mmap") and are appended to the log when that is full. A log that has
// reached its limit loses its older half: it is cut, not rotated, by way of a temporary file
// (path + ".tmp") that is renamed over it, so that a kill at any point leaves a whole log.
//
// Threads: any.
// Owner:   the logger.
// Errors:  Init returns false if the buffer can't be made; lines are dropped then. A log that
//          can't be opened loses the buffer's content. Nothing is shown to anyone.
class LogFile {
 public:
  LogFile() = default;
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  // 0 selects the default of either size. A later call changes path and limit of the log and keeps
  // the buffer. Throws what MappedLogBuffer::Open throws.
  bool Init(const std::string& path, uint32_t max_size, uint32_t buffer_size);
  void Write(std::string_view text);
  bool Flush();
  // Forgets the buffer once its text is in the log. A Write that is under way stays safe: the
  // buffer object lives as long as this one.
  bool Close();
  // Appends to the log and cuts it if it has reached its limit. Always true: a log that can't be
  // written costs the text, not the buffer.
  bool WriteToFile(const std::string& text);

 private:
  Mutex mutex_;
  std::string path_ ZO_GUARDED_BY(mutex_);
  uint32_t max_size_ ZO_GUARDED_BY(mutex_) = 0;
  Mutex init_mutex_;  // one Init or Close at a time; taken before the buffer's and mutex_
  std::vector<std::unique_ptr<MappedLogBuffer>> buffers_ ZO_GUARDED_BY(init_mutex_);
  std::atomic<MappedLogBuffer*> buffer_{nullptr};  // the last of `buffers_`, null when closed
};

}  // namespace zo_base
