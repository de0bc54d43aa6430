#include "src/business/sturdy_lbs/host_chooser/host_chooser.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/log/log.h"
#include "net/ip_address.h"
#include "net/url.h"

namespace zo_sturdy {

namespace {

// Without a scheme, "host:port" would parse as scheme and host.
std::string HostOf(const std::string& address) {
  return url::GetURLHost("http://" + address, false);
}

bool IsLiteral(const std::string& address) {
  return net::IsIPLiteral(HostOf(address));
}

bool Serves(const std::string& address, net::AddressFamily family) {
  net::AddressFamily own = net::kIPFamilyAny;
  net::GetIPFamily(HostOf(address), own);
  return own == net::kIPFamilyAny || own == family;
}

}  // namespace

std::optional<size_t> NextPlace(int32_t& index, size_t count) {
  if (index < 0 || static_cast<size_t>(index) >= count) {
    index = 0;
    return std::nullopt;
  }
  return static_cast<size_t>(index++);
}

HostChooser::HostChooser(std::string v4, std::string v6, int32_t limit_of_key)
    : default_v4(std::move(v4)), default_v6(std::move(v6)), limit(limit_of_key) {}

bool HostChooser::GetHost(net::AddressFamily family, std::string& host) {
  ZO_LOG(LV_PRO) << "GetHost Hosts size :" << hosts.size() << " current index :" << index << "\r\n"
                 << HostLines();
  bool is_default = false;
  while (!Step(family, host, is_default)) {
  }
  return is_default;
}

bool HostChooser::Step(net::AddressFamily family, std::string& host, bool& is_default) {
  const std::optional<size_t> place = NextPlace(index, hosts.size());
  if (!place) {
    is_default = true;
    host = DefaultHost(family);
    return true;
  }
  const std::string& next = hosts[*place];
  if (family != net::kIPFamilyAny && !Serves(next, family)) {
    return false;
  }
  host = next;
  return true;
}

std::string HostChooser::DefaultHost(net::AddressFamily family) const {
  switch (family) {
    case net::kIPFamilyV4:
      return default_v4;
    case net::kIPFamilyV6:
      return default_v6;
    case net::kIPFamilyAny:
      // A host name can have addresses of both families, so it wins over an address.
      return IsLiteral(default_v4) && !IsLiteral(default_v6) ? default_v6 : default_v4;
  }
  return {};
}

void HostChooser::HoldHost(const std::string& ip, uint32_t port) {
  // A client passes a port in 16 signed bits: one above 32767 arrives negative and stays so.
  const auto signed_port = static_cast<int32_t>(port);
  const auto found = std::find(hosts.begin(), hosts.end(), ip + ":" + std::to_string(signed_port));
  const bool in_list = found != hosts.end();
  index = in_list ? static_cast<int32_t>(found - hosts.begin()) : 0;
  ZO_LOG(LV_PRO) << "HoldHost ip:" << ip << " port:" << signed_port << "\r\n"
                 << "in host list = " << in_list << "\r\n"
                 << " Hosts size :" << hosts.size() << "  current index :" << index << "\r\n"
                 << HostLines();
}

void HostChooser::ResetHosts(const std::vector<std::string>& new_hosts) {
  hosts = new_hosts;
  index = 0;
  ZO_LOG(LV_PRO) << "Reset Hosts size :" << hosts.size() << "current index :" << 0 << "\r\n"
                 << HostLines();
}

void HostChooser::SetDefaultHost(net::AddressFamily family, const std::string& host) {
  if (family == net::kIPFamilyAny || family == net::kIPFamilyV4) {
    default_v4 = host;
  }
  if (family == net::kIPFamilyAny || family == net::kIPFamilyV6) {
    default_v6 = host;
  }
}

std::string HostChooser::GetCurrentHost() const {
  if (index < 0 || static_cast<size_t>(index) >= hosts.size()) {
    return {};
  }
  return hosts[static_cast<size_t>(index)];
}

std::string HostChooser::HostLines() const {
  constexpr std::string_view kDashes = "----------------------------------";
  constexpr std::string_view kLineEnd = "\r\n";
  size_t size_bytes = kDashes.size();
  for (const std::string& host : hosts) {
    size_bytes += host.size() + kLineEnd.size();
  }
  std::string lines;
  lines.reserve(size_bytes);
  for (const std::string& host : hosts) {
    lines += host;
    lines += kLineEnd;
  }
  lines += kDashes;
  return lines;
}

int32_t HostChooserLimit(int32_t key) {
  constexpr std::array<int32_t, 4> kLimits = {1, -1, 3, -1};
  if (key < 0 || static_cast<size_t>(key) >= kLimits.size()) {
    throw std::out_of_range("invalid map<K, T> key");
  }
  return kLimits[static_cast<size_t>(key)];
}

}  // namespace zo_sturdy
