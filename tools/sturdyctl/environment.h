#pragma once

#include <string>

#include "sturdy/sturdy.h"
#include "tools/log_reader/log_reader.h"
#include "tools/sturdyctl/client_options.h"

namespace sturdyctl {

// A running environment, from construction to destruction. Its files stay, also in a temporary
// folder: the log is there to be read afterwards.
// Threads: one.
// Owner:   the command. At most one at a time, as there is one environment in a process.
// Errors:  throws UsageError for settings that don't fit, std::runtime_error if nothing starts.
class Environment {
 public:
  explicit Environment(const ClientOptions& options);
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  zo_sturdy::IZOSturdyObject& object() { return *object_; }
  // Stands in front of the first line of this environment at first.
  log_reader::LogReader& log() { return log_; }

 private:
  const std::string client_folder_;
  log_reader::LogReader log_;
  zo_sturdy::IZOSturdyObject* object_ = nullptr;
};

}  // namespace sturdyctl
