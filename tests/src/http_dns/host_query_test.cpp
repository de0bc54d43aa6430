#include "lab/server_cache.h"
#include "src/sturdy/http_agent/http_dns/http_dns_service.h"
#include "tests/src/http_dns/dns_fixture.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class HostQueryTest : public DnsTest {
 protected:
  HostQueryTest() {
    lab::WriteServerCache(
        config->data_path,
        {.domain = "dns", .ipv4 = {{"10.0.0.1"}}, .ipv6 = {{"[::5]", 80, false}}});
    manager_->Init();
    Settle();
    log.StartHere();
  }
  void Know(const std::string& host, int ttl_ms, bool stale = false) {
    manager_->HostsForTest().UpdateHost(host, start_ms, ttl_ms, {"1.1.1.1", "1.1.1.2"}, {}, stale);
  }
  std::future<bool> Start(const std::vector<std::string>& hosts, int family = 0) {
    return std::async(std::launch::async, [this, hosts, family] {
      return manager_->Query(static_cast<net::AddressFamily>(family), hosts, results_);
    });
  }
  HostIPMap results_{{"old", {"content"}}};
};

TEST_F(HostQueryTest, OneQueryServesRefreshesAndWaits) {
  Know("f", 100000);
  Know("s", 100000, true);
  auto query = Start({"m", "f", "s", "n"});
  const SentRequest request = Next();
  EXPECT_FALSE(request.on_agent_thread);
  EXPECT_THAT(UrlsOf(request), ElementsAre("https://dns/httpdns/v2/d?domain=m,n",
                                           "https://10.0.0.1:443/httpdns/v2/d?domain=m,n",
                                           "http://[::5]:80/httpdns/v2/d?domain=m,n"));
  EXPECT_EQ(request.urls[0].host + request.urls[1].host, "dnsdns");
  EXPECT_EQ(std::tie(request.use_http_dns, request.ip_family, request.type, request.time_out,
                     request.multiple_time_out, request.body),
            std::make_tuple(false, 0, 0, 7000, 2000, ""));
  EXPECT_THAT(request.heads, testing::IsEmpty());
  const std::string body =
      R"({"code": 200, "data": {"m": {"ip": ["2.2.2.2", 7], )"
      R"("ipv6": ["::1", "[::2]"], "ttl": 1.5}, "n": {"ip": ["1"], "ttl": 0}}})";
  EXPECT_TRUE(Answer(request, 200, body));
  EXPECT_TRUE(query.get());
  const auto known = ElementsAre("1.1.1.1", "1.1.1.2");
  EXPECT_THAT(results_,
              ElementsAre(Pair("f", known), Pair("m", ElementsAre("2.2.2.2", "[::1]", "[::2]")),
                          Pair("s", known)));
  EXPECT_EQ(Next().urls[0].url, "https://dns/httpdns/v2/d?domain=s");
  const std::string dashes(29, '-');
  const std::string begin =
      "[http dns] DoQuery ip_family: 0\r\nhost list :\r\n" + dashes + "\r\nhost :m\r\n";
  const std::string cached = "[http dns] Check cached host: ";
  EXPECT_THAT(
      log.Tagged({"[http dns]"}),
      ElementsAre(
          begin + "host :f\r\nhost :s\r\nhost :n\r\n" + dashes, cached + "m res: 3",
          cached + "f res: 1 ret:1.1.1.1|1.1.1.2", cached + "s res: 2 ret:1.1.1.1|1.1.1.2",
          cached + "n res: 3", "[http dns] Check cached need update type = sync host list : m|n",
          "[http dns] Begin query hosts`s ips",
          "[http dns] Query hosts`s ip success = true" + kLine + "\r\n" + body + kLine,
          "[http dns] Query hosts`s ip success", "[http dns] Sync update return,do query agin",
          begin + "host :n\r\n" + dashes, cached + "m res: 1 ret:2.2.2.2|[::1]|[::2]",
          "[http dns] Check cached need update type = async host list : s",
          "[http dns] Begin query hosts`s ips"));
  NewManager();
  manager_->Init();
  EXPECT_EQ(manager_->HostsForTest().GetEntries().at("f").cache_expired_time, start_ms + 81000);
}

TEST_F(HostQueryTest, AnAnswerGivesEachHostItsLifetime) {
  const auto apply = [&](const std::string& data) {
    return manager_->ApplyHostResponse("", R"({"code": 200, "data": {)" + data + "}}");
  };
  for (const auto& [ttl, ttl_ms] : {std::pair("", 3600000),
                                    {R"(, "ttl": "9")", 3600000},
                                    {R"(, "ttl": -5)", -5000},
                                    {R"(, "ttl": 1e300)", 2147483647}}) {
    EXPECT_TRUE(apply(std::string(R"("h": {"ip": ["1.1.1.1"])") + ttl + "}"));
    EXPECT_EQ(manager_->HostsForTest().GetEntries()["h"].ttl, ttl_ms) << ttl;
  }
  EXPECT_FALSE(apply(R"("a": {"ip": ["1.1.1.1"]}, "b": {})"));
  EXPECT_TRUE(apply(R"("a": {}, "b": {"ipv6": ["::1"]})"));
}

