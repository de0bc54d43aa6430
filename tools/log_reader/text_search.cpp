#include "tools/log_reader/text_search.h"

#include <algorithm>

namespace log_reader {

TextSearch::TextSearch(std::string_view wanted) : wanted_(wanted), borders_(wanted.size() + 1, 0) {
  for (size_t i = 1; i < wanted_.size(); ++i) {
    borders_[i + 1] = Extend(borders_[i], wanted_[i]);
  }
}

size_t TextSearch::FindFirst(std::string_view text) const {
  size_t first = std::string_view::npos;
  Visit(text, [&](size_t at) { first = std::min(first, at); });
  return first;
}

size_t TextSearch::FindLast(std::string_view text) const {
  size_t last = std::string_view::npos;
  Visit(text, [&](size_t at) { last = at; });
  return last;
}

}  // namespace log_reader
