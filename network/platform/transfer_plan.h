#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "net/ip_address.h"
#include "network/http_method.h"
#include "network/platform/header_lines.h"
#include "network/platform/http_handles.h"
#include "network/platform/http_url.h"

namespace KRBASE::network::platform {

// One request to one server: all that an exchange needs.
// Threads: one at a time.
// Owner:   the request handle, which changes it between transfers only.
struct TransferPlan {
  HttpUrl url;
  std::vector<net::IPBytes> addresses;  // of url.host, tried in turn; only for libcurl
  HttpMethod method = kHttpMethodGet;
  bool ignore_certificate_errors = false;
  std::string agent;  // sent if the headers have no User-Agent; only for libcurl
  HeaderLines headers;
  std::string_view body;  // owned by the caller of HttpRequestHandle::Send
  TransferTimeOuts time_outs;
};

}  // namespace KRBASE::network::platform
