#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace lab {

// Returns the path that a UTF-8 text names. A path that is made from the text itself would take
// each of its bytes for a letter on Windows.
inline std::filesystem::path Utf8Path(std::string_view text) {
  return std::filesystem::path(std::u8string(text.begin(), text.end()));
}

}  // namespace lab
