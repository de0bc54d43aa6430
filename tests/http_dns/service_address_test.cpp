#include "src/sturdy/http_agent/http_dns/service_address.h"

#include <gmock/gmock.h>

#include "src/sturdy/http_agent/http_dns/service_address_table.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;

TEST(ServiceAddressTest, OnlyAddressesHaveAPortInAUrl) {
  EXPECT_EQ(EndpointText({1, 8443, "dns.example"}), "dns.example");
  EXPECT_EQ(EndpointText({1, 8443, "10.0.0.1"}), "10.0.0.1:8443");
  EXPECT_EQ(EndpointText({1, 0, "10.0.0.1"}), "10.0.0.1:443");
  EXPECT_EQ(EndpointText({0, 0, "[::1]"}), "[::1]:80");
  EXPECT_EQ(EndpointText({1, 443, "::1"}), "::1:443");  // as it stands in a file
  EXPECT_EQ(EndpointText({1, 443, ""}), "");
}

std::vector<std::string> Hosts(ServiceAddressTable& table, int family) {
  std::vector<std::string> hosts;
  for (const auto& address : table.GetServiceAddresses(static_cast<net::AddressFamily>(family))) {
    hosts.push_back(address.host);
  }
  return hosts;
}

TEST(ServiceAddressTest, TheDomainComesFirstAndTheFamiliesTakeTurns) {
  ServiceAddressTable table;
  EXPECT_THAT(Hosts(table, 0), ElementsAre(""));
  table.ReplaceServiceAddresses("d", {}, {{1, 0, "x"}, {1, 0, "y"}});
  EXPECT_THAT(Hosts(table, 0), ElementsAre("d", "x", "y"));
  table.ReplaceServiceAddresses("e", {{1, 0, "a"}, {1, 0, "b"}, {1, 0, "c"}}, {});
  EXPECT_THAT(Hosts(table, 0), ElementsAre("e", "a", "x", "b", "y", "c"));
  EXPECT_THAT(Hosts(table, 1), ElementsAre("e", "a", "b", "c"));
  EXPECT_THAT(Hosts(table, 2), ElementsAre("e", "x", "y"));
  EXPECT_THAT(Hosts(table, 3), ElementsAre("e"));
  EXPECT_THAT(Hosts(table, -1), ElementsAre("e"));
  const ServiceAddress first = table.GetServiceAddresses(net::kIPFamilyAny).front();
  EXPECT_TRUE(first.https == 1 && first.port == 443);
  table.ReplaceServiceAddresses("f\r\nEvil: header", {}, {});
  EXPECT_EQ(table.GetServiceDomain(), "f");
}

}  // namespace
}  // namespace zo_sturdy
