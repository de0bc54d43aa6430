#pragma once

#include <string>

namespace sturdyctl {

// Returns the path of the one log in a client's data folder, or of the log itself.
// Errors: UsageError if there is none, if there is more than one, or if it may not be read.
std::string FindLog(const std::string& folder);

// Returns the one folder there that holds a client's files: its log, or its caches.
// Errors: as those of FindLog.
std::string FindClientFolder(const std::string& folder);

// Returns the path of the log in a folder that FindClientFolder has found. It may have none.
// Errors: UsageError if one of the log's files may not be read.
std::string LogOfClient(const std::string& client_folder);

}  // namespace sturdyctl
