#include "tools/log_reader/find_logs.h"

#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include "base/log/log_format.h"
#include "lab/utf8_path.h"
#include "tools/platform/growing_file.h"

namespace log_reader {

namespace {

namespace fs = std::filesystem;

std::string BufferPath(const std::string& log_path) {
  return log_path + std::string(zo_base::kLogBufferSuffix);
}

// Returns the log that a folder of a client has; empty if it has none.
std::string LogIn(const fs::path& folder) {
  std::error_code error;
  const fs::path log = folder / zo_base::kLogFileName;
  const bool exists = fs::is_regular_file(log, error) ||
                      fs::is_regular_file(lab::Utf8Path(BufferPath(log.string())), error);
  return exists ? log.string() : std::string();
}

bool HasCache(const fs::path& folder) {
  std::error_code error;
  return fs::exists(folder / "lbs/lbs.data", error) || fs::is_directory(folder / "http_dns", error);
}

// Returns the folders in which a client with this data folder may keep its files.
std::set<fs::path> Candidates(const std::string& folder) {
  std::set<fs::path> candidates = {lab::Utf8Path(folder)};
  std::error_code error;
  for (const fs::path& parent : {lab::Utf8Path(folder), lab::Utf8Path(folder) / "sturdy_comp"}) {
    for (fs::directory_iterator it(parent, error), end; it != end; it.increment(error)) {
      candidates.insert(it->path());
    }
  }
  return candidates;
}

}  // namespace

std::vector<std::string> FindLogs(const std::string& folder) {
  std::vector<std::string> logs;
  for (const fs::path& candidate : Candidates(folder)) {
    if (std::string log = LogIn(candidate); !log.empty()) {
      logs.push_back(std::move(log));
    }
  }
  return logs;
}

std::vector<std::string> FindClientFolders(const std::string& folder) {
  std::vector<std::string> folders;
  for (const fs::path& candidate : Candidates(folder)) {
    if (!LogIn(candidate).empty() || HasCache(candidate)) {
      folders.push_back(candidate.string());
    }
  }
  return folders;
}

std::string FindRefusedFolder(const std::string& folder) {
  std::error_code error;
  for (const fs::path& parent : {lab::Utf8Path(folder), lab::Utf8Path(folder) / "sturdy_comp"}) {
    fs::directory_iterator it(parent, error);
    if (error && error != std::errc::no_such_file_or_directory) {
      return parent.string();
    }
    for (; it != fs::directory_iterator(); it.increment(error)) {
      if (!fs::exists(it->path() / zo_base::kLogFileName, error) && error) {
        return it->path().string();
      }
    }
  }
  return {};
}

std::string FindRefusedFile(const std::string& log_path) {
  for (const std::string& path : {log_path, BufferPath(log_path)}) {
    if (platform::GrowingFile(path).is_refused()) {
      return path;
    }
  }
  return {};
}

}  // namespace log_reader
