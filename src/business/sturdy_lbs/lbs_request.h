#pragma once

#include <string>
#include <vector>

#include "src/sturdy/config/multiple_url_request.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

// The values that a fetch sends to an LBS server in its query. A plain value; the functions below
// keep no state, so any thread may call them.
struct LBSQuery {
  std::string token;  // left out if empty
  int32_t sv = 0;
  int32_t pv = 0;
  int32_t tp = 0;
  net::AddressFamily network = net::kIPFamilyAny;  // of the client's network
};

std::string LBSQueryText(const LBSQuery& query);

// Builds the request for a new document, without its check and callback. The first URL is the
// runtime one: a URL with an address presents its host name. Leaves out URLs with an address of
// another family than `family`, unless that is kIPFamilyAny.
MultipleURLHttpRequest BuildLBSRequest(const std::vector<std::string>& urls, const LBSQuery& query,
                                       net::AddressFamily family);

}  // namespace zo_sturdy
