#pragma once

#include <string>

namespace lab {

// Returns the folder in which an environment keeps its files, with a "/" at its end.
// `client_folder` is the one that the client sets; an empty `business` means the built-in name.
std::string DataFolder(const std::string& client_folder, const std::string& business = "");

}  // namespace lab
