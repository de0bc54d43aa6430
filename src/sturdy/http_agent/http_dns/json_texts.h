#pragma once

#include <string>
#include <vector>

#include "base/json/json.h"

namespace zo_sturdy {

// The strings of a JSON array; what else is in it is passed over.
inline std::vector<std::string> TextsOf(const zo_base::json11::Json& array) {
  std::vector<std::string> texts;
  for (const zo_base::json11::Json& element : array.array_items()) {
    if (element.type() == zo_base::json11::Json::STRING) {
      texts.push_back(element.string_value());
    }
  }
  return texts;
}

}  // namespace zo_sturdy
