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
                                         R"("ipv6": "[{\"host\": \"[::5]\", \"port\": 80, )"
                                         R"(\"https\": false}]", )"
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
  // As one query for these hosts logs it.
  static Messages Begin(const std::vector<std::string>& hosts) {
    const std::string line = "-----------------------------";
    std::string text = "[http dns] DoQuery ip_family: 0\r\nhost list :\r\n" + line + "\r\n";
    for (const std::string& host : hosts) {
      text += "host :" + host + "\r\n";
    }
    return {text + line};
  }
  HostIPMap results{{"old", {"content"}}};
};

TEST_F(HostQueryTest, OneQueryServesAsksInTheBackgroundAndWaits) {
  Know("f", 100000);
  Know("s", 100000, true);
  Know("t", 100000, true);
  auto query = Start({"m", "f", "s", "n", "t"});
  const auto [request, on_agent] = Next();
  EXPECT_FALSE(on_agent);
  EXPECT_THAT(UrlsOf(request), ElementsAre("https://dns/httpdns/v2/d?domain=m,n",
                                           "https://10.0.0.1:443/httpdns/v2/d?domain=m,n",
                                           "http://[::5]:80/httpdns/v2/d?domain=m,n"));
  EXPECT_TRUE(request.heads.empty() && request.body.empty() && !request.use_http_dns &&
              request.urls[0].host == "dns" && request.urls[1].host == "dns" &&
              request.ip_family == 0 && request.type == 0 && request.time_out == 7000 &&
              request.multiple_time_out == 2000);
  const std::string body =
      R"({"code": 200, "data": {"m": {"ip": ["2.2.2.2", 7], )"
      R"("ipv6": ["::1", "[::2]"], "ttl": 1.5}, "n": {"ip": ["1"], "ttl": 0}}})";
  EXPECT_TRUE(Answer(request, 200, body));
  EXPECT_TRUE(query.get());
  EXPECT_THAT(results, ElementsAre(Pair("f", ElementsAre("1.1.1.1", "1.1.1.2")),
                                   Pair("m", ElementsAre("2.2.2.2", "[::1]", "[::2]")),
                                   Pair("s", ElementsAre("1.1.1.1", "1.1.1.2")),
                                   Pair("t", ElementsAre("1.1.1.1", "1.1.1.2"))));
  const auto refresh = Next().first;
  EXPECT_EQ(refresh.urls[0].url, "https://dns/httpdns/v2/d?domain=s,t");
  const std::string line = "\r\n-----------------------";
  const std::string cached = "[http dns] Check cached host: ";
  EXPECT_THAT(
      log.Tagged({"[http dns]"}),
      ElementsAre(Begin({"m", "f", "s", "n", "t"})[0], cached + "m res: 3",
                  cached + "f res: 1 ret:1.1.1.1|1.1.1.2", cached + "s res: 2 ret:1.1.1.1|1.1.1.2",
                  cached + "n res: 3", cached + "t res: 2 ret:1.1.1.1|1.1.1.2",
                  "[http dns] Check cached need update type = sync host list : m|n",
                  "[http dns] Begin query hosts`s ips",
                  "[http dns] Query hosts`s ip success = true" + line + "\r\n" + body + line,
                  "[http dns] Query hosts`s ip success",
                  "[http dns] Sync update return,do query agin", Begin({"m", "n"})[0],
                  cached + "m res: 1 ret:2.2.2.2|[::1]|[::2]",
                  "[http dns] Check cached need update type = async host list : s|t",
                  "[http dns] Begin query hosts`s ips"));
  NewManager();
  manager->Init();
  EXPECT_EQ(manager->HostsForTest().GetEntries().at("f").cache_expired_time, now + 81000);
  EXPECT_TRUE(manager->Query(net::kIPFamilyV4, {"f"}, results));
  EXPECT_THAT(results, ElementsAre(Pair("f", ElementsAre("1.1.1.1", "1.1.1.2"))));
  EXPECT_EQ(Untaken(), 0U);
}

TEST_F(HostQueryTest, TheFamilyChoosesTheEndpoints) {
  const std::string path = "/httpdns/v2/d?domain=a b&c,\xc3\xbc";
  const std::string urls[] = {"https://dns" + path, "https://10.0.0.1:443" + path,
                              "http://[::5]:80" + path};
  for (const auto& [family, expected] : std::vector<std::pair<int, Messages>>{
           {0, {urls[0], urls[1], urls[2]}}, {1, {urls[0], urls[1]}}, {2, {urls[0], urls[2]}}}) {
    manager->UpdateCache({"a b&c", "\xc3\xbc"}, static_cast<net::AddressFamily>(family));
    EXPECT_EQ(UrlsOf(Next().first), expected);
  }
  std::vector<URLItem> items;
  manager->BuildHostQueryURLs({}, {{0, 0, "d"}}, items);
  EXPECT_EQ(items.at(0).url, "http://d/httpdns/v2/d?domain");
}

