#include "tools/state/state_json.h"

namespace client_state {

namespace {

nlohmann::ordered_json ToJson(const CacheFile& file) {
  nlohmann::ordered_json json = {{"path", file.path},
                                 {"condition", TextOf(file.condition)},
                                 {"faults", nlohmann::ordered_json::array()}};
  for (const Fault& fault : file.faults) {
    nlohmann::ordered_json one = {
        {"member", fault.member}, {"offset", nullptr}, {"what", fault.what}};
    if (fault.offset) {
      one["offset"] = *fault.offset;
    }
    json["faults"].push_back(one);
  }
  return json;
}

nlohmann::ordered_json ToJson(const DocumentState& state, int64_t now_ms) {
  nlohmann::ordered_json json = {{"file", ToJson(state.file)},
                                 {"usable", state.is_usable},
                                 {"origin", nullptr},
                                 {"age_ms", nullptr},
                                 {"family", FamilyText(state.family)},
                                 {"root_url", state.root_url},
                                 {"fetch_urls", state.fetch_urls},
                                 {"links", state.links},
                                 {"defaults", state.defaults}};
  if (state.file.condition == CacheFile::Condition::kGood) {
    json["origin"] = state.fetched_ms ? "fetch" : "settings";
  }
  if (state.fetched_ms) {
    json["age_ms"] = now_ms - *state.fetched_ms;
  }
  return json;
}

nlohmann::ordered_json ToJson(const EndpointsState& state, int64_t now_ms) {
  nlohmann::ordered_json json = {{"file", ToJson(state.file)}, {"usable", state.is_usable},
                                 {"name", state.name},         {"urls", state.urls},
                                 {"ttl_ms", nullptr},          {"left_ms", nullptr}};
  if (state.is_usable) {
    json["ttl_ms"] = state.ttl_ms;
    json["left_ms"] = state.expired_ms - now_ms;
  }
  return json;
}

nlohmann::ordered_json ToJson(const HostsState& state, int64_t now_ms) {
  nlohmann::ordered_json json = {{"file", ToJson(state.file)},
                                 {"hosts", nlohmann::ordered_json::array()}};
  for (const HostState& host : state.hosts) {
    json["hosts"].push_back({{"name", host.name},
                             {"state", TextOf(host.kind)},
                             {"addresses", host.addresses},
                             {"fresh_ms", host.stale_ms - now_ms},
                             {"left_ms", host.gone_ms - now_ms}});
  }
  return json;
}

}  // namespace

nlohmann::ordered_json ToJson(const ClientState& state) {
  return {{"folder", state.folder},
          {"document", ToJson(state.document, state.now_ms)},
          {"endpoints", ToJson(state.endpoints, state.now_ms)},
          {"hosts", ToJson(state.hosts, state.now_ms)}};
}

}  // namespace client_state
