#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/history/history.h"

namespace history {

// Explains the answers that a client got, in sentences for a reader who doesn't know the library.
// Threads: one.
// Owner:   the caller keeps the History alive.
// Errors:  none. What the log lacks is said to be unknown.
class WhyWords {
 public:
  explicit WhyWords(const History& history) : history_(history) {}

  // Return the text about the last answer, or about each. A list that several answers come from is
  // explained once, each fetch once, and what became of newer lists whenever that has changed.
  [[nodiscard]] std::string Last() const;
  [[nodiscard]] std::string All() const;

 private:
  // The answers from the list since its rotation began: with the document, a hold or a default.
  struct Rotation {
    std::vector<size_t> got;  // before a default: all of them; else: the last one
    const Hold* hold = nullptr;
    std::optional<size_t> last_default;
  };

  // What a fetch did to the list, and which fetch it was, if it was sent.
  struct News {
    std::string sentence;
    const Fetch* fetch = nullptr;
  };

  [[nodiscard]] std::string Headline(const Answer& answer) const;
  [[nodiscard]] std::string Place(size_t place) const;
  [[nodiscard]] std::string WhyDefault(const Answer& answer, const Rotation& rotation) const;
  [[nodiscard]] std::string DefaultOrigin(const Answer& answer) const;
  [[nodiscard]] std::string Origin(const Document& document) const;
  [[nodiscard]] std::string OriginOfFetched(const Document& document, const Fetch& fetch) const;
  [[nodiscard]] std::string Attempts(const Fetch& fetch) const;
  [[nodiscard]] News NewerFetches(const Document& document, const Answer& answer) const;
  [[nodiscard]] std::string WithoutFetch(const Answer& answer) const;
  [[nodiscard]] Rotation RotationBefore(size_t place) const;
  [[nodiscard]] const Hold* HoldBefore(const Answer& answer) const;
  [[nodiscard]] std::string WithoutAnswer() const;

  const History& history_;
};

}  // namespace history
