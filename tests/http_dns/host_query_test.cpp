#include <thread>

#include "src/sturdy/http_agent/http_dns/http_dns_service.h"
#include "tests/http_dns/dns_fixture.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class HostQueryTest : public DnsTest {
 protected:
  HostQueryTest() {
    WriteCache("http_server_cache.data", R"({"host": "dns", "ipv4": "[{\"host\": \"10.0.0.1\"}]", )"
                                         R"("expired_time": "99999999999999"})");
    manager->Init();
  }
  std::future<bool> Start(const std::vector<std::string>& hosts, int family = 0) {
    return std::async(std::launch::async, [this, hosts, family] {
      return manager->Query(static_cast<net::AddressFamily>(family), hosts, results);
    });
  }
  HostIPMap results{{"old", {"content"}}};
};

TEST_F(HostQueryTest, AMissingHostIsAskedForAndServed) {
  auto query = Start({"a", "b", "c"});
  const auto [request, on_agent] = Next();
  EXPECT_FALSE(on_agent);
  EXPECT_THAT(UrlsOf(request), ElementsAre("https://dns/httpdns/v2/d?domain=a,b,c",
                                           "https://10.0.0.1:443/httpdns/v2/d?domain=a,b,c"));
  EXPECT_TRUE(request.heads.empty() && request.urls[1].host == "dns" && !request.use_http_dns);
  Answer(request, 200,
         R"({"code": 200, "data": {"a": {"ip": ["1.1.1.1", "1.1.1.2"], )"
         R"("ipv6": ["::1", "[::2]"], "ttl": 100}, "b": {"ttl": 0, "ip": ["1"]}}})");
  EXPECT_TRUE(query.get());
  EXPECT_THAT(results, ElementsAre(Pair("a", ElementsAre("1.1.1.1", "1.1.1.2", "[::1]", "[::2]"))));
}

TEST_F(HostQueryTest, AnEndWakesWhoWaitsAndRefusesTheRest) {
  auto query = Start({"a"});
  const auto request = Next().first;
  manager->EndQueries();
  EXPECT_FALSE(query.get());
  Answer(request, 200, R"({"code": 200, "data": {"a": {"ip": ["1.1.1.1"]}}})");
  EXPECT_EQ(log.With("[http dns] Sync update,future_error exception").size(), 1U);
  EXPECT_FALSE(Start({"a"}).get());
  EXPECT_THAT(results, IsEmpty());
}

}  // namespace
}  // namespace zo_sturdy
