#include "network/platform/header_lines.h"

#include <algorithm>
#include <array>

#include "base/ascii.h"

namespace KRBASE::network::platform {

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::array<std::string_view, 3> kFramingNames = {"Content-Length", "Transfer-Encoding",
                                                           "Expect"};

std::string_view WithoutBlanks(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool IsFramingName(std::string_view name) {
  return std::any_of(kFramingNames.begin(), kFramingNames.end(), [name](std::string_view framing) {
    return zo_base::EqualIgnoringCase(framing, name);
  });
}

// Calls `use(line)` for each line of the text until it returns false.
template <class Use>
void ForEachLine(std::string_view text, Use use) {
  while (!text.empty()) {
    const size_t end = text.find(kLineEnd);
    if (!use(text.substr(0, end)) || end == std::string_view::npos) {
      return;
    }
    text.remove_prefix(end + kLineEnd.size());
  }
}

}  // namespace

void HeaderLines::AddOrReplace(std::string_view text) {
  ForEachLine(text, [this](std::string_view line) {
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
      return true;
    }
    const std::string_view name = WithoutBlanks(line.substr(0, colon));
    if (name.empty() || IsFramingName(name) ||
        line.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos) {
      return true;
    }
    Remove(name);
    lines_.push_back({std::string(name), std::string(line.substr(colon + 1))});
    return true;
  });
}

void HeaderLines::Remove(std::string_view name) {
  std::erase_if(lines_,
                [name](const Line& line) { return zo_base::EqualIgnoringCase(line.name, name); });
}

bool HeaderLines::Has(std::string_view name) const {
  return std::any_of(lines_.begin(), lines_.end(), [name](const Line& line) {
    return zo_base::EqualIgnoringCase(line.name, name);
  });
}

std::string HeaderValue(std::string_view head, std::string_view name) {
  std::string value;
  ForEachLine(head, [&value, name](std::string_view line) {
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos ||
        !zo_base::EqualIgnoringCase(line.substr(0, colon), name)) {
      return true;
    }
    value = WithoutBlanks(line.substr(colon + 1));
    return false;
  });
  return value;
}

bool HasUnrequestedCoding(std::string_view head) {
  const std::string coding = HeaderValue(head, "Transfer-Encoding");
  return !coding.empty() && !zo_base::EqualIgnoringCase(coding, "chunked") &&
         !zo_base::EqualIgnoringCase(coding, "identity");
}

}  // namespace KRBASE::network::platform
