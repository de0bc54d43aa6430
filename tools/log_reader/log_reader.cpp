#include "tools/log_reader/log_reader.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include "base/log/log_format.h"
#include "tools/log_reader/text_search.h"
#include "tools/platform/files.h"
#include "tools/platform/growing_file.h"

namespace log_reader {

namespace {

// The bytes that are kept to find the place again in a log that was cut, and the fewest that do.
constexpr size_t kAnchorBytes = 65536;
constexpr size_t kLeastAnchorBytes = 32;
// A log that ends within a line is perhaps being written. After the longest wait the writer has
// died or is stopped.
constexpr std::chrono::milliseconds kWait{1};
constexpr std::chrono::milliseconds kLongestWait{500};

struct Buffer {
  size_t capacity = 0;
  std::string text;
};

Buffer ReadBuffer(const std::string& path) {
  std::string bytes;
  platform::GrowingFile(path).ReadFrom(0, bytes);
  int32_t used = 0;
  if (bytes.size() < zo_base::kLogBufferHeaderBytes) {
    return {};
  }
  std::memcpy(&used, bytes.data(), sizeof used);
  Buffer buffer;
  buffer.capacity = bytes.size() - zo_base::kLogBufferHeaderBytes;
  buffer.text =
      bytes.substr(zo_base::kLogBufferHeaderBytes, static_cast<size_t>(std::max(used, 0)));
  // The text ends in a line end, so zeros at its end are from a clearing in progress.
  buffer.text.erase(buffer.text.find_last_not_of('\0') + 1);
  return buffer;
}

bool EndsWithinLine(const std::string& text) {
  return !text.empty() && text.back() != '\n';
}

// Returns how many bytes of the buffer's text are at the end of the log, from a line's begin on.
size_t AppendedPart(const std::string& log, const std::string& text) {
  const TextSearch search(text);
  size_t part = search.Visit(log, [](size_t) {});
  while (part > 0 && part < log.size() && log[log.size() - part - 1] != '\n') {
    part = search.Border(part);
  }
  return part;
}

bool Contains(std::string_view log, const std::string& text) {
  return TextSearch(text).FindFirst(log) != std::string::npos;
}

// Returns whether the text is perhaps being appended, alone or before a message: it is cleared
// after that.
bool IsAppending(const std::string& log, const std::string& text) {
  return !text.empty() && (AppendedPart(log, text) > 0 || Contains(log, text));
}

// Returns how many bytes of the buffer's text the log already has.
size_t Overlap(const std::string& log, const Buffer& buffer) {
  const std::string& text = buffer.text;
  if (text.empty() || log.empty()) {
    return 0;
  }
  // All that is new in the log is the begin of the buffer's text.
  if (text.starts_with(log)) {
    return log.size();
  }
  // The log ends in the buffer's text and the line that had no room for itself in the buffer.
  if (log.size() >= buffer.capacity) {
    const size_t last = log.size() - buffer.capacity;
    if (Contains(std::string_view(log).substr(0, last + text.size()), text)) {
      return text.size();
    }
  }
  // A start has moved the buffer's text and framed it.
  const size_t framed = text.size() + zo_base::kOldTextEnd.size();
  if (log.size() >= framed && log.ends_with(zo_base::kOldTextEnd) &&
      log.compare(log.size() - framed, text.size(), text) == 0) {
    return text.size();
  }
  // An append is in progress: the buffer's text or a part of it is in the log.
  if (EndsWithinLine(log)) {
    return Contains(log, text) ? text.size() : AppendedPart(log, text);
  }
  return 0;
}

void KeepTail(std::string& text) {
  text.erase(0, text.size() - std::min(text.size(), kAnchorBytes));
}

}  // namespace

// The two files between two of the writer's steps.
struct LogReader::Look {
  [[nodiscard]] std::string Text() const { return log + buffer.substr(overlap); }

