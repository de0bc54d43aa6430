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
    Settle();
    log.StartHere();
  }
  void Know(const std::string& host, int ttl_ms, bool stale = false) {
    manager->HostsForTest().UpdateHost(host, now, ttl_ms, {"1.1.1.1", "1.1.1.2"}, {}, stale);
  }
  std::future<bool> Start(const std::vector<std::string>& hosts, int family = 0) {
    return std::async(std::launch::async, [this, hosts, family] {
      return manager->Query(static_cast<net::AddressFamily>(family), hosts, results);
    });
  }
  HostIPMap results{{"old", {"content"}}};
};

TEST_F(HostQueryTest, OneQueryServesAsksInTheBackgroundAndWaits) {
  Know("f", 100000);
  Know("s", 100000, true);
  auto query = Start({"m", "f", "s", "n"});
  const auto [request, on_agent] = Next();
  EXPECT_FALSE(on_agent);
  EXPECT_THAT(UrlsOf(request), ElementsAre("https://dns/httpdns/v2/d?domain=m,n",
                                           "https://10.0.0.1:443/httpdns/v2/d?domain=m,n"));
  EXPECT_TRUE(request.heads.empty() && request.urls[1].host == "dns" && !request.use_http_dns);
  const std::string body =
      R"({"code": 200, "data": {"m": {"ip": ["2.2.2.2", 7], )"
      R"("ipv6": ["::1", "[::2]"], "ttl": 1.5}, "n": {"ip": ["1"], "ttl": 0}}})";
  EXPECT_TRUE(Answer(request, 200, body));
  EXPECT_TRUE(query.get());
  EXPECT_THAT(results, ElementsAre(Pair("f", ElementsAre("1.1.1.1", "1.1.1.2")),
                                   Pair("m", ElementsAre("2.2.2.2", "[::1]", "[::2]")),
                                   Pair("s", ElementsAre("1.1.1.1", "1.1.1.2"))));
  const auto refresh = Next().first;
  EXPECT_EQ(refresh.urls[0].url, "https://dns/httpdns/v2/d?domain=s");
  const std::string line = "\r\n-----------------------";
  const std::string long_line = "-----------------------------";
  const std::string begin =
      "[http dns] DoQuery ip_family: 0\r\nhost list :\r\n" + long_line + "\r\n";
  const std::string cached = "[http dns] Check cached host: ";
  EXPECT_THAT(
      log.Tagged({"[http dns]"}),
      ElementsAre(
          begin + "host :m\r\nhost :f\r\nhost :s\r\nhost :n\r\n" + long_line, cached + "m res: 3",
          cached + "f res: 1 ret:1.1.1.1|1.1.1.2", cached + "s res: 2 ret:1.1.1.1|1.1.1.2",
          cached + "n res: 3", "[http dns] Check cached need update type = sync host list : m|n",
          "[http dns] Begin query hosts`s ips",
          "[http dns] Query hosts`s ip success = true" + line + "\r\n" + body + line,
          "[http dns] Query hosts`s ip success", "[http dns] Sync update return,do query agin",
          begin + "host :m\r\nhost :n\r\n" + long_line, cached + "m res: 1 ret:2.2.2.2|[::1]|[::2]",
          "[http dns] Check cached need update type = async host list : s",
          "[http dns] Begin query hosts`s ips"));
  NewManager();
  manager->LoadHostCache();
  EXPECT_EQ(manager->HostsForTest().GetEntries().at("f").cache_expired_time, now + 81000);
}

