#include "tools/sturdyctl/log_tail.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

namespace sturdyctl {

namespace {

std::string ReadFrom(const std::string& path, uint64_t offset) {
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(offset));
  std::ostringstream text;
  text << file.rdbuf();
  return std::move(text).str();
}

std::string ReadLiveBuffer(const std::string& path) {
  const std::string bytes = ReadFrom(path, 0);
  int32_t used = 0;
  if (bytes.size() < sizeof(used)) {
    return {};
  }
  std::memcpy(&used, bytes.data(), sizeof(used));
  const size_t limit = bytes.size() - sizeof(used);
  return bytes.substr(sizeof(used), std::min<size_t>(used < 0 ? 0 : used, limit));
}

uint64_t SizeOf(const std::string& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  return error ? 0 : size;
}

}  // namespace

LogTail::LogTail(std::string log_path) : path_(std::move(log_path)) {}

void LogTail::SkipToEnd() {
  ReadNewText();
  unfinished_.clear();
}

std::string LogTail::ReadNewText() {
  // The buffer may move to the file between the two reads; then both are read again.
  uint64_t size = 0;
  std::string buffer;
  do {
    size = SizeOf(path_);
    buffer = ReadLiveBuffer(path_ + ".qel_mmap");
  } while (SizeOf(path_) != size);

  std::string text;
  if (size < file_offset_) {  // cut at its limit: what remains has been read before
    file_offset_ = size;
    buffer_offset_ = 0;
  } else if (size > file_offset_) {  // the buffer has moved: its head has been read already
    text = ReadFrom(path_, file_offset_).substr(0, size - file_offset_);
    text.erase(0, std::min<size_t>(buffer_offset_, text.size()));
    file_offset_ = size;
    buffer_offset_ = 0;
  }
  if (buffer.size() > buffer_offset_) {
    text += buffer.substr(buffer_offset_);
    buffer_offset_ = buffer.size();
  }
  return text;
}

std::vector<std::string> LogTail::ReadNewLines() {
  std::vector<std::string> lines;
  unfinished_ += ReadNewText();
  size_t begin = 0;
  for (size_t end; (end = unfinished_.find('\n', begin)) != std::string::npos; begin = end + 1) {
    const size_t length =
        end > begin && unfinished_[end - 1] == '\r' ? end - begin - 1 : end - begin;
    lines.push_back(unfinished_.substr(begin, length));
  }
  unfinished_.erase(0, begin);
  return lines;
}

}  // namespace sturdyctl
