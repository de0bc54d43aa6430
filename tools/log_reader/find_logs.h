#pragma once

#include <string>
#include <vector>

// Finds the logs and the folders of a client on the disk.
// Threads: any.
// Errors:  a folder that can't be read counts as empty.
namespace log_reader {

// Returns the logs in `folder`, in its subfolders, and in the subfolders of its `sturdy_comp`, in
// order of their paths. So `folder` may be a client's data folder or a folder inside one. A log has
// only its buffer file until its first flush; that counts as a log.
std::vector<std::string> FindLogs(const std::string& folder);

// Returns the folders there that hold a client's log or one of its caches.
std::vector<std::string> FindClientFolders(const std::string& folder);

// Returns the first of the folders that FindLogs looks into which can't be opened; empty if there
// is none. An absent folder is none.
std::string FindRefusedFolder(const std::string& folder);

// Returns the first of a log's two files that exists but can't be opened; empty if there is none.
std::string FindRefusedFile(const std::string& log_path);

}  // namespace log_reader
