#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "tools/history/line.h"

namespace history {

// Reads what HTTP DNS knows into `history.leases` and `history.host_looks`, and what it asks for.
class HostLines {
 public:
  // What has asked for a request of HTTP DNS.
  struct Wish {
    int64_t at_ms = 0;
    bool is_for_second_pass = false;
    std::string hosts;  // "a,b"
  };

  explicit HostLines(History& history) : history_(history) {}

  void Take(const Line& line);

  // Returns the wish for the request that is being sent to this URL. Nothing if the log lacks it.
  std::optional<Wish> TakeWishOfHosts(size_t run, std::string_view url);
  std::optional<int64_t> TakeBeginOfService(size_t run);

 private:
  void TakeLook(const Line& line, std::string_view rest);
  void TakeLeases(const Line& line);

  History& history_;
  std::map<size_t, std::deque<Wish>> wishes_;       // by run, in the order of their posts
  std::map<size_t, int64_t> service_begins_;        // by run
  std::map<ThreadKey, bool> asks_for_second_pass_;  // whether the thread asks on its behalf
};

}  // namespace history
