#include "lab/service_table.h"

#include "lab/json.h"

namespace lab {
namespace {

std::string List(const ServiceTable::Texts& items) {
  std::string text;
  for (const std::string& item : items) {
    text.append(text.empty() ? "" : ",").append(item);
  }
  return "[" + text + "]";
}

}  // namespace

std::string EndpointText(const DnsEndpoint& endpoint) {
  return Json{{"host", endpoint.host}, {"port", endpoint.port}, {"https", endpoint.https}}.dump();
}

ServiceTable& ServiceTable::Domain(const std::string& name) {
  return Set("host", Json(name).dump());
}

ServiceTable& ServiceTable::V4(const Texts& endpoints) {
  return Set("ipv4", List(endpoints));
}

ServiceTable& ServiceTable::V6(const Texts& endpoints) {
  return Set("ipv6", List(endpoints));
}

ServiceTable& ServiceTable::Ttl(int64_t seconds) {
  return Set("ttl", std::to_string(seconds));
}

ServiceTable& ServiceTable::Set(const std::string& key, const std::string& json_text) {
  members_.append(members_.empty() ? "" : ",").append(Json(key).dump()).append(":");
  members_.append(json_text);
  return *this;
}

std::string ServiceTable::Text() const {
  return "{" + members_ + "}";
}

}  // namespace lab