TEST_F(HostQueryTest, WhatCannotBeServedIsAskedForEachTimeAndStaysAbsent) {
  struct Case {
    const char* host;
    int family, ttl_ms, age_ms, code;
    const char* body;
  };
  for (const Case& one : std::vector<Case>{
           {"unknown", 0, 0, 0, 0, ""},
           {"left out", 1, 0, 0, 200, R"({"code": 200, "data": {"other": {"ip": ["3.3.3.3"]}}})"},
           {"no data", 1, 0, 0, 200, R"({"code": 200})"},
           {"refused", 1, 0, 0, 200, R"({"code": 500, "data": {"refused": {"ip": ["3.3.3.3"]}}})"},
           {"expired", 1, 1000, 900, 503, ""},
           {"other family", 2, 1000, 0, 200, R"({"code": 200, "data": {}})"},
           {"clock set back", 0, 1000, -1, 0, ""}}) {
    if (one.ttl_ms != 0) {
      Know(one.host, one.ttl_ms);
    }
    clock.SetWall(now + one.age_ms);
    auto query = Start({one.host}, one.family);
    Answer(Next().first, one.code, one.body);
    EXPECT_FALSE(query.get()) << one.host;
    EXPECT_THAT(results, IsEmpty()) << one.host;
  }
  Know("cached", 1000);
  clock.SetWall(now);
  EXPECT_TRUE(Start({"cached", "cached"}).get());
  EXPECT_EQ(results["cached"].size(), 4U);
  EXPECT_FALSE(Start({}).get());
  EXPECT_THAT(results, IsEmpty());
  config->SetHttpRequestInvoker(nullptr);
  EXPECT_FALSE(Start({"a"}).get());  // no request, no wait
  std::promise<bool> on_own_thread;
  manager->PostDelayedTask(
      0, [&] { on_own_thread.set_value(manager->Query(net::kIPFamilyAny, {"cached"}, results)); });
  EXPECT_FALSE(on_own_thread.get_future().get());
  Settle();
  EXPECT_EQ(Untaken(), 0U);
}

TEST_F(HostQueryTest, AnEndWakesWhoWaitsAndRefusesTheRest) {
  Know("cached", 1000000);
  auto query = Start({"cached", "a"});
  const auto request = Next().first;
  manager->EndQueries();
  EXPECT_FALSE(query.get());
  Answer(request, 200, R"({"code": 200, "data": {"a": {"ip": ["1.1.1.1"]}}})");
  EXPECT_EQ(log.With("[http dns] Sync update,future_error exception").size(), 1U);
  EXPECT_FALSE(Start({"cached"}).get());
  EXPECT_THAT(results, IsEmpty());
}

TEST_F(HostQueryTest, AServiceStopsInAnyMomentOfItsQueries) {
  HttpDNSService().Stop();
  for (int round = 0; round < 100; ++round) {
    const auto service = std::make_shared<HttpDNSService>();
    EXPECT_FALSE(service->Query(net::kIPFamilyAny, {"a"}, results));
    service->SetEnvironmentConfig(config);
    service->Start();
    service->Start();
    std::vector<std::future<bool>> queries;
    for (int i = 0; i < 3; ++i) {
      queries.push_back(std::async(std::launch::async, [&, i] {
        HostIPMap found;
        return service->Query(net::kIPFamilyAny, {std::to_string(i)}, found);
      }));
    }
    if (round % 3 == 0) {
      Next();  // which nobody answers
    } else if (round % 3 == 1) {
      Answer(Next().first, 200, R"({"code": 200, "data": {}})");
    }
    service->EndQueries();
    service->Stop();
    service->Stop();
    for (auto& query : queries) {
      EXPECT_FALSE(query.get());
    }
    EXPECT_FALSE(service->Query(net::kIPFamilyAny, {"a"}, results));
    service->Start();
    while (Untaken() != 0) {
      Next();
    }
  }
}

TEST_F(HostQueryTest, TheFirstServiceUpdateIsNeverLost) {
  manager->Stop();
  for (int round = 0; round < 200; ++round) {
    const auto agent_thread = std::make_shared<zo_base::BaseThread>("agent");
    std::promise<std::string> asked;
    config->SetHttpRequestInvoker([&](const MultipleURLHttpRequest& request, bool on_agent) {
      ASSERT_TRUE(on_agent);
      zo_base::PostTo(*agent_thread, [&, url = request.urls[0].url] { asked.set_value(url); });
    });
    WriteCache("http_server_cache.data", "{}");
    const auto service = std::make_shared<HttpDNSService>();
    service->SetEnvironmentConfig(config);
    service->Start();
    agent_thread->Start();
    EXPECT_EQ(asked.get_future().get(), "https://localhost/httpdns/v2/s");
    service->Stop();
    agent_thread->Stop();
  }
}

}  // namespace
}  // namespace zo_sturdy
