#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "net/ip_address.h"
#include "network/platform/header_lines.h"
#include "network/platform/http_url.h"

namespace KRBASE::network::platform {

// Limits that aren't positive are none.
struct TransferTimeOuts {
  int32_t connect_ms = 0;  // TLS included
  int32_t send_ms = 0;     // for one step of sending
  int32_t receive_ms = 0;  // for the whole head, then for each read
};

// One request as it goes out to one server.
struct TransferPlan {
  HttpUrl url;
  std::vector<net::IPBytes> addresses;  // of url.host; all are tried
  bool is_post = false;
  bool ignore_certificate_errors = false;
  std::string agent;  // sent if the headers have no User-Agent
  HeaderLines headers;
  std::string body;
  TransferTimeOuts time_outs;
};

}  // namespace KRBASE::network::platform
