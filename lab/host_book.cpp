#include "lab/host_book.h"

#include <algorithm>

#include "lab/json.h"

namespace lab {
namespace {

constexpr std::string_view kQueryPrefix = "domain=";

Json ToJson(const HostRecord& record) {
  Json json = Json::object();
  if (record.ip.has_value()) {
    json["ip"] = *record.ip;
  }
  if (record.ipv6.has_value()) {
    json["ipv6"] = *record.ipv6;
  }
  if (record.ttl_s.has_value()) {
    json["ttl"] = *record.ttl_s;
  }
  return json;
}

}  // namespace

std::string HostBook::AnswerTo(std::string_view query) const {
  Json data = Json::object();
  std::string_view rest =
      query.substr(0, kQueryPrefix.size()) == kQueryPrefix ? query.substr(kQueryPrefix.size()) : "";
  while (!rest.empty()) {
    const size_t end = std::min(rest.find(','), rest.size());
    const auto known = hosts.find(std::string(rest.substr(0, end)));
    if (known != hosts.end()) {
      data[known->first] = ToJson(known->second);
    }
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return Json{{"code", code}, {"data", data}}.dump();
}

}  // namespace lab
