#include "tools/redactor/hide_secrets.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>
#include <utility>

#include "tools/redactor/escaped_text.h"
#include "tools/redactor/secret_names.h"

namespace redactor {

namespace {

// The library writes a key between these two. A key can have any characters.
constexpr std::string_view kKeyName = "k=";
constexpr std::string_view kAfterKey = "&sv=";
constexpr size_t kMaxKeyBytes = 1024;  // escaped twice
// A message of the log has these two, with a key after each. The second key ends the message.
constexpr std::string_view kFirstKey = " current business token :";
constexpr std::string_view kSecondKey = " request business token:";
// Headers and reports have the key under this name, and the log writes kReport before a report. A
// document can have such a member too, whose value is no key.
constexpr std::string_view kAppKey = "appkey";
constexpr std::string_view kReport = " Do statistic data :";

// The log writes these directly before a URL, an address or a path. It can have blanks and quotes.
constexpr std::string_view kBeforeUrl[] = {"host:",     "request:",   "link address ",
                                           "business:", "data_path:", "Second pass of "};
// The log can also write these after it, with a blank before them.
constexpr std::string_view kAfterUrl[] = {
    "url:",    "default_link_v4:", "default_link_v6:", "backup_urls:", "default_link_list:",
    "http://", "https://",         "use default:",     "found:",       "res:"};
// The end of a tag of the log.
constexpr std::string_view kAfterTag = "] ";

constexpr size_t kMaxNameBytes = 64;

bool IsNameCharacter(char c) {
  constexpr std::string_view kOthers = "_-.[]";
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || kOthers.find(c) != kOthers.npos;
}

bool IsBlankOrControl(char c) {
  constexpr unsigned char kBlank = ' ';
  return static_cast<unsigned char>(c) <= kBlank;
}

// Removes the blanks and line ends at the end of a text, and their escapes.
std::string_view WithoutBlanks(std::string_view text) {
  const auto drop = [&](std::string_view characters) {
    text = text.substr(0, text.find_last_not_of(characters) + 1);
  };
  drop(" \t\r\n");
  while (text.ends_with("\\t") || text.ends_with("\\r") || text.ends_with("\\n")) {
    text.remove_suffix(1);
    drop("\\");
    drop(" \t\r\n");
  }
  return text;
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

// The name of a member, a header or a value.
struct Name {
  std::string plain;
  std::optional<size_t> backslashes;  // before each of its quotes; none: it has no quotes
};

// One walk over a text.
class Walk {
 public:
  explicit Walk(std::string_view text)
      : text_(text), places_(text), has_report_(text.find(kReport) != std::string_view::npos) {
    out_.reserve(text.size());
  }

  Hidden Run() {
    while (at_ < text_.size()) {
      if (!TakeKeyLine() && !TakeQuery() && !TakeUser() && !TakeNamed()) {
        Copy();
      }
    }
    return {std::move(out_), std::move(keys_)};
  }

 private:
  // --- Steps ---

  // Copies one character, and notes what begins or ends with it.
  void Copy() {
    const char c = text_[at_];
    out_ += c;
    const auto ends_out = [&](std::string_view word) { return out_.ends_with(word); };
    const bool ends_line = IsLineEnd(c);
    const size_t backslashes = c == '"' ? BackslashesBefore(out_, out_.size() - 1) : 0;
    const bool is_border = c == '"' && IsBorder(backslashes);
    if (ends_line || is_border) {
      quote_ = is_border ? std::optional(backslashes) : std::nullopt;
      is_url_ = false;
    }
    const bool ends_label = (c == ':' || c == ' ') &&
                            (std::any_of(std::begin(kBeforeUrl), std::end(kBeforeUrl), ends_out) ||
                             std::any_of(std::begin(kAfterUrl), std::end(kAfterUrl), ends_out));
    is_url_ = is_url_ || ends_label || c == '/';
    if (ends_line || is_border || ends_label || c == '/' || (!is_url_ && ends_out(kAfterTag))) {
      user_begin_ = out_.size();
    }
    ++at_;
  }

  // Returns whether the quote that ends the output begins or ends a string. Else it is a part of a
  // URL, or of a string around it.
  [[nodiscard]] bool IsBorder(size_t backslashes) const {
    constexpr std::string_view kBeforeFirstString = "{[,";
    if (!quote_ || backslashes <= *quote_) {
      return quote_ || !is_url_;
    }
    const std::string_view before =
        WithoutBlanks(std::string_view(out_).substr(0, out_.size() - 1 - backslashes));
    return !is_url_ && !before.empty() &&
           kBeforeFirstString.find(before.back()) != std::string_view::npos;
  }

  void CopyTo(size_t end) {
    out_ += text_.substr(at_, end - at_);
    at_ = end;
  }

  void HideTo(size_t end) {
    if (end > at_) {
      out_ += kRedacted;
    }
    at_ = end;
  }

  void Learn(size_t begin, size_t end) {
    const std::string_view key = text_.substr(begin, end - begin);
    if (key.find(kRedacted) == std::string_view::npos) {
      keys_.emplace_back(key);
    }
  }

  // Returns whether a URL or a header ends at a place: with its string or line, or before what the
  // log writes after a URL. A blank or another quote doesn't end it.
  [[nodiscard]] bool EndsText(size_t place) const {
    if (quote_) {
      return places_.EndsString(place, *quote_);
    }
    const auto follows = [&](std::string_view word) { return places_.IsAt(place + 1, word); };
    return places_.EndsLine(place) ||
           (places_.At(place) == ' ' &&
            std::any_of(std::begin(kAfterUrl), std::end(kAfterUrl), follows));
  }

  // --- The message with two keys ---

  bool TakeKeyLine() {
    const bool is_first = places_.IsAt(at_, kFirstKey);
    if (quote_ || !(is_first || places_.IsAt(at_, kSecondKey))) {
      return false;
    }
    CopyTo(at_ + (is_first ? kFirstKey : kSecondKey).size());
    const size_t second = is_first ? text_.find(kSecondKey, at_) : std::string_view::npos;
    const size_t message_end = std::max(text_.find_last_not_of("\r\n") + 1, at_);
    const size_t end = std::min(second, message_end);
    Learn(at_, end);
    HideTo(end);
    return true;
  }

  // --- Queries ---

  // Returns the length of a name and its '='; 0 if there is none.
  [[nodiscard]] size_t NameLength(size_t place) const {
    size_t end = place;
    while (end - place < kMaxNameBytes && IsNameCharacter(places_.At(end))) {
      ++end;
    }
    const size_t equals = places_.Length(end, '=');
    return end > place && equals > 0 ? end + equals - place : 0;
  }

  // Takes "?", "#" or "&" and the values after it. Each of them begins a query before a name and a
  // '=', since the text before an "&" can be lost. Else "?" and "#" do, in a URL or inside a word.
  bool TakeQuery() {
    const size_t question = std::max(places_.Length(at_, '?'), places_.Length(at_, '#'));
    const size_t mark = std::max(question, places_.Length(at_, '&'));
    const size_t next = at_ + mark;
    const auto is_in_word = [&] {
      return !out_.empty() && !IsBlankOrControl(out_.back()) &&
             !IsBlankOrControl(places_.At(next)) && !EndsText(next);
    };
    if (mark == 0 || !(NameLength(next) > 0 || (question > 0 && (is_url_ || is_in_word())))) {
      return false;
    }
    CopyTo(next);
    do {
      TakeValue();
    } while (TakeAnd());
    return true;
  }

  // Takes "name=value" or "value".
  void TakeValue() {
    const size_t name = NameLength(at_);
    const bool is_key = text_.substr(at_, name) == kKeyName;
    CopyTo(at_ + name);
    if (const std::optional<size_t> end = is_key ? FindKeyEnd() : std::nullopt) {
      Learn(at_, *end);
      HideTo(*end);
    } else {
      HideValue();
    }
  }

  bool TakeAnd() {
    const size_t mark = places_.Length(at_, '&');
    CopyTo(at_ + mark);
    return mark > 0;
  }

  void HideValue() {
    size_t end = at_;
    while (!EndsText(end) && places_.Length(end, '&') == 0) {
      end = places_.Next(end);
    }
    HideTo(end);
  }

  // Returns the end of the application's key: it reaches to the next value that the library writes.
  // Returns nothing if no key begins here, or if it has been taken out.
  std::optional<size_t> FindKeyEnd() {
    const size_t key_end = after_key_.Find(text_, at_);
    if (places_.IsAt(at_, kRedacted) || key_end - at_ > kMaxKeyBytes - kAfterKey.size() ||
        scheme_end_.Find(text_, at_) < key_end) {
      return std::nullopt;
    }
    for (size_t place = at_; quote_ && place < key_end; place = places_.Next(place)) {
      if (EndsText(place)) {
        return std::nullopt;
      }
    }
    return key_end;
  }

  // --- User information ---

  bool TakeUser() {
    const size_t mark = places_.Length(at_, '@');
    if (mark == 0 || user_begin_ == out_.size()) {
      return false;
    }
    out_.resize(user_begin_);
    out_ += kRedacted;
    CopyTo(at_ + mark);
    return true;
  }

  // --- Members, headers and values with a name ---

  // Returns the name that ends the output.
  [[nodiscard]] Name NameBefore() const {
    std::string_view text = WithoutBlanks(out_);
    Name name;
    if (text.ends_with('"')) {
      text.remove_suffix(1);
      name.backslashes = BackslashesBefore(text, text.size());
      text.remove_suffix(*name.backslashes);
    }
    size_t begin = text.size();
    while (begin > 0 && text.size() - begin < kMaxNameBytes && IsNameCharacter(text[begin - 1])) {
      --begin;
    }
    name.plain = PlainName(text.substr(begin));
    return name;
  }

  bool TakeNamed() {
    const char c = text_[at_];
    if (c != ':' && c != '=') {
      return false;
    }
    const Name name = NameBefore();
    if (!IsSecretName(name.plain)) {
      return false;
    }
    Copy();
    if (name.backslashes) {
      TakeMember(name.plain, *name.backslashes);
    } else if (c == '=') {
      HideValue();
      while (TakeAnd()) {
        TakeValue();
      }
    } else {
      TakeHeader(name.plain);
    }
    return true;
  }

  // Hides the value of a member. Writes it as a string, so that JSON stays JSON.
  void TakeMember(std::string_view name, size_t backslashes) {
    CopyTo(places_.SkipBlanks(at_));
    const size_t quote = places_.SkipBackslashes(at_);
    const bool is_string = places_.At(quote) == '"';
    const size_t own_backslashes = is_string ? quote - at_ : backslashes;
    const size_t end = places_.ValueEnd(at_, own_backslashes);
    const std::string written = std::string(backslashes, '\\') + '"';
    if (end == at_ || text_.substr(at_, end - at_) == written + written) {
      CopyTo(end);
      return;
    }
    if (is_string && has_report_ && name == kAppKey) {
      Learn(quote + 1, std::max(quote + 1, end - own_backslashes - 1));
    }
    out_.append(written).append(kRedacted).append(written);
    at_ = end;
  }

  void TakeHeader(std::string_view name) {
    while (places_.At(at_) == ' ' || places_.At(at_) == '\t') {
      CopyTo(at_ + 1);
    }
    size_t end = at_;
    while (!EndsText(end)) {
      end = places_.Next(end);
    }
    if (!quote_ && name.ends_with(kAppKey)) {
      Learn(at_, end);
    }
    HideTo(end);
  }

  const std::string_view text_;
  const EscapedText places_;
  const bool has_report_;
  size_t at_ = 0;
  std::string out_;
  std::vector<std::string> keys_;
  NextPlace after_key_{kAfterKey};
  NextPlace scheme_end_{"://"};
  std::optional<size_t> quote_;  // the backslashes of the last quote of the line that is no URL's
  bool is_url_ = false;          // a URL, a path or an address has begun in the line or string
  size_t user_begin_ = 0;        // in the output: where user information would begin
};

}  // namespace

Hidden HideSecrets(std::string_view text) {
  Walk walk(text);
  return walk.Run();
}

}  // namespace redactor
