#include "tools/redactor/redactor.h"

#include <algorithm>
#include <cctype>

namespace redactor {

namespace {

// A shorter key is looked for where a key is expected, and nowhere else: it may be a plain word.
constexpr size_t kShortestKeyBytes = 6;
// Bounds the time that a hostile text costs.
constexpr size_t kMaxKeys = 64;

bool IsWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

std::string WithoutWord(const std::string& text, const log_reader::TextSearch& word) {
  std::string out;
  size_t done = 0;
  word.Visit(text, [&](size_t at) {
    const size_t end = at + word.wanted().size();
    const bool is_part = (at > 0 && IsWordCharacter(text[at - 1])) ||
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
    const auto is_same = [&](const log_reader::TextSearch& known) { return known.wanted() == key; };
    if (key.size() >= kShortestKeyBytes && keys_.size() < kMaxKeys &&
        std::none_of(keys_.begin(), keys_.end(), is_same)) {
      keys_.emplace_back(key);
    }
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
