#pragma once

#include <string>
#include <vector>

#include "base/sync/mutex.h"
#include "src/sturdy/http_agent/http_dns/service_address.h"
#include "sturdy/sturdy.h"

namespace zo_sturdy {

// The endpoints of the HTTP DNS service, in memory.
// Threads: any.
// Locks:   `addresses_lock` before `domain_lock`.
// Owner:   ServiceDirectory.
// Errors:  none.
class ServiceAddressTable {
 public:
  ServiceAddressTable() = default;
  ServiceAddressTable(const ServiceAddressTable&) = delete;
  ServiceAddressTable& operator=(const ServiceAddressTable&) = delete;

  // Returns the endpoints in the order of trial: the domain, then the addresses of the family, or
  // of both in turn for kIPFamilyAny. For any other value the domain alone.
  std::vector<ServiceAddress> GetServiceAddresses(net::AddressFamily ip_family);
  std::string GetServiceDomain();

  // A family whose new list is empty keeps its old one, and so does a domain without a usable name.
  // Cuts the domain at its first blank or control character, since it becomes part of header lines.
  void ReplaceServiceAddresses(const std::string& new_domain,
                               const std::vector<ServiceAddress>& new_ipv4,
                               const std::vector<ServiceAddress>& new_ipv6);

 private:
  zo_base::RecursiveMutex addresses_lock;
  zo_base::RecursiveMutex domain_lock;
  std::string domain ZO_GUARDED_BY(domain_lock);
  std::vector<ServiceAddress> ipv4 ZO_GUARDED_BY(addresses_lock);
  std::vector<ServiceAddress> ipv6 ZO_GUARDED_BY(addresses_lock);
};

}  // namespace zo_sturdy