TEST_F(HostQueryTest, AnAnswerGivesEachHostItsLifetime) {
  const auto apply = [&](const std::string& data) {
    return manager->ApplyHostResponse("", R"({"code": 200, "data": {)" + data + "}}");
  };
  for (const auto& [ttl, ttl_ms] :
       std::vector<std::pair<std::string, int>>{{"", 3600000},
                                                {R"(, "ttl": "9")", 0},
                                                {R"(, "ttl": null)", 0},
                                                {R"(, "ttl": -5)", -5000},
                                                {R"(, "ttl": 1e300)", 2147483647}}) {
    EXPECT_TRUE(apply(R"("h": {"ip": ["1.1.1.1"])" + ttl + "}"));
    EXPECT_EQ(manager->HostsForTest().GetEntries()["h"].ttl, ttl_ms) << ttl;
    std::vector<std::string> ips;
    EXPECT_EQ(manager->HostsForTest().CheckHost(net::kIPFamilyAny, "h", ips),
              ttl_ms > 0 ? CacheState::kCacheFresh : CacheState::kCacheMissing);
  }
  EXPECT_FALSE(apply(R"("a": {"ip": ["1.1.1.1"]}, "b": {})"));
  EXPECT_TRUE(apply(R"("a": {}, "b": {"ipv6": ["::1"]})"));
}

TEST_F(HostQueryTest, EachQuerySendsItsOwnRequestAndLearnsItsSuccess) {
  auto first = Start({"m"});
  auto second = manager->UpdateCache({"m"}, net::kIPFamilyAny);
  const auto one = Next().first;
  const auto other = Next().first;
  EXPECT_EQ(UrlsOf(one), UrlsOf(other));
  Answer(one, 200, R"({"code": 200})");
  Answer(other, 200, R"({"code": 200})");
  EXPECT_FALSE(first.get());
  EXPECT_TRUE(second.get());
  auto failed = manager->UpdateCache({"m"}, net::kIPFamilyAny);
  Answer(Next().first, 503, "");
  EXPECT_FALSE(failed.get());
  Know("s", 1000, true);
  EXPECT_TRUE(manager->Query(net::kIPFamilyAny, {"s"}, results));
  EXPECT_TRUE(manager->Query(net::kIPFamilyAny, {"s"}, results));
  Next();
  Next();
  log.StartHere();
  EXPECT_FALSE(manager->DoQuery(net::kIPFamilyAny, {"s"}, results, true));
  EXPECT_THAT(results, IsEmpty());
  EXPECT_EQ(log.Tagged({"[http dns]"}), Begin({"s"}));
  auto ended = manager->UpdateCache({"m"}, net::kIPFamilyAny);
  manager->EndQueries();
  EXPECT_THROW(ended.get(), std::future_error);
  EXPECT_THROW(manager->UpdateCache({"m"}, net::kIPFamilyAny).get(), std::future_error);
}

TEST_F(HostQueryTest, WhatCannotBeServedIsAskedForEachTimeAndStaysAbsent) {
  struct Case {
    const char* host;
    int family, ttl_ms, age_ms, code;
    const char* body;
    bool good = false;  // by the check alone
  };
  for (const Case& one : std::vector<Case>{
           {"unknown", 0, 0, 0, 0, ""},
           {"left out", 1, 0, 0, 200, R"({"code": 200, "data": {"other": {"ip": ["3.3.3.3"]}}})",
            true},
           {"no data", 1, 0, 0, 200, R"({"code": 200})", true},
           {"array", 1, 0, 0, 200, "[]"},
           {"text", 1, 0, 0, 200, R"({"code": "200", "data": {"text": {"ip": ["3.3.3.3"]}}})"},
           {"garbage", 1, 0, 0, 200, "\x80{"},
           {"status", 1, 0, 0, 500, R"({"code": 200, "data": {"status": {"ip": ["3.3.3.3"]}}})"},
           {"refused", 1, 0, 0, 200, R"({"code": 500, "data": {"refused": {"ip": ["3.3.3.3"]}}})"},
           {"expired", 1, 1000, 900, 503, ""},
           {"other family", 2, 1000, 0, 200, R"({"code": 200, "data": {}})", true},
           {"clock set back", 0, 1000, -1, 0, ""}}) {
    if (one.ttl_ms != 0) {
      Know(one.host, one.ttl_ms);
    }
    clock.SetWall(now + one.age_ms);
    auto query = Start({one.host}, one.family);
    EXPECT_EQ(Answer(Next().first, one.code, one.body), one.good) << one.host;
    EXPECT_FALSE(query.get()) << one.host;
    EXPECT_THAT(results, IsEmpty()) << one.host;
  }
  const std::string line = "\r\n-----------------------";
  for (const auto& [code, body] :
       std::vector<std::pair<int, std::string>>{{503, "b"}, {200, "b"}}) {
    log.StartHere();
    auto query = Start({"m"});
    Answer(Next().first, code, body);
    query.get();
    Messages expected = Begin({"m"});
    expected.insert(expected.end(),
                    {"[http dns] Check cached host: m res: 3",
                     "[http dns] Check cached need update type = sync host list : m",
                     "[http dns] Begin query hosts`s ips"});
    if (code == 200) {
      expected.push_back("[http dns] Query hosts`s ip response res = false for body error" + line +
                         "\r\nbody:\r\nb" + line);
    }
    expected.insert(expected.end(),
                    {"[http dns] Query hosts`s ip success = false" + line + "\r\nb" + line,
                     "[http dns] Query hosts`s ip fail",
                     "[http dns] Sync update return,do query agin", Begin({"m"})[0]});
    EXPECT_EQ(log.Tagged({"[http dns]"}), expected);
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

TEST_F(HostQueryTest, AnAnswerMayComeWhenTheManagerIsGone) {
  auto update = manager->UpdateCache({"a"}, net::kIPFamilyAny);
  auto request = Next().first;
  manager.reset();
  EXPECT_THROW(update.get(), std::future_error);
  bool need_statistic = false;
  EXPECT_FALSE(request.check(0, 200, "", R"({"code": 200})", need_statistic));
  request.callback(true, "", "");
  NewManager();
}

}  // namespace
}  // namespace zo_sturdy
