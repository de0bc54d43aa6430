#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace redactor {

// Finds a word from places on that only rise. Keeps what it has found, so that a text isn't
// searched again from each of them.
// Threads: any, for one object at a time.
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

}  // namespace redactor
