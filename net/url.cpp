#include "net/url.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "base/ascii.h"
#include "base/decimal.h"

namespace url {
namespace {

static_assert(std::is_sorted(kKnownSchemes.begin(), kKnownSchemes.end()),
              "GetURLScheme searches it by halves");

// Blanks, control characters and, since characters are signed here, every byte from 0x80 up.
bool IsDroppedAtEnds(char c) {
  return static_cast<signed char>(c) <= ' ';
}
bool IsSlash(char c) {
  return c == '/' || c == '\\';
}
bool EndsAuthority(char c) {
  return IsSlash(c) || c == '?' || c == '#';
}

// Returns the last `wanted` in [first, last), or null.
const char* FindLast(const char* first, const char* last, char wanted) {
  while (last != first) {
    if (*--last == wanted) {
      return last;
    }
  }
  return nullptr;
}

const char* FindFirst(const char* first, const char* last, char wanted) {
  return static_cast<const char*>(std::memchr(first, wanted, static_cast<size_t>(last - first)));
}

// Writes the ranges of one URL. Requires: all pointers lie in its text.
class Splitter {
 public:
  Splitter(const char* text, URLParts& parts) : text_(text), parts_(parts) {}

  void SplitAuthority(const char* begin, const char* end) {
    if (const char* const at = FindLast(begin, end, '@')) {
      if (const char* const colon = FindFirst(begin, at, ':')) {
        parts_.username = Range(begin, colon);
        parts_.password = Range(colon + 1, at);
      } else {
        parts_.username = Range(begin, at);
      }
      begin = at + 1;
    }
    SplitServer(begin, end);
  }

  void SplitFullPath(const char* begin, const char* end) {
    if (const char* const hash = FindFirst(begin, end, '#')) {
      parts_.ref = Range(hash + 1, end);
      end = hash;
    }
    if (const char* const mark = FindFirst(begin, end, '?')) {
      parts_.query = Range(mark + 1, end);
      end = mark;
    }
    if (begin != end) {
      parts_.path = Range(begin, end);
    }
  }

  [[nodiscard]] URLRange Range(const char* begin, const char* end) const {
    return {static_cast<int32_t>(begin - text_), static_cast<int32_t>(end - begin)};
  }

 private:
  void SplitServer(const char* begin, const char* end) {
    if (begin == end) {
      return;
    }
    // A colon inside the brackets of an IPv6 address begins no port.
    const char* const colon = FindLast(begin, end, ':');
    const char* bracket = FindLast(begin, end, ']');
    if (bracket == nullptr && *begin == '[') {
      bracket = end;
    }
    if (colon != nullptr && (bracket == nullptr || colon > bracket)) {
      parts_.port = Range(colon + 1, end);
      end = colon;
    }
    if (begin != end) {
      parts_.host = Range(begin, end);
    }
  }

  const char* const text_;
  URLParts& parts_;
};

URLParts Parse(const std::string& url) {
  constexpr size_t kMaxLength = std::numeric_limits<int32_t>::max();
  URLParts parts;
  ParseURL(url.data(), static_cast<int32_t>(std::min(url.size(), kMaxLength)), parts);
  return parts;
}

}  // namespace

void ParseURL(const char* text, int32_t length, URLParts& parts) {
  parts = URLParts();
  const char* begin = text;
  const char* end = text + std::max(length, 0);
  while (begin != end && IsDroppedAtEnds(*begin)) {
    ++begin;
  }
  while (end != begin && IsDroppedAtEnds(end[-1])) {
    --end;
  }
  if (begin == end) {
    return;
  }
  Splitter splitter(text, parts);
  if (const char* const colon = FindFirst(begin, end, ':')) {
    parts.scheme = splitter.Range(begin, colon);
    begin = colon + 1;
  }
  const char* const authority = std::find_if_not(begin, end, IsSlash);
  const char* const full_path = std::find_if(authority, end, EndsAuthority);
  splitter.SplitAuthority(authority, full_path);
  splitter.SplitFullPath(full_path, end);
}

std::string_view TextOfRange(std::string_view text, const URLRange& range) {
  if (range.begin < 0 || range.len <= 0) {
    return {};
  }
  return text.substr(static_cast<size_t>(range.begin), static_cast<size_t>(range.len));
}

std::string GetURLHost(const std::string& url, bool with_port) {
  const URLParts parts = Parse(url);
  std::string host(TextOfRange(url, parts.host));
  if (with_port && !host.empty()) {
    if (const std::string_view port = TextOfRange(url, parts.port); !port.empty()) {
      host += ':';
      host += port;
    }
  }
  return host;
}

void GetURLHostAndPort(const std::string& url, std::string& host, int32_t& port) {
  const URLParts parts = Parse(url);
  const std::string_view port_text = TextOfRange(url, parts.port);
  if (!port_text.empty()) {
    port = zo_base::LeadingNumber<int32_t>(port_text);
  }
  host += TextOfRange(url, parts.host);
}

int32_t GetURLPort(const std::string& url) {
  return zo_base::LeadingNumber<int32_t>(TextOfRange(url, Parse(url).port));
}

std::string GetURLScheme(const std::string& url) {
  std::string scheme(TextOfRange(url, Parse(url).scheme));
  std::transform(scheme.begin(), scheme.end(), scheme.begin(), zo_base::LowerAscii);
  if (!std::binary_search(kKnownSchemes.begin(), kKnownSchemes.end(), scheme)) {
    scheme.clear();
  }
  return scheme;
}

bool IsHttpsURL(const std::string& url) {
  return GetURLScheme(url) == "https";
}

}  // namespace url
