#include "tools/log_reader/log_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <set>
#include <thread>
#include <utility>

namespace log_reader {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kLogName = "sturdy_comp.log";
constexpr std::string_view kBufferSuffix = ".qel_mmap";
constexpr size_t kHeaderBytes = 4;
constexpr size_t kBlockBytes = 65536;
// How much is kept to find the place in a log that was cut, and how little of it will do.
constexpr size_t kAnchorBytes = 65536;
constexpr size_t kLeastAnchorBytes = 32;
// A log that ends within a line is being written. After this many waits its writer has died. A live
// writer can lose its processor within a line for tens of ms on a busy machine.
constexpr int kMostWaits = 500;
constexpr std::chrono::milliseconds kWait{1};

// An open file that is read piece by piece. What is no file, a folder say, isn't opened.
class GrowingFile {
 public:
  explicit GrowingFile(const std::string& path)
      : path_(path), descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    struct stat status = {};
    if (descriptor_ < 0) {
      is_refused_ = errno != ENOENT;
      return;
    }
    if (::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)) {
      inode_ = status.st_ino;
    } else {
      ::close(std::exchange(descriptor_, -1));
    }
  }
  ~GrowingFile() {
    if (descriptor_ >= 0) {
      ::close(descriptor_);
    }
  }
  GrowingFile(const GrowingFile&) = delete;
  GrowingFile& operator=(const GrowingFile&) = delete;

  [[nodiscard]] uint64_t inode() const { return inode_; }
  // Something is there, and the system won't open it.
  [[nodiscard]] bool is_refused() const { return is_refused_; }
  [[nodiscard]] uint64_t Size() const {
    struct stat status = {};
    return ::fstat(descriptor_, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
  }

  // Appends all bytes after `offset`. Returns false if the disk returns fewer.
  bool ReadFrom(uint64_t offset, std::string& text) const {
    std::array<char, kBlockBytes> block;
    ssize_t bytes = 0;
    while (descriptor_ >= 0 && (bytes = ::pread(descriptor_, block.data(), block.size(),
                                                static_cast<off_t>(offset))) > 0) {
      text.append(block.data(), static_cast<size_t>(bytes));
      offset += static_cast<uint64_t>(bytes);
    }
    return bytes == 0;
  }

  // Whether the path still leads to this file. What was refused isn't waited for: it may never
  // come.
  [[nodiscard]] bool IsInPlace() const {
    if (is_refused_) {
      return true;
    }
    struct stat status = {};
    const bool is_there = ::stat(path_.c_str(), &status) == 0;
    return is_there && S_ISREG(status.st_mode) ? status.st_ino == inode_ : descriptor_ < 0;
  }

 private:
  const std::string& path_;
  int descriptor_;
  bool is_refused_ = false;
  uint64_t inode_ = 0;
};

struct Buffer {
  size_t capacity = 0;
  std::string text;
};

Buffer ReadBuffer(const std::string& path) {
  std::string bytes;
  GrowingFile(path).ReadFrom(0, bytes);
  int32_t used = 0;
  if (bytes.size() < kHeaderBytes) {
    return {};
  }
  std::memcpy(&used, bytes.data(), sizeof used);
  Buffer buffer;
  buffer.capacity = bytes.size() - kHeaderBytes;
  buffer.text = bytes.substr(kHeaderBytes, static_cast<size_t>(std::max(used, 0)));
  // A text ends in a line end. Zeros are those of a clearing that has begun.
  buffer.text.erase(buffer.text.find_last_not_of('\0') + 1);
  return buffer;
}

bool EndsWithinLine(const std::string& text) {
  return !text.empty() && text.back() != '\n';
}

// The number of bytes of the buffer's text that have reached the log already.
size_t Overlap(const std::string& log, const Buffer& buffer) {
  const std::string& text = buffer.text;
  if (text.empty() || log.empty()) {
    return 0;
  }
  if (text.starts_with(log)) {  // it is all that has come since the last look
    return log.size();
  }
  // The log ends in the buffer's text and the line that had no room, or the marker of a start.
  size_t at = log.rfind(text, log.size() - std::min(log.size(), buffer.capacity));
  if (at != std::string::npos && log.size() - at >= buffer.capacity) {
    return text.size();
  }
  const size_t framed = text.size() + kOldTextEnd.size();
  if (log.size() >= framed && log.ends_with(kOldTextEnd) &&
      log.compare(log.size() - framed, text.size(), text) == 0) {
    return text.size();
  }
  if (EndsWithinLine(log)) {
    for (size_t part = std::min(text.size(), log.size()); part > 0; --part) {
      if (log.compare(log.size() - part, part, text, 0, part) == 0) {
        return part;
      }
    }
  }
  return 0;
}

