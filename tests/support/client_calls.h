#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "sturdy/sturdy.h"

// Fills the records of a client from texts. A text too long for its field is cut.
template <size_t kSize>
void Fill(char (&field)[kSize], const std::string& text) {
  text.copy(field, kSize);
}

inline zo_sturdy::_ZOSturdyEnvironmentSettings EnvironmentSettings(const std::string& data_path,
                                                                   const std::string& token = "") {
  zo_sturdy::_ZOSturdyEnvironmentSettings settings{};
  Fill(settings.business_token, token);
  Fill(settings.data_path, data_path);
  return settings;
}

inline zo_sturdy::_ZOSturdyLBSSettings LBSRecord(const std::string& url,
                                                 const std::string& default_link) {
  zo_sturdy::_ZOSturdyLBSSettings record{};
  record.enable = true;
  Fill(record.lbs_url, url);
  Fill(record.default_link_v4, default_link);
  return record;
}

using LinkCall = bool (zo_sturdy::IZOSturdyLBSService::*)(char*, uint16_t*, net::AddressFamily*);

// Calls GetLinkAddress, or PeekLinkAddress. Returns "host:port", empty for false.
inline std::string Link(zo_sturdy::IZOSturdyLBSService& service,
                        net::AddressFamily family = net::kIPFamilyAny,
                        LinkCall call = &zo_sturdy::IZOSturdyLBSService::GetLinkAddress) {
  char host[zo_sturdy::kLinkHostBufferSize] = {};
  uint16_t port = 0;
  if (!(service.*call)(host, &port, &family)) {
    return "";
  }
  return host + (":" + std::to_string(port));
}
inline std::string Peek(zo_sturdy::IZOSturdyLBSService& service) {
  return Link(service, net::kIPFamilyAny, &zo_sturdy::IZOSturdyLBSService::PeekLinkAddress);
}

// Returns the active document, unless `no_wait` only when no fetch is running.
inline std::string Document(zo_sturdy::IZOSturdyLBSService& service, bool no_wait = true) {
  std::string out(zo_sturdy::kLBSResponseBufferSize, '\0');
  service.GetLBSResponse(no_wait, out.data());
  return out.c_str();
}

// Blocks until no fetch is under way.
inline void AwaitFetchEnd(zo_sturdy::IZOSturdyLBSService& service) {
  Document(service, false);
}

// Returns the JSON text that a host query writes.
inline std::string Query(const std::string& host) {
  std::string out(zo_sturdy::kQueryHostBufferSize, '\0');
  zo_sturdy::GetSturdyObject(1)->QueryHost(host.c_str(), net::kIPFamilyAny, out.data());
  return out.c_str();
}
