#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "lab/scenario.h"

namespace lab {

// Holds what each route does next. Its texts have no placeholders left.
// Threads: any; one mutex.
// Owner:   the Lab. Outlives all connections.
class Script {
 public:
  Script() = default;
  Script(const Script&) = delete;
  Script& operator=(const Script&) = delete;

  // Starts the route with the first of the behaviours. Requires: there is one.
  void Set(const std::string& server, const std::string& path, std::vector<Behaviour> behaviours);
  // Returns the next behaviour of the route, a 404 if there is no such route.
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
