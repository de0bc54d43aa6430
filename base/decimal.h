#pragma once

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

// Reads whole decimal numbers from text, in any locale.
// Threads: any.
namespace zo_base {

// Returns the number if all of `text` is one and the type can hold it; otherwise empty. Accepts a
// minus for a signed type only.
template <class Number>
std::optional<Number> WholeNumber(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

// Returns the number of the digits at the begin of `text`; 0 if there are none. Returns the largest
// number if the type can't hold it.
template <class Number>
Number LeadingDigits(std::string_view text) {
  Number number = 0;
  if (!text.empty() && text.front() != '-') {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec == std::errc::result_out_of_range) {
      return std::numeric_limits<Number>::max();
    }
  }
  return number;
}

// Returns the number at the begin of `text`, after blanks and with a sign, as atoi does; 0 if there
// is none. Clamps it to the type.
template <class Number>
Number LeadingNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  if (text.substr(0, 1) == "+") {
    return LeadingDigits<Number>(text.substr(1));
  }
  if (text.substr(0, 1) != "-") {
    return LeadingDigits<Number>(text);
  }
  Number number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc::result_out_of_range ? std::numeric_limits<Number>::min() : number;
}

}  // namespace zo_base
