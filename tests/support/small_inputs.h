#pragma once

#include <cstddef>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

// Splits a text at its blanks.
inline std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

// Calls `visit` with every text that is made of up to `max_tokens` of `tokens`, the empty one too.
template <typename Visit>
void ForAllTexts(const std::vector<std::string>& tokens, size_t max_tokens, const Visit& visit,
                 const std::string& prefix = std::string()) {
  visit(prefix);
  if (max_tokens == 0) {
    return;
  }
  for (const std::string& token : tokens) {
    ForAllTexts(tokens, max_tokens - 1, visit, prefix + token);
  }
}