  uint64_t inode = 0;
  uint64_t begin = 0;  // the place of `log` in the log file
  std::string log;
  std::string buffer;
  size_t overlap = 0;
};

LogReader::LogReader(std::string log_path, Writer writer)
    : path_(std::move(log_path)), writer_(writer) {}

std::string LogReader::BufferPath() const {
  return path_ + std::string(zo_base::kLogBufferSuffix);
}

// After two cuts the log may have the inode number of the file before them, so this also compares
// the bytes before the offset.
bool LogReader::IsKnown(const platform::GrowingFile& file) const {
  if (file.inode() != inode_ || file.Size() < offset_) {
    return false;
  }
  const size_t bytes = std::min(before_.size(), kLeastAnchorBytes);
  std::string text;
  return bytes == 0 || (file.ReadFrom(offset_ - bytes, text) &&
                        before_.compare(before_.size() - bytes, bytes, text, 0, bytes) == 0);
}

LogReader::Look LogReader::LookAtFiles() const {
  const std::string buffer_path = BufferPath();
  const auto wait_end = std::chrono::steady_clock::now() + kLongestWait;
  for (;;) {
    const platform::GrowingFile file(path_);
    Look look;
    look.inode = file.inode();
    look.begin = IsKnown(file) ? offset_ : 0;
    // Read the buffer twice to notice a clearing meanwhile.
    Buffer buffer;
    Buffer again;
    bool readable = true;
    do {
      readable = file.ReadFrom(look.begin + look.log.size(), look.log);
      buffer = ReadBuffer(buffer_path);
      again = ReadBuffer(buffer_path);
    } while (readable &&
             (!again.text.starts_with(buffer.text) || file.Size() > look.begin + look.log.size()));
    if (!file.IsInPlace() || file.Size() < look.begin + look.log.size()) {
      continue;  // the log was cut meanwhile
    }
    // Wait for the end of an append. Equal lines may look like one, so this is a reason to wait
    // only.
    if (writer_ == Writer::kMayLive && std::chrono::steady_clock::now() < wait_end &&
        (EndsWithinLine(look.log) || EndsWithinLine(buffer.text) ||
         IsAppending(look.log, buffer.text))) {
      std::this_thread::sleep_for(kWait);
      continue;
    }
    look.overlap = Overlap(look.log, buffer);
    look.buffer = std::move(buffer.text);
    return look;
  }
}

size_t LogReader::KnownBytes(const Look& look, const std::string& text) const {
  const bool is_same = look.inode == inode_ && look.begin == offset_;
  if (const size_t at = is_same ? TextSearch(given_).FindFirst(text) : std::string::npos;
      at != std::string::npos) {
    return at + given_.size();
  }
  // The log was cut or replaced: find the end of the known text in it. A log that was cut twice may
  // have the inode number of the file before.
  std::string anchor = before_ + given_;
  for (KeepTail(anchor); anchor.size() >= kLeastAnchorBytes; anchor.erase(0, anchor.size() / 2)) {
    if (const size_t at = TextSearch(anchor).FindLast(text); at != std::string::npos) {
      return at + anchor.size();
    }
  }
  if (!is_same) {
    return 0;
  }
  // The disk was full: perhaps only a part of the buffer's text has reached the log.
  const auto differ = std::mismatch(text.begin(), text.end(), given_.begin(), given_.end()).first;
  const std::string_view same(text.data(), static_cast<size_t>(differ - text.begin()));
  return same.find_last_of('\n') + 1;
}

std::string LogReader::ReadNewText() {
  Look look = LookAtFiles();
  bool is_held = false;
  if (writer_ == Writer::kMayLive && EndsWithinLine(look.Text())) {
    is_held = platform::IsMapped(BufferPath());
    if (!is_held) {
      look = LookAtFiles();  // the writer may have ended the line before it died
    }
  }
  // Leave out what earlier calls have returned, and a message that its writer can still end.
  std::string text = look.Text();
  std::string fresh = text.substr(KnownBytes(look, text));
  if (is_held && !fresh.empty()) {
    const size_t held_bytes = ParseMessages(fresh).back().bytes.size();
    fresh.erase(fresh.size() - held_bytes);
    text.erase(text.size() - held_bytes);
  }
  // Remember the place for the next call.
  if (look.begin != offset_ || look.inode != inode_) {
    before_.clear();
  }
  follows_ = true;
  inode_ = look.inode;
  offset_ = look.begin;
  if (look.overlap == 0 && !is_held) {
    offset_ += look.log.size();
    before_ += look.log;
    KeepTail(before_);
    given_ = std::move(look.buffer);
  } else {  // the next look must still know what both files have, or read the held line again
    given_ = std::move(text);
  }
  return fresh;
}

std::vector<LogMessage> LogReader::ReadNewMessages() {
  const bool follows = follows_;
  std::vector<LogMessage> messages = ParseMessages(ReadNewText());
  if (follows && !messages.empty() && messages.front().level == "cut") {
    messages.erase(messages.begin());
  }
  return messages;
}

}  // namespace log_reader
