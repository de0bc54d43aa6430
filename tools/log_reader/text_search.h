#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace log_reader {

// Finds a text in other ones. Takes time in proportion to the lengths alone: std::string::find
// takes their product if both repeat themselves, as hostile ones do.
// Threads: any, for the const members.
// Owner:   anyone; keeps a copy of the text.
// Errors:  none. An empty text is at the begin of any other.
class TextSearch {
 public:
  explicit TextSearch(std::string_view wanted);

  [[nodiscard]] const std::string& wanted() const { return wanted_; }

  // Calls `visit` with the begin of each occurrence, in order. They may overlap. Returns the
  // largest number of bytes that the text ends in and the wanted text begins with.
  template <class Visitor>
  size_t Visit(std::string_view text, const Visitor& visit) const {
    if (wanted_.empty()) {
      visit(size_t{0});
      return 0;
    }
    size_t same = 0;
    for (size_t at = 0; at < text.size(); ++at) {
      if (same == 0 && (at = text.find(wanted_.front(), at)) == std::string_view::npos) {
        return 0;
      }
      same = Extend(same, text[at]);
      if (same == wanted_.size()) {
        visit(at + 1 - same);
      }
    }
    return same;
  }

  // Return npos if the text hasn't the wanted one.
  [[nodiscard]] size_t FindFirst(std::string_view text) const;
  [[nodiscard]] size_t FindLast(std::string_view text) const;

  // Returns the next smaller number of bytes that the first `bytes` of the wanted text both begin
  // with and end in.
  [[nodiscard]] size_t Border(size_t bytes) const { return borders_[bytes]; }

 private:
  // Returns how many bytes match after `c`, if `same` do before it.
  [[nodiscard]] size_t Extend(size_t same, char c) const {
    while (same > 0 && (same == wanted_.size() || wanted_[same] != c)) {
      same = borders_[same];
    }
    return wanted_[same] == c ? same + 1 : same;
  }

  std::string wanted_;
  std::vector<size_t> borders_;
};

}  // namespace log_reader
