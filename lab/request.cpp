#include "lab/request.h"

#include <strings.h>

namespace lab {

const std::string* Request::Header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (key.size() == name.size() && strncasecmp(key.data(), name.data(), name.size()) == 0) {
      return &value;
    }
  }
  return nullptr;
}

}  // namespace lab
