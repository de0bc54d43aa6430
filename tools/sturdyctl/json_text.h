#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace sturdyctl {

// As text, on one line or indented. Bytes that are no UTF-8, in a path say, show as U+FFFD.
template <class Json>
std::string JsonText(const Json& json, int indent = -1) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace sturdyctl
