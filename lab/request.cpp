#include "lab/request.h"

#include <boost/beast/core/string.hpp>

namespace lab {

const std::string* Request::Header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (boost::beast::iequals(key, {name.data(), name.size()})) {
      return &value;
    }
  }
  return nullptr;
}

std::vector<std::string> Request::HeaderLines() const {
  std::vector<std::string> lines;
  size_t begin = raw_head.find("\r\n");
  while (begin != std::string::npos) {
    begin += 2;
    const size_t end = raw_head.find("\r\n", begin);
    if (end == std::string::npos || end == begin) {
      break;
    }
    lines.push_back(raw_head.substr(begin, end - begin));
    begin = end;
  }
  return lines;
}

}  // namespace lab
