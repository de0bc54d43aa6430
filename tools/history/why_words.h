#pragma once

#include <string>

#include "tools/history/history.h"

namespace history {

// Explains the answers that a client got, in sentences for a reader who doesn't know the library.
// Threads: one.
// Owner:   the caller keeps the History alive.
// Errors:  none. What the log lacks is said to be unknown.
class WhyWords {
 public:
  explicit WhyWords(const History& history) : history_(history) {}

  // Return the text about the last answer, or about each. The second explains each list and each
  // fetch of one once, so its length and its time grow as the log does.
  [[nodiscard]] std::string Last() const;
  [[nodiscard]] std::string All() const;

 private:
  const History& history_;
};

}  // namespace history
