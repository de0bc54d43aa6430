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

// Returns the number that all of `text` is, without a sign for an unsigned type; empty if it is
// none, or one that the type can't hold.
template <class Number>
std::optional<Number> WholeNumber(std::string_view text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

// Returns the number that the first digits of `text` are, 0 if there are none, and the largest if
// the type can't hold it.
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

// Returns the number that `text` begins with, after blanks and with a sign, as atoi does; 0 if
// there is none, and the nearest that the type can hold.
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
