#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "lab/scenario.h"

namespace lab {

// What each route does next. Texts in it are expanded already.
// Threads: any; one mutex.
class Script {
 public:
  Script() = default;
  Script(const Script&) = delete;
  Script& operator=(const Script&) = delete;

  // Requires: not empty. Starts over with the first one.
  void Set(const std::string& server, const std::string& path, std::vector<Behaviour> behaviours);
  // The next behaviour of the route; 404 when there is none.
  Behaviour Next(const std::string& server, const std::string& path);

 private:
  struct Turn {
    std::vector<Behaviour> behaviours;
    size_t next = 0;
  };

  std::mutex mutex_;
  std::map<std::pair<std::string, std::string>, Turn> turns_;  // guarded by mutex_
};

}  // namespace lab
