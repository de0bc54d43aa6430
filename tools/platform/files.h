#pragma once

#include <string>

// Threads: any.
namespace platform {

// Returns whether a process has the file mapped, as a writer has its buffer. Processes of other
// users and of another mount namespace can't be seen. On Windows none can.
bool IsMapped(const std::string& path);

// Returns whether this user may write the file or folder. True if it is missing.
bool MayWrite(const std::string& path);

// Writes a file that only its owner may read. Returns false if it can't, or if there is one
// already.
bool WriteNewFile(const std::string& path, const std::string& text);

}  // namespace platform