TEST_F(HostQueryTest, EachQuerySendsItsOwnRequestAndLearnsItsSuccess) {
  auto first = Start({"a b&c"}, net::kIPFamilyV6);
  const auto one = Next();
  auto second = manager_->UpdateCache({"a b&c"}, net::kIPFamilyV6);
  const auto other = Next();
  EXPECT_THAT(UrlsOf(one), ElementsAre("https://dns/httpdns/v2/d?domain=a b&c",
                                       "http://[::5]:80/httpdns/v2/d?domain=a b&c"));
  EXPECT_EQ(UrlsOf(one), UrlsOf(other));
  Answer(one, 200, R"({"code": 200})");
  Answer(other, 200, R"({"code": 200})");
  EXPECT_FALSE(first.get());
  EXPECT_TRUE(second.get());
  auto failed = manager_->UpdateCache({"m"}, net::kIPFamilyAny);
  Answer(Next(), 503, "");
  EXPECT_FALSE(failed.get());
  Know("s", 1000, true);
  EXPECT_FALSE(manager_->DoQuery(net::kIPFamilyAny, {"s"}, results_, true));
  EXPECT_THAT(results_, IsEmpty());
}

TEST_F(HostQueryTest, AHostWithoutAddressesIsAskedForEachTimeAndStaysAbsent) {
  const struct {
    const char* host;
    int family, code;
    const char* body;
    bool good = false;  // in the view of the check
  } cases[] = {
      {"unknown", 0, 0, ""},
      {"left out", 1, 200, R"({"code": 200, "data": {"other": {"ip": ["3.3.3.3"]}}})", true},
      {"array", 1, 200, "[]"},
      {"text", 1, 200, R"({"code": "200", "data": {"text": {"ip": ["3.3.3.3"]}}})"},
      {"status", 1, 500, R"({"code": 200, "data": {"status": {"ip": ["3.3.3.3"]}}})"},
      {"refused", 1, 200, R"({"code": 500, "data": {"refused": {"ip": ["3.3.3.3"]}}})"},
      {"has IPv4 alone", 2, 200, R"({"code": 200, "data": {}})", true}};
  Know("has IPv4 alone", 1000);
  for (const auto& c : cases) {
    auto query = Start({c.host}, c.family);
    EXPECT_EQ(Answer(Next(), c.code, c.body), c.good) << c.host;
    EXPECT_FALSE(query.get()) << c.host;
    EXPECT_THAT(results_, IsEmpty()) << c.host;
  }
  log.StartHere();
  auto query = Start({"m"});
  Answer(Next(), 200, "\x80{");
  query.get();
  EXPECT_THAT(
      log.Tagged({"[http dns] Query"}),
      ElementsAre("[http dns] Query hosts`s ip response res = false for body error" + kLine +
                      "\r\nbody:\r\n\x80{" + kLine,
                  "[http dns] Query hosts`s ip success = false" + kLine + "\r\n\x80{" + kLine,
                  "[http dns] Query hosts`s ip fail"));
}

TEST_F(HostQueryTest, AnswersWithoutARequestWhereItCan) {
  Know("cached", 1000);
  EXPECT_TRUE(Start({"cached", "cached"}).get());
  EXPECT_EQ(results_["cached"].size(), 4U);
  EXPECT_FALSE(Start({}).get());
  EXPECT_THAT(results_, IsEmpty());
  config->SetHttpRequestInvoker(nullptr);
  EXPECT_FALSE(Start({"a"}).get());  // no request, no wait
  RunOn(*manager_, [&] { EXPECT_FALSE(manager_->Query({}, {"cached"}, results_)); });
  EXPECT_EQ(log.Texts().back(), "[http dns] DoQuery on the manager's own thread,return");
  Settle();
  EXPECT_EQ(Waiting(), 0U);
}

TEST_F(HostQueryTest, AnEndWakesTheWaitingQueriesAndRefusesOthers) {
  Know("cached", 1000000);
  auto query = Start({"cached", "a"});
  const auto request = Next();
  std::future<bool> update;
  RunOn(*manager_, [&] {  // M reaches the update that is posted here after the end
    update = manager_->UpdateCache({"a"}, net::kIPFamilyAny);
    manager_->EndQueries();
  });
  Settle();
  EXPECT_EQ(Waiting(), 0U);
  EXPECT_FALSE(query.get());
  EXPECT_FALSE(update.get());
  EXPECT_FALSE(manager_->UpdateCache({"m"}, net::kIPFamilyAny).get());
  Answer(request, 200, R"({"code": 200, "data": {"a": {"ip": ["1.1.1.1"]}}})");
  EXPECT_EQ(log.With("[http dns] Sync update,future_error exception").size(), 1U);
  EXPECT_FALSE(Start({"cached"}).get());
  EXPECT_THAT(results_, IsEmpty());
}

TEST_F(HostQueryTest, AnAnswerMayComeAfterTheManagerIsGone) {
  auto update = manager_->UpdateCache({"a"}, net::kIPFamilyAny);
  auto request = Next();
  manager_.reset();
  EXPECT_FALSE(update.get());
  bool need_statistic = false;
  EXPECT_FALSE(request.check(0, 200, "", R"({"code": 200})", need_statistic));
  request.callback(true, "", "");
  NewManager();
}

}  // namespace
}  // namespace zo_sturdy
