#pragma once

#include <array>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>

namespace sturdyctl {

// Returns the JSON text, on one line or indented. Bytes that aren't UTF-8, in a path for example,
// become U+FFFD.
template <class Json>
std::string JsonText(const Json& json, int indent = -1) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

// Formats a time in the local time zone, as strftime does.
inline std::string LocalTime(std::time_t time, const char* format) {
  std::tm local = {};
  localtime_r(&time, &local);
  std::array<char, 32> text = {};
  std::strftime(text.data(), text.size(), format, &local);
  return text.data();
}

// Tells the user where the client's log is.
inline void PrintLogPath(const std::string& path) {
  std::printf("log: %s (\"sturdyctl log\" also shows its newest lines)\n", path.c_str());
}

}  // namespace sturdyctl
