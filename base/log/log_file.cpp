#include "base/log/log_file.h"

#include <array>

#include "base/log/log_format.h"
#include "base/platform/file.h"

namespace zo_base {
namespace {

constexpr uint32_t kDefaultMaxLogBytes = 0x800000;
constexpr uint32_t kDefaultBufferBytes = 0x10000;
constexpr size_t kCutBlockBytes = 8192;

// Copies the file from its present position on. After a failure a part of the copy is missing.
bool CopyRest(File& from, const std::string& to_path) {
  File to(to_path, File::Mode::kWriteNew);
  std::array<char, kCutBlockBytes> block;
  for (;;) {
    const auto read_bytes = from.Read(block.data(), block.size());
    if (!read_bytes || !to.Write({block.data(), *read_bytes})) {
      return false;
    }
    if (*read_bytes == 0) {
      return true;
    }
  }
}

// Drops the older half of a log that has reached its limit. The cut may fall inside a line.
void CutIfTooLong(const std::string& path, uint32_t max_size) {
  const std::string temporary = path + ".tmp";
  bool is_copied = false;
  {
    File log(path, File::Mode::kRead);
    const auto size = log.Size();
    if (!size || *size < max_size || !log.SeekTo(max_size / 2)) {
      return;
    }
    is_copied = CopyRest(log, temporary);
  }
  // The log is closed by now, since not each system replaces a file that is open.
  if (!is_copied || !RenameFile(temporary, path)) {
    RemoveFile(temporary);  // the log is unchanged, and the next flush tries again
  }
}

}  // namespace

bool LogFile::Init(const std::string& path, uint32_t max_size, uint32_t buffer_size) {
  const MutexLock init_lock(init_mutex_);
  {
    const MutexLock lock(mutex_);
    path_ = path;
    max_size_ = max_size != 0 ? max_size : kDefaultMaxLogBytes;
  }
  if (buffer_.load() == nullptr) {
    auto buffer = std::make_unique<MappedLogBuffer>();
    buffer->on_full = [this](const std::string& text) { return WriteToFile(text); };
    if (!buffer->Open(path + std::string(kLogBufferSuffix),
                      buffer_size != 0 ? buffer_size : kDefaultBufferBytes)) {
      return false;
    }
    buffers_.push_back(std::move(buffer));
    buffer_.store(buffers_.back().get(), std::memory_order_release);
  }
  return buffer_.load()->LoadOldContent();
}

void LogFile::Write(std::string_view text) {
  if (MappedLogBuffer* const buffer = buffer_.load(std::memory_order_acquire)) {
    buffer->Append(text);
  }
}

bool LogFile::Flush() {
  MappedLogBuffer* const buffer = buffer_.load(std::memory_order_acquire);
  return buffer != nullptr && buffer->Flush();
}

bool LogFile::Close() {
  const MutexLock init_lock(init_mutex_);
  MappedLogBuffer* const buffer = buffer_.exchange(nullptr);
  return buffer != nullptr && buffer->Close();
}

bool LogFile::WriteToFile(const std::string& text) {
  std::string path;
  uint32_t max_size = 0;
  {
    const MutexLock lock(mutex_);
    path = path_;
    max_size = max_size_;
  }
  AppendToFile(path, text);
  CutIfTooLong(path, max_size);
  return true;
}

}  // namespace zo_base
