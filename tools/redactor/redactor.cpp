#include "tools/redactor/redactor.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

namespace redactor {

namespace {

// The end of the names whose values are secrets, in lower case and without '-' and '_'.
constexpr std::array<std::string_view, 8> kSecretNames = {
    "appkey", "apikey", "token", "secret", "password", "passwd", "authorization", "cookie"};

// The library writes a key between these two. A key can have blanks and quotes.
constexpr std::string_view kKeyName = "k";
constexpr std::string_view kAfterKey = "&sv=";
constexpr size_t kMaxKeyBytes = 1024;  // escaped twice
// The line with two keys has this between them.
constexpr std::string_view kSecondKey = " request business token:";

// The log writes these directly before a URL or an address.
constexpr std::array<std::string_view, 5> kLabels = {
    "url:", "host:", "lbs_url:", "default_link_v4:", "default_link_v6:"};

// A shorter key is looked for where a key is expected, and nowhere else: it may be a plain word.
constexpr size_t kShortestKeyBytes = 6;
// Bounds the time that a hostile text costs.
constexpr size_t kMaxKeys = 64;

constexpr size_t kMaxNameBytes = 64;
constexpr size_t kMaxBackslashes = 16;

bool IsWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

bool IsNameCharacter(char c) {
  return IsWordCharacter(c) || c == '_' || c == '-' || c == '.';
}

bool IsBlankOrControl(char c) {
  constexpr unsigned char kBlank = ' ';
  return static_cast<unsigned char>(c) <= kBlank;
}

bool IsSecretName(std::string_view name) {
  std::string plain;
  for (const char c : name) {
    if (c != '-' && c != '_') {
      plain += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return std::any_of(kSecretNames.begin(), kSecretNames.end(),
                     [&](std::string_view secret) { return plain.ends_with(secret); });
}

// Finds a word from places on that only rise. Keeps what it has found, so that a text isn't
// searched again from each of them.
class NextPlace {
 public:
  explicit NextPlace(std::string_view word) : word_(word) {}

  size_t Find(std::string_view text, size_t from) {
    if (!found_ || *found_ < from) {
      found_ = text.find(word_, from);
    }
    return *found_;
  }

 private:
  const std::string_view word_;
  std::optional<size_t> found_;
};

// One walk over a text.
class Walk {
 public:
  explicit Walk(std::string_view text) : text_(text) { out_.reserve(text.size()); }

  std::string Run() {
    while (at_ < text_.size()) {
      if (!TakeQuery() && !TakeUser() && !TakeSecret()) {
        Copy();
      }
    }
    return std::move(out_);
  }

  // Returns the keys of the application that the text has.
  [[nodiscard]] const std::vector<std::string>& keys() const { return keys_; }

 private:
  [[nodiscard]] char At(size_t place) const { return place < text_.size() ? text_[place] : '\0'; }
  [[nodiscard]] size_t SkipBackslashes(size_t place) const {
    size_t end = place;
    while (end - place < kMaxBackslashes && At(end) == '\\') {
      ++end;
    }
    return end;
  }

  // Returns the length of `c`, or of its escape such as \u0026, at a place; 0 if it isn't there.
  [[nodiscard]] size_t Length(size_t place, char c) const {
    constexpr std::string_view kDigits = "0123456789abcdef";
    constexpr size_t kEscapeBytes = 5;
    if (At(place) == c) {
      return 1;
    }
    if (At(place) != '\\') {
      return 0;
    }
    const size_t escape = SkipBackslashes(place);
    const auto code = static_cast<unsigned char>(c);
    const std::string wanted = std::string("u00") + kDigits[code / 16] + kDigits[code % 16];
    const std::string_view found = text_.substr(escape, kEscapeBytes);
    const bool same = std::equal(found.begin(), found.end(), wanted.begin(), wanted.end(),
                                 [](char left, char right) {
                                   return std::tolower(static_cast<unsigned char>(left)) == right;
                                 });
    return same ? escape + kEscapeBytes - place : 0;
  }

  // Returns whether no URL reaches beyond this place: a blank, or a quote with its backslashes.
  [[nodiscard]] bool EndsUrl(size_t place) const {
    const char c = At(place);
    return IsBlankOrControl(c) || c == '"' || c == '<' || c == '>' ||
           (c == '\\' && At(SkipBackslashes(place)) == '"');
  }

  void Copy() {
    const char c = text_[at_];
    const bool ends_url = EndsUrl(at_);
    is_address_ = !ends_url && (is_address_ || c == '/' || c == ':');
    out_ += c;
    const std::string_view word = std::string_view(out_).substr(user_begin_);
    if (ends_url || c == '/' || std::count(kLabels.begin(), kLabels.end(), word) != 0) {
      user_begin_ = out_.size();
    }
    ++at_;
  }

  void Hide(std::string_view secret) {
    if (!secret.empty()) {
      out_ += kRedacted;
    }
  }

  void HideKey(std::string_view key) {
    if (key != kRedacted) {
      keys_.emplace_back(key);
    }
    Hide(key);
  }

  // --- Queries ---

  [[nodiscard]] bool NameFollows(size_t place) const {
    size_t end = place;
    while (end - place < kMaxNameBytes && IsNameCharacter(At(end))) {
      ++end;
    }
    return end > place && Length(end, '=') > 0;
  }

  // Takes "?", "#" or "&" and the values after it. An "&" begins a query if the text before it is
  // lost.
  bool TakeQuery() {
    const size_t question = std::max(Length(at_, '?'), Length(at_, '#'));
    const size_t mark = std::max(question, Length(at_, '&'));
    if (mark == 0 || !((question > 0 && is_address_) || NameFollows(at_ + mark))) {
      return false;
    }
    out_ += text_.substr(at_, mark);
    at_ += mark;
    while (TakeValue()) {
    }
    user_begin_ = out_.size();
    return true;
  }

  // Takes "name=value" or "value", and the "&" after it. Returns whether there was one.
  bool TakeValue() {
    // Find the end of the name and of the value.
    const size_t begin = at_;
    std::optional<size_t> value;
    size_t end = begin;
    while (!EndsUrl(end) && Length(end, '&') == 0) {
      const size_t equals = value ? 0 : Length(end, '=');
      end += equals > 0 ? equals : 1;
      value = equals > 0 ? end : value;
    }
    // A key of the application reaches to the next value that the library writes, unless it has
    // been taken out.
    const bool is_key = value && text_.substr(begin, kKeyName.size() + 1) == "k=";
    if (is_key) {
      const size_t key_end = after_key_.Find(text_, *value);
      const bool is_ours = !text_.substr(*value).starts_with(kRedacted) &&
                           key_end - *value <= kMaxKeyBytes - kAfterKey.size() &&
                           scheme_end_.Find(text_, *value) >= key_end;
      end = is_ours ? key_end : end;
    }
    out_ += text_.substr(begin, value.value_or(begin) - begin);
    at_ = end;
    const std::string_view secret =
        text_.substr(value.value_or(begin), end - value.value_or(begin));
    is_key ? HideKey(secret) : Hide(secret);
    const size_t next = Length(at_, '&');
    out_ += text_.substr(at_, next);
    at_ += next;
    return next > 0;
  }

  // --- User information ---

  bool TakeUser() {
    if (text_[at_] != '@' || user_begin_ == out_.size() || EndsUrl(at_ + 1)) {
      return false;
    }
    out_.resize(user_begin_);
    out_ += kRedacted;
    out_ += text_[at_++];
    return true;
  }

  // --- Members, headers and lines with a name ---

  // Returns the name that ends the output, without blanks, quotes and backslashes after it.
  [[nodiscard]] std::string_view NameBefore(bool& is_quoted) const {
    std::string_view name = out_;
    name.remove_suffix(name.size() - name.find_last_not_of(' ') - 1);
    is_quoted = name.ends_with('"');
    if (is_quoted) {
      name.remove_suffix(1);
      name.remove_suffix(name.size() - name.find_last_not_of('\\') - 1);
    }
    size_t begin = name.size();
    while (begin > 0 && name.size() - begin < kMaxNameBytes && IsNameCharacter(name[begin - 1])) {
      --begin;
    }
    return name.substr(begin);
  }

  bool TakeSecret() {
    bool is_quoted = false;
    if (text_[at_] != ':' || !IsSecretName(NameBefore(is_quoted))) {
      return false;
    }
    do {
      Copy();
    } while (At(at_) == ' ' && !text_.substr(at_).starts_with(kSecondKey));
    const size_t quote = SkipBackslashes(at_);
    if (is_quoted && At(quote) == '"') {
      TakeQuoted(quote - at_);
    } else {
      TakePlain(is_quoted ? ",}]{[\r\n \\" : "\r\n");
    }
    return true;
  }

  // Takes a JSON string. `backslashes` precede its quotes: 0, 1 inside a string, 3 inside a string
  // of that.
  void TakeQuoted(size_t backslashes) {
    out_ += text_.substr(at_, backslashes + 1);
    at_ += backslashes + 1;
    size_t end = at_;
    while (end < text_.size() && At(end) != '\n') {
      const size_t quote = SkipBackslashes(end);
      const size_t count = quote - end;
      const bool ends_outer_text = count < backslashes;
      if (At(quote) == '"' &&
          (ends_outer_text || (count - backslashes) % (2 * (backslashes + 1)) == 0)) {
        end = quote - std::min(count, backslashes);
        break;
      }
      end = std::min(quote + 1, text_.size());
    }
    HideKey(text_.substr(at_, end - at_));
    at_ = end;
  }

  // Takes a value that reaches to one of `ends`, or to the second key of its line.
  void TakePlain(std::string_view ends) {
    std::string_view value = text_.substr(at_);
    value = value.substr(0, value.find_first_of(ends));
    value = value.substr(0, value.find(kSecondKey));
    HideKey(value);
    at_ += value.size();
  }

  const std::string_view text_;
  size_t at_ = 0;
  std::string out_;
  std::vector<std::string> keys_;
  NextPlace after_key_{kAfterKey};
  NextPlace scheme_end_{"://"};
  size_t user_begin_ = 0;    // in the output: where user information would begin
  bool is_address_ = false;  // the word so far has a '/' or a ':'
};

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

void Redactor::Learn(std::string_view text) {
  Walk walk(text);
  walk.Run();
  AddKeys(walk.keys());
}

std::string Redactor::Redact(std::string_view text) {
  Walk walk(text);
  std::string out = walk.Run();
  AddKeys(walk.keys());
  for (const log_reader::TextSearch& key : keys_) {
    out = WithoutWord(out, key);
  }
  return out;
}

void Redactor::RedactAll(std::vector<std::string>& texts) {
  for (std::string& text : texts) {
    text = Redact(text);
  }
}

void Redactor::AddKeys(const std::vector<std::string>& keys) {
  for (const std::string& key : keys) {
    const auto is_same = [&](const log_reader::TextSearch& known) { return known.wanted() == key; };
    if (key.size() >= kShortestKeyBytes && keys_.size() < kMaxKeys &&
        std::none_of(keys_.begin(), keys_.end(), is_same)) {
      keys_.emplace_back(key);
    }
  }
}

std::string Redactor::RedactCut(std::string_view text) {
  const size_t end = std::min(text.find_first_of("\r\n"), text.size());
  return std::string(kRedacted) + Redact(text.substr(end));
}

}  // namespace redactor
