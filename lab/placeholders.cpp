#include "lab/placeholders.h"

#include <algorithm>

#include "lab/scenario.h"

namespace lab {
namespace {

std::string Replacement(const Endpoint& endpoint, const std::string& form, const std::string& key) {
  if (form.empty()) {
    return endpoint.host_port;
  }
  if (form == "url:") {
    return endpoint.url;
  }
  if (form == "ip:") {
    return endpoint.address;
  }
  if (form == "port:") {
    return std::to_string(endpoint.port);
  }
  if (form == "endpoint:") {
    const bool v6 = endpoint.address.find(':') != std::string::npos;
    return R"({"host":")" + (v6 ? "[" + endpoint.address + "]" : endpoint.address) +
           R"(","port":)" + std::to_string(endpoint.port) + R"(,"https":)" +
           (endpoint.https ? "true}" : "false}");
  }
  throw ScenarioError(key + ": has the placeholder \"${" + form +
                      "...}\", which must be one of \"url:\", \"ip:\", \"port:\", \"endpoint:\".");
}

void ExpandList(std::optional<std::vector<std::string>>& list, const std::string& key,
                const std::vector<Endpoint>& endpoints) {
  if (list.has_value()) {
    for (size_t i = 0; i < list->size(); ++i) {
      (*list)[i] = Expand((*list)[i], key + "[" + std::to_string(i) + "]", endpoints);
    }
  }
}

}  // namespace

std::string Expand(const std::string& text, const std::string& key,
                   const std::vector<Endpoint>& endpoints) {
  std::string out;
  size_t at = 0;
  for (size_t found = text.find("${"); found != std::string::npos; found = text.find("${", at)) {
    // "$${" is a plain "${". Its first '$' is copied with the text before.
    if (found > at && text[found - 1] == '$') {
      out.append(text, at, found - at).append("{");
      at = found + 2;
      continue;
    }
    // Copy the text before the placeholder, and take the placeholder apart.
    out.append(text, at, found - at);
    const size_t end = text.find('}', found);
    if (end == std::string::npos) {
      throw ScenarioError(key + ": has a \"${\" without its \"}\".");
    }
    std::string name = text.substr(found + 2, end - found - 2);
    const size_t colon = std::min(name.find(':'), name.size());
    const std::string form = colon < name.size() ? name.substr(0, colon + 1) : "";
    name.erase(0, form.size());
    // Write its replacement.
    const auto endpoint = std::find_if(endpoints.begin(), endpoints.end(),
                                       [&](const Endpoint& e) { return e.name == name; });
    if (endpoint == endpoints.end()) {
      throw ScenarioError(key + ": names the server \"" + name + "\", which doesn't exist.");
    }
    out += Replacement(*endpoint, form, key);
    at = end + 1;
  }
  return out.append(text, at, std::string::npos);
}

Behaviour ExpandAll(Behaviour behaviour, const std::string& key,
                    const std::vector<Endpoint>& endpoints) {
  behaviour.body = Expand(behaviour.body, key + "." + behaviour.body_key, endpoints);
  behaviour.location = Expand(behaviour.location, key + ".location", endpoints);
  for (auto& [name, value] : behaviour.headers) {
    value = Expand(value, key + ".headers." + name, endpoints);
  }
  if (behaviour.hosts.has_value()) {
    for (auto& [name, record] : behaviour.hosts->hosts) {
      ExpandList(record.ip, key + ".hosts." + name + ".ip", endpoints);
      ExpandList(record.ipv6, key + ".hosts." + name + ".ipv6", endpoints);
    }
  }
  return behaviour;
}

}  // namespace lab
