#pragma once

#include <cstdio>
#include <ctime>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "base/platform/local_time.h"

namespace sturdyctl {

// Returns the JSON text, on one line or indented. Bytes that aren't UTF-8, in a path for example,
// become U+FFFD.
template <class Json>
std::string JsonText(const Json& json, int indent = -1) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

// Formats a time in the local time zone, as strftime does.
inline std::string LocalTime(std::time_t time, const char* format) {
  const std::tm local = zo_base::LocalTime(time);
  std::ostringstream text;
  text << std::put_time(&local, format);
  return text.str();
}

// Tells the user where the client's log is.
inline void PrintLogPath(const std::string& path) {
  std::printf("log: %s (\"sturdyctl log\" also shows its newest lines)\n", path.c_str());
}

}  // namespace sturdyctl