void KeepTail(std::string& text) {
  text.erase(0, text.size() - std::min(text.size(), kAnchorBytes));
}

}  // namespace

// Both files at one moment of the writer's steps.
struct LogReader::Look {
  uint64_t inode = 0;
  uint64_t begin = 0;  // where `log` begins in the log file
  std::string log;
  std::string buffer;
  size_t overlap = 0;
};

LogReader::LogReader(std::string log_path) : path_(std::move(log_path)) {}

LogReader::Look LogReader::LookAtFiles() const {
  const std::string buffer_path = path_ + std::string(kBufferSuffix);
  for (int waits = 0;;) {
    const GrowingFile file(path_);
    Look look;
    look.inode = file.inode();
    const bool same = look.inode == inode_ && file.Size() >= offset_;
    look.begin = same ? offset_ : 0;
    // The buffer is read twice, so that a clearing in between shows.
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
      continue;  // cut in between
    }
    if ((EndsWithinLine(look.log) || EndsWithinLine(buffer.text)) && waits < kMostWaits) {
      ++waits;
      std::this_thread::sleep_for(kWait);
      continue;
    }
    look.overlap = Overlap(look.log, buffer);
    look.buffer = std::move(buffer.text);
    return look;
  }
}

size_t LogReader::KnownBytes(const Look& look, const std::string& text) const {
  if (look.inode == inode_ && look.begin == offset_) {
    if (const size_t at = text.find(given_); at != std::string::npos) {
      return at + given_.size();
    }
    // The disk was full: of the buffer's text perhaps a part has reached the log.
    const auto differ = std::mismatch(text.begin(), text.end(), given_.begin(), given_.end()).first;
    const std::string_view same(text.data(), static_cast<size_t>(differ - text.begin()));
    return same.find_last_of('\n') + 1;
  }
  std::string anchor = before_ + given_;
  for (KeepTail(anchor); anchor.size() >= kLeastAnchorBytes; anchor.erase(0, anchor.size() / 2)) {
    if (const size_t at = text.rfind(anchor); at != std::string::npos) {
      return at + anchor.size();
    }
  }
  return 0;
}

std::string LogReader::ReadNewText() {
  Look look = LookAtFiles();
  std::string text = look.log + look.buffer.substr(look.overlap);
  std::string fresh = text.substr(KnownBytes(look, text));
  if (look.begin != offset_ || look.inode != inode_) {
    before_.clear();
  }
  follows_ = true;
  inode_ = look.inode;
  offset_ = look.begin;
  if (look.overlap == 0) {
    offset_ += look.log.size();
    before_ += look.log;
    KeepTail(before_);
    given_ = std::move(look.buffer);
  } else {  // what is in both files must still be known at the next look
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

std::string FindRefusedFile(const std::string& log_path) {
  const std::string buffer_path = log_path + std::string(kBufferSuffix);
  for (const std::string* path : {&log_path, &buffer_path}) {
    if (GrowingFile(*path).is_refused()) {
      return *path;
    }
  }
  return {};
}

std::vector<std::string> FindLogs(const std::string& folder) {
  std::set<std::string> logs;
  std::error_code error;
  const auto add = [&](const fs::path& path) {
    const fs::path log = path / kLogName;
    if (fs::is_regular_file(log, error) ||
        fs::is_regular_file(log.string() + std::string(kBufferSuffix), error)) {
      logs.insert(log.string());
    }
  };
  add(folder);
  for (const fs::path& parent : {fs::path(folder), fs::path(folder) / "sturdy_comp"}) {
    for (fs::directory_iterator it(parent, error), end; it != end; it.increment(error)) {
      add(it->path());
    }
  }
  return {logs.begin(), logs.end()};
}

}  // namespace log_reader
