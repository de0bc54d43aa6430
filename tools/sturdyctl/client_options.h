#pragma once

#include <string>
#include <vector>

#include "sturdy/sturdy.h"

namespace CLI {
class App;
}

namespace sturdyctl {

// The options of a client's commands. A plain value.
// Errors: a text that is too long for its field throws UsageError; it is never cut.
struct ClientOptions {
  std::string business;
  std::string token;
  std::string sdk_version = "sturdyctl";
  std::string data_folder;  // empty: a temporary one
  std::vector<std::string> lbs_urls;
  std::string default_v4;
  std::string default_v6;
  std::vector<std::string> default_links;
  std::string family = "any";

  void AddTo(CLI::App& command);             // adds all options
  void AddEnvironmentTo(CLI::App& command);  // adds those that don't concern the LBS service

  net::AddressFamily Family() const;
  zo_sturdy::_ZOSturdyEnvironmentSettings EnvironmentRecord(const std::string& data_path) const;
  zo_sturdy::_ZOSturdyLBSSettings LbsRecord() const;
};

}  // namespace sturdyctl
