#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tools/history/line.h"

namespace history {

// Keeps the failures that the workers report and finds the one of a try. A worker reports before it
// passes the answer on, so the failure of an answer is known when that is judged.
class Transfers {
 public:
  struct Failure {
    std::string cause;
    int64_t end_ms = 0;
    size_t message = 0;
    bool is_unsure = false;  // another failure with another cause fits as well
  };

  void Take(const Line& line);

  // Removes and returns the failure of a try of this run. With `must_follow`, only one that began
  // after the try counts: an answer with a status has a failure only if its body was lost.
  std::optional<Failure> TakeFailureOf(const Try& one, size_t run, bool must_follow);

  // Returns a number for the URL as the workers show it. Long URLs are compared here only.
  size_t NumberOf(std::string_view url);
  [[nodiscard]] bool HasFailureOf(size_t url_number, size_t run) const {
    return failures_.contains({run, url_number});
  }

 private:
  using Key = std::pair<size_t, size_t>;  // the run and the number of the URL

  size_t NumberOfShown(const std::string& url) {
    return numbers_.try_emplace(url, numbers_.size()).first->second;
  }

  std::map<std::string, size_t> numbers_;  // of URLs as the workers show them

  std::map<Key, std::multimap<int64_t, Failure>> failures_;  // by their begin
};

}  // namespace history
