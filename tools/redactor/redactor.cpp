#include "tools/redactor/redactor.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace redactor {

namespace {

// A shorter key is looked for where a key is expected, and nowhere else: it may be a plain word.
constexpr size_t kShortestKeyBytes = 6;
// Bounds the time that a hostile text costs.
constexpr size_t kMaxKeys = 64;

// Words that the log has in its own text. A key that is one of them is treated like a short one.
constexpr std::string_view kLogWords[] = {"address", "business", "default", "environment",
                                          "request", "response", "service", "statistic",
                                          "success", "transfer", "version"};

bool IsLogWord(std::string_view word) {
  return std::find(std::begin(kLogWords), std::end(kLogWords), word) != std::end(kLogWords);
}

// Returns a text with another form of its slashes, as JSON can have them.
std::string WithSlashes(std::string_view text, std::string_view slash) {
  std::string out;
  for (const char c : text) {
    out += c == '/' ? slash : std::string_view(&c, 1);
  }
  return out;
}

bool IsWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

// Returns whether a text ends in an escape of JSON or of a URL, such as \n, \u0022 or %3D. Its last
// character is no part of a word then.
bool EndsInEscape(std::string_view text) {
  const auto is_hex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
  const auto ends_in = [&](std::string_view begin, size_t digits) {
    const size_t size = begin.size() + digits;
    if (text.size() < size) {
      return false;
    }
    const std::string_view end = text.substr(text.size() - size);
    return end.starts_with(begin) && std::all_of(end.end() - digits, end.end(), is_hex);
  };
  constexpr std::string_view kControls[] = {"\\n", "\\t", "\\r", "\\b", "\\f"};
  return ends_in("\\u", 4) || ends_in("%", 2) ||
         std::any_of(std::begin(kControls), std::end(kControls),
                     [&](std::string_view control) { return text.ends_with(control); });
}

std::string WithoutWord(const std::string& text, const log_reader::TextSearch& word) {
  std::string out;
  size_t done = 0;
  word.Visit(text, [&](size_t at) {
    const size_t end = at + word.wanted().size();
    const std::string_view before = std::string_view(text).substr(0, at);
    const bool is_part = (at > 0 && IsWordCharacter(text[at - 1]) && !EndsInEscape(before)) ||
                         (end < text.size() && IsWordCharacter(text[end]));
    if (!is_part && at >= done) {
      out.append(text, done, at - done).append(kRedacted);
      done = end;
    }
  });
  return out.append(text, done);
}

}  // namespace

void Redactor::Learn(std::string_view message) {
  for (const std::string& key : HideSecrets(message).keys) {
    if (key.size() >= kShortestKeyBytes && !IsLogWord(key)) {
      for (const std::string_view slash : {"/", "\\/", "\\\\/"}) {
        AddKey(WithSlashes(key, slash));
      }
    }
  }
}

void Redactor::AddKey(const std::string& key) {
  const auto is_same = [&](const log_reader::TextSearch& known) { return known.wanted() == key; };
  if (keys_.size() < kMaxKeys && std::none_of(keys_.begin(), keys_.end(), is_same)) {
    keys_.emplace_back(key);
  }
}

std::string Redactor::Redact(std::string_view text) const {
  std::string out = HideSecrets(text).text;
  for (const log_reader::TextSearch& key : keys_) {
    out = WithoutWord(out, key);
  }
  return out;
}

void Redactor::RedactAll(std::vector<std::string>& texts) const {
  for (std::string& text : texts) {
    text = Redact(text);
  }
}

std::string Redactor::RedactCut(std::string_view text) const {
  const size_t end = std::min(text.find_first_of("\r\n"), text.size());
  return std::string(kRedacted) + Redact(text.substr(end));
}

}  // namespace redactor
