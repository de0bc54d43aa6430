#include "tools/sturdyctl/find_log.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "base/log/log_format.h"
#include "lab/utf8_path.h"
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

// Returns the one path that was found.
// Errors: UsageError if there is none, or more than one.
std::string OnlyOne(const std::vector<std::string>& found, const std::string& folder,
                    const std::string& kind) {
  if (found.empty()) {
    const std::string refused = log_reader::FindRefusedFolder(folder);
    throw UsageError(
        refused.empty() ? "there is no " + kind + " in " + folder + "; give a client's data folder."
                        : "you may not read " + refused + ", so a " + kind + " in it isn't found.");
  }
  if (found.size() > 1) {
    std::string names;
    for (const std::string& path : found) {
      names += " " + path;
    }
    throw UsageError("there are several " + kind + "s in " + folder +
                     "; give one of them:" + names);
  }
  return found.front();
}

// Errors: UsageError if it is no folder.
void CheckFolder(const std::string& folder) {
  std::error_code error;
  const bool is_folder = std::filesystem::is_directory(lab::Utf8Path(folder), error);
  if (error == std::errc::permission_denied) {
    throw UsageError("you may not read " + folder + ".");
  }
  if (!is_folder) {
    throw UsageError("there is no folder " + folder + ".");
  }
}

}  // namespace

std::string FindLog(const std::string& folder) {
  std::error_code error;
  if (std::filesystem::is_regular_file(lab::Utf8Path(folder), error)) {
    return Readable(folder);
  }
  CheckFolder(folder);
  return Readable(OnlyOne(log_reader::FindLogs(folder), folder, "log"));
}

std::string FindClientFolder(const std::string& folder) {
  std::error_code error;
  const std::string parent =
      std::filesystem::is_regular_file(lab::Utf8Path(folder), error)
          ? std::filesystem::absolute(lab::Utf8Path(folder)).parent_path().string()
          : folder;
  CheckFolder(parent);
  return OnlyOne(log_reader::FindClientFolders(parent), parent, "client");
}

std::string LogOfClient(const std::string& client_folder) {
  return Readable(client_folder + "/" + std::string(zo_base::kLogFileName));
}

}  // namespace sturdyctl
