#include "tools/redactor/hide_secrets.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>
#include <utility>

#include "tools/redactor/escaped_text.h"
#include "tools/redactor/log_texts.h"
#include "tools/redactor/next_place.h"
#include "tools/redactor/secret_names.h"

namespace redactor {

namespace {

constexpr size_t kMaxKeyBytes = 1024;  // escaped twice
constexpr size_t kMaxNameBytes = 64;

bool IsNameCharacter(char c) {
  constexpr std::string_view kOthers = "_-.[]";
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || kOthers.find(c) != kOthers.npos;
}

bool IsBlankOrControl(char c) {
  constexpr unsigned char kBlank = ' ';
  return static_cast<unsigned char>(c) <= kBlank;
}

// The name of a member, a header or a value.
struct Name {
  std::string plain;
  std::optional<size_t> backslashes;  // before each of its quotes; none: it has no quotes
};

// One walk over a text.
class Walk {
 public:
  explicit Walk(std::string_view text)
      : text_(text),
        places_(text),
        may_learn_(std::any_of(std::begin(kMessagesWithKey), std::end(kMessagesWithKey),
                               [&](std::string_view begin) { return text.starts_with(begin); })),
        is_report_(text.starts_with(kReport)) {
    out_.reserve(text.size());
  }

  Hidden Run() {
    while (at_ < text_.size()) {
      if (!TakePath() && !TakeKeyLine() && !TakeQuery() && !TakeUser() && !TakeNamed()) {
        CopyCharacter();
      }
    }
    return {std::move(out_), std::move(keys_)};
  }

 private:
  // --- Steps ---

  // Copies one character, and notes what begins or ends with it.
  void CopyCharacter() {
    const char c = text_[at_];
    out_ += c;
    const auto ends_out = [&](std::string_view word) { return out_.ends_with(word); };
    const bool ends_line = IsLineEnd(c);
    const size_t backslashes = c == '"' ? BackslashesBefore(out_, out_.size() - 1) : 0;
    const bool is_border = c == '"' && IsBorder(backslashes);
    if (ends_line || is_border) {
      url_end_.reset();
      quote_ = is_border ? std::optional(backslashes) : std::nullopt;
      is_url_ = false;
    }
    const bool ends_label = (c == ':' || c == ' ') &&
                            (std::any_of(std::begin(kBeforeUrl), std::end(kBeforeUrl), ends_out) ||
                             std::any_of(std::begin(kAfterUrl), std::end(kAfterUrl), ends_out));
    is_url_ = is_url_ || ends_label || c == '/';
    if (ends_line || is_border || ends_label || c == '/' ||
        (!quote_ && !is_url_ && ends_out(kAfterTag))) {
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
    if (may_learn_ && key.find(kRedacted) == std::string_view::npos) {
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

  // --- Messages of the log ---

  bool TakePath() {
    if (quote_ || !places_.IsAt(at_, kBeforePath)) {
      return false;
    }
    CopyTo(std::min(text_.find_first_of("\r\n", at_), text_.size()));
    return true;
  }

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
    if (question > 0 && IsOnlyValue()) {
      HideValue();
      return true;
    }
    do {
      TakeValue();
    } while (TakeAnd());
    return true;
  }

  // Returns whether a query has one value only, without a name. A value can end in '=': Base64
  // does.
  [[nodiscard]] bool IsOnlyValue() {
    size_t end = at_ + NameLength(at_);
    while (const size_t equals = places_.Length(end, '=')) {
      end += equals;
    }
    const bool is_key = places_.IsAt(at_, kKeyName);
    return EndsText(end) && !(is_key && FindKeyEnd(at_ + kKeyName.size()));
  }

  // Takes "name=value" or "value".
  void TakeValue() {
    const size_t name = NameLength(at_);
    const bool is_key = text_.substr(at_, name) == kKeyName;
    CopyTo(at_ + name);
    if (const std::optional<size_t> end = is_key ? FindKeyEnd(at_) : std::nullopt) {
      if (IsLibrarysQuery(*end)) {
        Learn(at_, *end);
      }
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

  // Returns whether the values after a key are those that the library writes. The URL before them
  // comes from a document, and can have a "k" of its own.
  [[nodiscard]] bool IsLibrarysQuery(size_t key_end) const {
    const size_t number = key_end + kAfterKey.size();
    const size_t end = std::min(text_.find_first_not_of("-0123456789", number), text_.size());
    return places_.IsAt(end, kAfterNumber);
  }

  // Returns the end of the application's key: it reaches to the next value that the library writes.
  // Returns nothing if no key begins here, or if it has been taken out.
  std::optional<size_t> FindKeyEnd(size_t begin) {
    const size_t key_end = after_key_.Find(text_, begin);
    const bool has_ended = url_end_ && begin <= *url_end_;
    if (has_ended || places_.IsAt(begin, kRedacted) ||
        key_end - begin > kMaxKeyBytes - kAfterKey.size() ||
        scheme_end_.Find(text_, begin) < key_end) {
      return std::nullopt;
    }
    for (size_t place = begin; quote_ && place < key_end; place = places_.Next(place)) {
      if (EndsText(place)) {
        url_end_ = place;
        return std::nullopt;
      }
    }
    return key_end;
  }

  // --- User information ---

  // Takes an "@". Hides all since the begin of the URL or address, which the output has already.
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
    CopyCharacter();
    if (name.backslashes) {
      TakeMember(name.plain, *name.backslashes);
    } else if (c == '=') {
      HideValue();
      while (TakeAnd()) {
        TakeValue();
      }
    } else {
      TakeHeader();
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
    if (is_string && is_report_ && name == kAppKey) {
      Learn(quote + 1, std::max(quote + 1, end - own_backslashes - 1));
    }
    out_.append(written).append(kRedacted).append(written);
    at_ = end;
  }

  // Learns nothing: the library cuts a key with a colon short in its header.
  void TakeHeader() {
    while (places_.At(at_) == ' ' || places_.At(at_) == '\t') {
      CopyTo(at_ + 1);
    }
    size_t end = at_;
    while (!EndsText(end)) {
      end = places_.Next(end);
    }
    HideTo(end);
  }

  const std::string_view text_;
  const EscapedText places_;
  const bool may_learn_;
  const bool is_report_;
  size_t at_ = 0;
  std::string out_;
  std::vector<std::string> keys_;
  NextPlace after_key_{kAfterKey};
  NextPlace scheme_end_{"://"};
  std::optional<size_t> url_end_;  // of the string that is walked, as far as known
  std::optional<size_t> quote_;    // the backslashes of the last quote of the line that is no URL's
  bool is_url_ = false;            // a URL, a path or an address has begun in the line or string
  size_t user_begin_ = 0;          // in the output: where user information would begin
};

}  // namespace

Hidden HideSecrets(std::string_view text) {
  Walk walk(text);
  return walk.Run();
}

}  // namespace redactor
