#pragma once

#include <string>
#include <vector>

// Finds the logs of a client on the disk.
// Threads: any.
// Errors:  a folder that can't be read counts as empty.
namespace log_reader {

// Returns the logs of a client's data folder, or of a folder inside one, in order of their names. A
// log has only its buffer file until its first flush; that counts as a log.
std::vector<std::string> FindLogs(const std::string& folder);

// Returns the first of a log's two files that exists but can't be opened; empty if there is none.
std::string FindRefusedFile(const std::string& log_path);

}  // namespace log_reader
