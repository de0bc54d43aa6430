#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "src/sturdy/config/multiple_url_request.h"
#include "src/sturdy/http_agent/http_dns/http_dns_service.h"

// What follows a request that has failed on all its URLs: the same request, sent to the addresses
// that HTTP DNS has for the hosts of those URLs.
// Threads: any; these functions share nothing.
namespace zo_sturdy {

// The named hosts of a request's URLs, in order of first occurrence, and the URLs of each. A URL
// whose host is an address is left out: it has no second pass.
struct NamedHosts {
  std::vector<std::string> hosts;
  std::map<std::string, std::vector<std::string>> urls;
};

NamedHosts GatherNamedHosts(const std::vector<URLItem>& urls);

// Bounds a second pass: an answer can list tens of thousands of addresses, and each URL costs a
// transfer.
inline constexpr size_t kMaxSecondPassUrls = 64;

// Returns the request that follows a failed one: each URL of each host once per address, up to
// kMaxSecondPassUrls. The address takes the name's place, and the name is the host to present. No
// further pass follows it.
MultipleURLHttpRequest MakeSecondPass(const MultipleURLHttpRequest& failed, const NamedHosts& named,
                                      const HostIPMap& addresses);

}  // namespace zo_sturdy
