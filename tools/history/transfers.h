#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/history/line.h"

namespace history {

// Keeps the failures that the workers report and finds the one of a try. A worker reports before it
// passes the answer on, so the failure of an answer is known when that is judged.
class Transfers {
 public:
  struct Failure {
    std::string cause;
    int64_t begin_ms = 0;
    int64_t end_ms = 0;
    size_t message = 0;
    bool is_unsure = false;  // another failure with another cause fits as well
  };

  void Take(const Line& line);

  // Removes and returns the failure of a try of this run. With `must_follow`, only one that began
  // after the try counts: an answer with a status has a failure only if its body was lost.
  std::optional<Failure> TakeFailureOf(const Try& one, size_t run, bool must_follow);
  [[nodiscard]] bool HasFailureOf(const Try& one, size_t run) const;

 private:
  using Key = std::pair<size_t, std::string>;  // the run and the URL as the workers show it

  std::map<Key, std::vector<Failure>> failures_;
};

}  // namespace history
