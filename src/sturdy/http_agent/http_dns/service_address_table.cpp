#include "src/sturdy/http_agent/http_dns/service_address_table.h"

#include <algorithm>
#include <utility>

namespace zo_sturdy {

std::vector<ServiceAddress> ServiceAddressTable::GetServiceAddresses(net::AddressFamily ip_family) {
  zo_base::RecursiveMutexLock lock(addresses_lock);
  std::vector<ServiceAddress> order{{1, kHttpDnsPort, GetServiceDomain()}};
  const auto family = static_cast<int32_t>(ip_family);
  const bool any = family == net::kIPFamilyAny;
  const size_t count4 = any || family == net::kIPFamilyV4 ? ipv4.size() : 0;
  const size_t count6 = any || family == net::kIPFamilyV6 ? ipv6.size() : 0;
  for (size_t i = 0; i < std::max(count4, count6); ++i) {
    if (i < count4) {
      order.push_back(ipv4[i]);
    }
    if (i < count6) {
      order.push_back(ipv6[i]);
    }
  }
  return order;
}

std::string ServiceAddressTable::GetServiceDomain() {
  zo_base::RecursiveMutexLock lock(domain_lock);
  return domain;
}

void ServiceAddressTable::ReplaceServiceAddresses(const std::string& new_domain,
                                                  const std::vector<ServiceAddress>& new_ipv4,
                                                  const std::vector<ServiceAddress>& new_ipv6) {
  zo_base::RecursiveMutexLock lock(addresses_lock);
  zo_base::RecursiveMutexLock domain_guard(domain_lock);
  if (std::string usable = UsableName(new_domain); !usable.empty()) {
    domain = std::move(usable);
  }
  if (!new_ipv4.empty()) {
    ipv4 = new_ipv4;
  }
  if (!new_ipv6.empty()) {
    ipv6 = new_ipv6;
  }
}

}  // namespace zo_sturdy
