#include "base/log/mapped_log_buffer.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "base/log/log_format.h"
#include "base/platform/file.h"

namespace zo_base {
namespace {

// The most that is taken over from a buffer of another size: twice the log's default limit.
constexpr size_t kMaxOldBytes = size_t{16} << 20;

static_assert(std::endian::native == std::endian::little,
              "the header is stored as it is in memory");

}  // namespace

bool MappedLogBuffer::Open(const std::string& path, uint32_t size) {
  const RecursiveMutexLock lock(mutex_);
  path_ = path;
  if (!RecoverBufferOfOtherSize(size) || size < kLogBufferHeaderBytes ||
      size > uint32_t{std::numeric_limits<int32_t>::max()} || !mapping_.Map(path, size)) {
    return false;
  }
  size_ = size;
  view_ = mapping_.view();
  if (mapping_.WasEmpty()) {
    std::memset(view_, 0, size_);
  }
  return LoadOldContentLocked();
}

// A buffer file of another size holds the text of a run with other settings. Deletes it and
// passes its text to `on_full`. One that can't be deleted is used at the size that it has.
bool MappedLogBuffer::RecoverBufferOfOtherSize(uint32_t& size) {
  const auto length = FileSize(path_);
  if (!length) {
    return true;  // no earlier run
  }
  if (*length == 0) {
    return RemoveFile(path_);
  }
  if (*length == size) {
    return true;
  }
  // The file is deleted before its text is safe: a crash or a refusal of `on_full` loses the text.
  // The other order could log it twice.
  const std::string old = ReadFilePrefix(path_, kMaxOldBytes);
  if (old.empty() || !RemoveFile(path_)) {
    size = static_cast<uint32_t>(std::min<uint64_t>(*length, std::numeric_limits<uint32_t>::max()));
    return true;
  }
  std::string text = old.substr(kLogBufferHeaderBytes);  // throws if there is no whole header
  int32_t header = 0;
  std::memcpy(&header, old.data(), sizeof header);
  text.resize(std::min(text.size(), static_cast<size_t>(std::max(header, 0))));
  if (!text.empty() && on_full) {
    on_full(std::string(kOldTextBegin).append(text).append(kOldTextEnd));
  }
  return true;
}

bool MappedLogBuffer::LoadOldContent() {
  const RecursiveMutexLock lock(mutex_);
  return LoadOldContentLocked();
}

bool MappedLogBuffer::LoadOldContentLocked() {
  if (IsReady()) {
    return true;
  }
  if (view_ == nullptr) {
    return false;
  }
  used_ = ReadHeader();
  write_pos_ = view_ + kLogBufferHeaderBytes + used_;
  if (used_ > 0 && on_full) {
    std::string text(kOldTextBegin);
    text += TextLocked();
    // The header differs only if another process uses the file too.
    if (ReadHeader() == used_) {
      text += kOldTextEnd;
    }
    if (on_full(text)) {
      ClearLocked();
    }
  }
  ready_.store(true, std::memory_order_release);
  return true;
}

void MappedLogBuffer::Append(std::string_view text) {
  if (!IsReady()) {
    return;
  }
  const RecursiveMutexLock lock(mutex_);
  if (view_ == nullptr) {
    return;  // closed meanwhile
  }
  // If the line has room, copy it and then count it.
  const int64_t total = used_ + static_cast<int64_t>(text.size());
  if (total + int64_t{kLogBufferHeaderBytes} < int64_t{size_}) {
    std::memcpy(write_pos_, text.data(), text.size());
    used_ = static_cast<int32_t>(total);
    WriteHeader(used_);
    write_pos_ += text.size();
    return;
  }
  // Otherwise pass the buffer's text and the line to the log, in one piece.
  std::string full;
  full.reserve(static_cast<size_t>(total));
  full += TextLocked();
  // The header differs only if another process uses the file too. The line is lost then.
  if (ReadHeader() == used_) {
    full += text;
  }
  if (on_full && on_full(full)) {
    ClearLocked();
  }
}

bool MappedLogBuffer::Flush() {
  const RecursiveMutexLock lock(mutex_);
  if (!IsReady()) {
    return LoadOldContentLocked();
  }
  FlushLocked();
  return true;
}

void MappedLogBuffer::FlushLocked() {
  if (used_ > 0 && on_full && on_full(std::string(TextLocked()))) {
    ClearLocked();
  }
}

bool MappedLogBuffer::Close() {
  const RecursiveMutexLock lock(mutex_);
  if (IsReady()) {
    FlushLocked();
  } else {
    LoadOldContentLocked();
  }
  ready_.store(false, std::memory_order_release);
  mapping_.Unmap();
  view_ = nullptr;
  write_pos_ = nullptr;
  used_ = 0;
  return true;
}

void MappedLogBuffer::Clear() {
  const RecursiveMutexLock lock(mutex_);
  ClearLocked();
}

void MappedLogBuffer::ClearLocked() {
  if (view_ == nullptr) {
    return;
  }
  write_pos_ = view_ + kLogBufferHeaderBytes;
  used_ = 0;
  std::memset(view_, 0, size_);
  WriteHeader(0);
  mapping_.FlushToDisk();
}

// Clamps a damaged count to what the buffer can hold, so that a broken header loses as little text
// as possible.
int32_t MappedLogBuffer::ReadHeader() const {
  const int32_t header =
      std::atomic_ref(*reinterpret_cast<int32_t*>(view_)).load(std::memory_order_relaxed);
  return std::clamp(header, 0, static_cast<int32_t>(size_ - kLogBufferHeaderBytes));
}

// Stores with release order, so that neither compiler nor processor moves the count before the copy
// of the text: a reader that sees the count in the file sees the text too.
void MappedLogBuffer::WriteHeader(int32_t text_bytes) {
  std::atomic_ref(*reinterpret_cast<int32_t*>(view_)).store(text_bytes, std::memory_order_release);
}

std::string_view MappedLogBuffer::TextLocked() const {
  return {view_ + kLogBufferHeaderBytes, static_cast<size_t>(used_)};
}

}  // namespace zo_base
