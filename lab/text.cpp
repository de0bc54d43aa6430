#include "lab/text.h"

#include <algorithm>

#include "lab/scenario.h"

namespace lab {

std::string Expand(const std::string& text, const std::string& key,
                   const std::vector<Endpoint>& endpoints) {
  std::string out;
  size_t at = 0;
  for (size_t found = text.find("${"); found != std::string::npos; found = text.find("${", at)) {
    if (found > at && text[found - 1] == '$') {
      out.append(text, at, found - at).append("{");  // "$${": the first '$' is already in
      at = found + 2;
      continue;
    }
    out.append(text, at, found - at);
    const size_t end = text.find('}', found);
    if (end == std::string::npos) {
      throw ScenarioError(key + ": has a \"${\" without its \"}\".");
    }
    std::string name = text.substr(found + 2, end - found - 2);
    const bool as_url = name.rfind("url:", 0) == 0;
    name.erase(0, as_url ? 4 : 0);
    const auto endpoint = std::find_if(endpoints.begin(), endpoints.end(),
                                       [&](const Endpoint& e) { return e.name == name; });
    if (endpoint == endpoints.end()) {
      throw ScenarioError(key + ": names the server \"" + name + "\", which isn't there.");
    }
    out += as_url ? endpoint->url : endpoint->host_port;
    at = end + 1;
  }
  return out.append(text, at, std::string::npos);
}

Behaviour ExpandAll(Behaviour behaviour, const std::string& key,
                    const std::vector<Endpoint>& endpoints) {
  behaviour.body = Expand(behaviour.body, key + ".body", endpoints);
  behaviour.location = Expand(behaviour.location, key + ".location", endpoints);
  for (auto& [name, value] : behaviour.headers) {
    value = Expand(value, key + ".headers." + name, endpoints);
  }
  return behaviour;
}

}  // namespace lab
