#include "network/http_header.h"

#include <string_view>
#include <utility>

namespace {

constexpr std::pair<const char*, const char*> kDefaults[] = {
    {"User-Agent",
     "Mozilla/5.0 (Windows NT 10.0; Win64; x64) AppleWebKit/537.36 (KHTML, like Gecko) "
     "Chrome/80.0.4044.92 Safari/537.36"},
    // Ignored: the first row for a name wins. Kept so that the table is the same on all platforms.
    {"User-Agent", "HTTP/1.1"},
    {"Accept", "*/*"},
    {"Connection", "Keep-Alive"},
    {"Accept-Language", "zh-CN,zh;q=0.9"},
};

bool FitsInLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

}  // namespace

CHttpHeader::~CHttpHeader() = default;

void CHttpHeader::Add(const std::string& name, const std::string& value) {
  if (!name.empty() && !value.empty() && FitsInLine(name) && FitsInLine(value)) {
    headers.emplace(name, value);
  }
}

std::string CHttpHeader::ToText() {
  for (const auto& [name, value] : kDefaults) {
    headers.emplace(name, value);
  }
  std::string text;
  for (const auto& [name, value] : headers) {
    text.append(name).append(": ").append(value).append("\r\n");
  }
  return text;
}
