#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "src/sturdy/http_agent/http_dns/http_dns_service.h"
#include "src/sturdy/http_agent/logic/multiple_url_request.h"

namespace zo_sturdy {

// The hosts by name of a request's URLs, in the order in which they first stand there, and the
// URLs of each. A URL that carries an address has no part in a second pass.
struct NamedHosts {
  std::vector<std::string> hosts;
  std::map<std::string, std::vector<std::string>> urls;
};

NamedHosts GatherNamedHosts(const std::vector<URLItem>& urls);

// A host's answer can list addresses by the ten thousand, and each URL that fails costs a transfer.
inline constexpr size_t kMaxSecondPassUrls = 64;

// The request that follows a failed one: each URL of each host once per address, with the address
// in the name's place and the name as the host to present, up to kMaxSecondPassUrls. It has no pass
// after it.
MultipleURLHttpRequest MakeSecondPass(const MultipleURLHttpRequest& failed, const NamedHosts& named,
                                      const HostIPMap& addresses);

}  // namespace zo_sturdy
