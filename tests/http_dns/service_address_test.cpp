#include "src/sturdy/http_agent/http_dns/service_address.h"

#include <gtest/gtest.h>

#include "src/sturdy/http_agent/http_dns/service_address_table.h"

namespace zo_sturdy {
namespace {

TEST(ServiceAddressTest, OnlyAddressesHaveAPortInAUrl) {
  EXPECT_EQ(EndpointText({1, 8443, "dns.example"}), "dns.example");
  EXPECT_EQ(EndpointText({1, 8443, "10.0.0.1"}), "10.0.0.1:8443");
  EXPECT_EQ(EndpointText({1, 0, "10.0.0.1"}), "10.0.0.1:443");
  EXPECT_EQ(EndpointText({0, 0, "[::1]"}), "[::1]:80");
  EXPECT_EQ(EndpointText({1, 443, "::1"}), "::1:443");  // as it stands in a file
  EXPECT_EQ(EndpointText({1, 443, ""}), "");
}

TEST(ServiceAddressTest, TheDomainComesFirstAndTheFamiliesTakeTurns) {
  ServiceAddressTable table;
  const auto hosts = [&table](int family) {
    std::string hosts;
    for (const ServiceAddress& address :
         table.GetServiceAddresses(static_cast<net::AddressFamily>(family))) {
      hosts += address.host + " ";
    }
    return hosts;
  };
  EXPECT_EQ(hosts(0), " ");
  table.ReplaceServiceAddresses("d", {}, {{1, 0, "x"}, {1, 0, "y"}});
  EXPECT_EQ(hosts(0), "d x y ");
  table.ReplaceServiceAddresses("e", {{1, 0, "a"}, {1, 0, "b"}, {1, 0, "c"}}, {});
  EXPECT_EQ(hosts(0), "e a x b y c ");
  EXPECT_EQ(hosts(1), "e a b c ");
  EXPECT_EQ(hosts(2), "e x y ");
  EXPECT_EQ(hosts(3) + hosts(-1), "e e ");
  table.ReplaceServiceAddresses("f\r\nEvil: header", {}, {});
  EXPECT_EQ(table.GetServiceDomain(), "f");
}

}  // namespace
}  // namespace zo_sturdy
