#include "tools/platform/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace platform {

bool IsMapped(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const std::string end = " " + fs::canonical(path, error).string();
  if (error) {
    return false;
  }
  for (fs::directory_iterator it("/proc", error), last; it != last; it.increment(error)) {
    std::ifstream maps(it->path() / "maps");
    for (std::string line; std::getline(maps, line);) {
      if (line.ends_with(end)) {
        return true;
      }
    }
  }
  return false;
}

bool MayWrite(const std::string& path) {
  return ::access(path.c_str(), W_OK) == 0 || errno == ENOENT;
}

bool WriteNewFile(const std::string& path, const std::string& text) {
  constexpr mode_t kOwnerOnly = 0600;
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly);
  std::FILE* file = descriptor < 0 ? nullptr : ::fdopen(descriptor, "w");
  const bool is_written =
      file != nullptr && std::fwrite(text.data(), 1, text.size(), file) == text.size();
  return file != nullptr && std::fclose(file) == 0 && is_written;
}

}  // namespace platform
