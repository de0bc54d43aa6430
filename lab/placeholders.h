#pragma once

#include <string>
#include <vector>

namespace lab {

struct Behaviour;

// Where a server of the scenario listens, for texts that name it.
struct Endpoint {
  std::string name;
  std::string host_port;
  std::string url;      // scheme and host_port, without a slash at the end
  std::string address;  // without brackets
  int port = 0;
  bool https = false;
};

// Returns `text` with its placeholders replaced (see Behaviour).
// Errors: ScenarioError, which begins with `key`, if one isn't closed or names no endpoint.
std::string Expand(const std::string& text, const std::string& key,
                   const std::vector<Endpoint>& endpoints);

// Replaces the placeholders in every text of the behaviour.
Behaviour ExpandAll(Behaviour behaviour, const std::string& key,
                    const std::vector<Endpoint>& endpoints);

}  // namespace lab
