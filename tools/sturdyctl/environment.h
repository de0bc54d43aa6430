#pragma once

#include <string>

#include "sturdy/sturdy.h"
#include "tools/log_reader/log_reader.h"
#include "tools/sturdyctl/client_options.h"

namespace sturdyctl {

// A running environment. Its files stay after the end, in a temporary folder too, so that the log
// can be read.
// Threads: one.
// Owner:   the command. At most one exists, since a process has one environment.
// Errors:  UsageError for settings that are too long, std::runtime_error if the start fails or the
//          data folder can't be made or written.
class Environment {
 public:
  explicit Environment(const ClientOptions& options);
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  zo_sturdy::IZOSturdyObject& object() { return *object_; }
  // Begins at the first line of this environment.
  log_reader::LogReader& log() { return log_; }

 private:
  const std::string client_folder_;
  log_reader::LogReader log_;
  zo_sturdy::IZOSturdyObject* object_ = nullptr;
};

}  // namespace sturdyctl
