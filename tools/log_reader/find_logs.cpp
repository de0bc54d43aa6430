#include "tools/log_reader/find_logs.h"

#include <filesystem>
#include <set>
#include <system_error>

#include "base/log/log_format.h"
#include "tools/log_reader/growing_file.h"

namespace log_reader {

namespace {

namespace fs = std::filesystem;

std::string BufferPath(const std::string& log_path) {
  return log_path + std::string(zo_base::kLogBufferSuffix);
}

}  // namespace

std::vector<std::string> FindLogs(const std::string& folder) {
  std::set<std::string> logs;
  std::error_code error;
  const auto add = [&](const fs::path& path) {
    const fs::path log = path / zo_base::kLogFileName;
    if (fs::is_regular_file(log, error) || fs::is_regular_file(BufferPath(log), error)) {
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

std::string FindRefusedFolder(const std::string& folder) {
  std::error_code error;
  for (const fs::path& parent : {fs::path(folder), fs::path(folder) / "sturdy_comp"}) {
    fs::directory_iterator it(parent, error);
    if (error && error != std::errc::no_such_file_or_directory) {
      return parent.string();
    }
    for (; it != fs::directory_iterator(); it.increment(error)) {
      const fs::file_status log = fs::status(it->path() / zo_base::kLogFileName, error);
      if (log.type() == fs::file_type::unknown) {
        return it->path().string();
      }
    }
  }
  return {};
}

std::string FindRefusedFile(const std::string& log_path) {
  for (const std::string& path : {log_path, BufferPath(log_path)}) {
    if (GrowingFile(path).is_refused()) {
      return path;
    }
  }
  return {};
}

}  // namespace log_reader
