#include "tools/sturdyctl/find_log.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "tools/log_reader/find_logs.h"
#include "tools/sturdyctl/usage_error.h"

namespace sturdyctl {

namespace {

// Returns the log's path.
// Errors: UsageError if one of its files may not be read.
std::string Readable(const std::string& log_path) {
  if (const std::string refused = log_reader::FindRefusedFile(log_path); !refused.empty()) {
    throw UsageError("you may not read " + refused + ".");
  }
  return log_path;
}

}  // namespace

std::string FindLog(const std::string& folder) {
  std::error_code error;
  if (std::filesystem::is_regular_file(folder, error)) {
    return Readable(folder);
  }
  const bool is_folder = std::filesystem::is_directory(folder, error);
  if (error == std::errc::permission_denied) {
    throw UsageError("you may not read " + folder + ".");
  }
  if (!is_folder) {
    throw UsageError("there is no folder " + folder + ".");
  }
  const std::vector<std::string> logs = log_reader::FindLogs(folder);
  if (logs.empty()) {
    const std::string refused = log_reader::FindRefusedFolder(folder);
    throw UsageError(refused.empty()
                         ? "there is no log in " + folder + "; give a client's data folder."
                         : "you may not read " + refused + ", so its log isn't found.");
  }
  if (logs.size() > 1) {
    std::string names;
    for (const std::string& log : logs) {
      names += " " + log;
    }
    throw UsageError("there are several logs in " + folder + "; give one of them:" + names);
  }
  return Readable(logs.front());
}

}  // namespace sturdyctl
