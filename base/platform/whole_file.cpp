#include <algorithm>

#include "base/platform/file.h"

namespace zo_base {
namespace {

// Files are read in pieces of this size: few calls for a cache file, a small buffer for a log.
constexpr size_t kReadPieceBytes = 65536;

}  // namespace

std::string ReadFilePrefix(const std::string& path, size_t limit_bytes) {
  File file(path, File::Mode::kRead);
  std::string text;
  while (file.IsOpen() && text.size() < limit_bytes) {
    const size_t had_bytes = text.size();
    text.resize(had_bytes + std::min(kReadPieceBytes, limit_bytes - had_bytes));
    const auto read_bytes = file.Read(text.data() + had_bytes, text.size() - had_bytes);
    if (!read_bytes) {
      return {};
    }
    text.resize(had_bytes + *read_bytes);
    if (*read_bytes == 0) {
      break;
    }
  }
  return text;
}

bool WriteWholeFile(const std::string& path, std::string_view text) {
  return File(path, File::Mode::kWriteNew).Write(text);
}

bool AppendToFile(const std::string& path, std::string_view text) {
  return File(path, File::Mode::kAppend).Write(text);
}

}  // namespace zo_base
