#include "tests/http_dns/dns_fixture.h"

namespace zo_sturdy {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using zo_base::json11::Json;

class ServiceUpdateTest : public DnsTest {
 protected:
  // A table that has this time left.
  void WriteTable(int64_t left_ms) {
    WriteCache("http_server_cache.data",
               R"({"host": "old", "ipv4": "[{\"host\": \"10.0.0.1\"}]", "ipv6": "[{\"host\": )"
               R"(\"::7\", \"port\": 7, \"https\": false}]", "expired_time": ")" +
                   std::to_string(now + left_ms) + R"(", "updated_at": "1"})");
  }
  Json ReadTable() {
    std::string error;
    return Json::parse(ReadCache("http_server_cache.data"), error);
  }
  static std::string Endpoint(const std::string& host, int port, bool https) {
    return R"({"host": ")" + host + R"(", "https": )" + (https ? "true" : "false") +
           R"(, "port": )" + std::to_string(port) + R"(, "zone": "z"})";
  }
};

TEST_F(ServiceUpdateTest, BuiltInEndpointsAreAskedAtOnce) {
  config->sdk_version_text = "1.2";
  config->tp = 3;
  config->sv = 4;
  {
    const zo_base::RecursiveMutexLock lock(config->mutex);
    config->business_token = "key";
  }
  EXPECT_TRUE(manager->Init());
  const auto [request, on_agent] = Next();
  EXPECT_TRUE(on_agent);
  std::vector<std::string> urls;
  for (const std::string host :
       {"localhost", "127.0.0.1:443", "[::1]:443", "127.0.0.2:443", "127.0.0.3:443",
        "127.0.0.4:443", "127.0.0.5:443", "127.0.0.6:443"}) {
    urls.push_back("https://" + host + "/httpdns/v2/s");
  }
  EXPECT_EQ(UrlsOf(request), urls);
  for (const URLItem& item : request.urls) {
    EXPECT_EQ(item.host, "localhost");
  }
  EXPECT_THAT(request.heads, ElementsAre("X-QORVIN-BUSINESS : im_g1", "X-QORVIN-SDKVER : 1.2_3_4",
                                         "X-QORVIN-APPKEY : key"));
  EXPECT_TRUE(request.time_out == 7000 && request.multiple_time_out == 2000 && request.type == 0 &&
              !request.use_http_dns && request.ip_family == 0 && request.body.empty());
  EXPECT_THAT(Table(2), ElementsAre("localhost:443", "[::1]:443"));
  const Json file = ReadTable();
  EXPECT_EQ(file["ttl"].string_value(), "3600");
  EXPECT_EQ(file["expired_time"].string_value(), std::to_string(now));
  EXPECT_EQ(file["updated_at"].string_value(), std::to_string(now));
  std::string error;
  const Json ipv4 = Json::parse(file["ipv4"].string_value(), error);
  ASSERT_EQ(ipv4.array_items().size(), 6U);
  EXPECT_EQ(ipv4[5].dump(), R"({"host": "127.0.0.6", "https": true, "port": 443})");
  std::promise<bool> again;
  manager->PostDelayedTask(0, [&] { again.set_value(manager->DoReload(net::kIPFamilyAny)); });
  EXPECT_TRUE(again.get_future().get());
  EXPECT_THAT(log.Tagged({"[http dns]"}),
              ElementsAre("[http dns][init] expired_time - time_now <= 2000ms update now",
                          "[http dns] Begin update service",
                          "[http dns] Update DNS -s updatting_interface_ = true,return"));
  {
    const zo_base::RecursiveMutexLock lock(config->mutex);
    config->business_token = "later";
  }
  Answer(request, 503, "");
  Settle(60000);
  EXPECT_EQ(Next().first.heads, request.heads);
}

TEST_F(ServiceUpdateTest, ATableThatIsGoodFor2001MsWaits) {
  WriteTable(2001);
  manager->Init();
  Settle(2000);
  EXPECT_EQ(Untaken(), 0U);
  EXPECT_THAT(Table(), ElementsAre("old:443", "10.0.0.1:0", "!::7:7"));
  clock.Advance(1);
  const auto request = Next().first;
  EXPECT_THAT(UrlsOf(request),
              ElementsAre("https://old/httpdns/v2/s", "https://10.0.0.1:443/httpdns/v2/s",
                          "http://::7:7/httpdns/v2/s"));
  EXPECT_THAT(
      log.Tagged({"[http dns]"}),
      ElementsAre("[http dns][init] expired_time - time_now > 2000ms update after 2001ms",
                  "[http dns][init] Update S (ttl end)", "[http dns] Begin update service"));
  manager->Stop();
  clock.SetWall(now);
  WriteTable(2000);
  NewManager();
  manager->Init();
  Next();
}

TEST_F(ServiceUpdateTest, PausesGrowToFiveMinutesAndASuccessStartsThemOver) {
  manager->Init();
  Next().first.callback(false, "", "");
  for (const int minutes : {1, 2, 3, 4, 5, 5, 1}) {
    const std::string pause = "redo after :" + std::to_string(minutes * 60000) + "ms";
    EXPECT_THAT(log.With("redo after").back(), HasSubstr(pause));
    Settle(minutes * 60000 - 1);
    EXPECT_EQ(Untaken(), 0U);
    clock.Advance(1);
    const auto request = Next().first;
    if (log.With("redo after").size() < 6) {
      EXPECT_FALSE(Answer(request, 0, ""));
    } else if (log.With("ttl : 9000").empty()) {
      EXPECT_TRUE(Answer(request, 200, R"({"host": "h", "ipv4": [], "ttl": 9})"));
      Settle(9000);
      EXPECT_FALSE(Answer(Next().first, 200, R"({"host": "h", "ipv4": []})"));
    }
  }
  EXPECT_EQ(log.With("[http dns] Update S by (fail)").size(), 7U);
  EXPECT_THAT(
      log.Texts(),
      testing::IsSupersetOf(
          {"[http dns] Check response index:0 code:200", "[http dns] Check response res = true",
           "[http dns] Service update complete success = true",
           "[http dns] Update success ttl : 9000 ms", "[http dns] Update S (success)",
           "[http dns] Check response res = false",
           "[http dns] Check response res = false for body error\r\n"
           "-----------------------\r\nbody:\r\n{\"host\": \"h\", "
           "\"ipv4\": []}\r\n-----------------------"}));
}

TEST_F(ServiceUpdateTest, AnAnswerReplacesTheFamiliesThatItHas) {
  WriteTable(0);
  manager->Init();
  const std::string v6 =
      "[" + Endpoint("fe::1", 8443, false) + ", " + Endpoint("[fe::2]", 0, true) + "]";
  const std::string body = R"({"host": "new", "ipv4": [], "ipv6": )" + v6 + R"(, "ttl": 1.5})";
  auto request = Next().first;
  zo_base::TQLogImpl<zo_base::SturdyObject>::Instance()->SetLevel(zo_base::LV_PRO);
  log.StartHere();
  Answer(request, 200, body);
  Settle();
  const std::string line = "\r\n-----------------------";
  const std::string index = "[http dns] Check response index:0 code:";
  const std::string complete = "[http dns] Service update complete ";
  EXPECT_THAT(log.Tagged({"[http dns]"}),
              ElementsAre(index + "200", "[http dns] Check response res = true",
                          complete + "success = true", complete + line + "\r\n" + body + line,
                          "[http dns] Update success ttl : 1500 ms"));
  EXPECT_THAT(Table(), ElementsAre("new:443", "10.0.0.1:0", "![fe::1]:8443", "[fe::2]:0"));
  const Json file = ReadTable();
  EXPECT_EQ(file["ipv4"].string_value(), R"([{"host": "10.0.0.1"}])");
  EXPECT_EQ(file["ipv6"].string_value(), v6);
  EXPECT_EQ(file["ttl"].string_value(), "1500");
  EXPECT_EQ(file["expired_time"].string_value(), std::to_string(now + 1500));
  EXPECT_EQ(file["updated_at"].string_value(), "1");
  Settle(1500);
  request = Next().first;
  EXPECT_EQ(request.urls[2].url, "http://[fe::1]:8443/httpdns/v2/s");
  log.StartHere();
  Answer(request, 503, "b");
  EXPECT_THAT(log.Tagged({"[http dns]"}),
              ElementsAre(index + "503", "[http dns] Check response res = false",
                          complete + "success = false", complete + line + "\r\nb" + line,
                          "[http dns] Update fail redo after :60000ms"));
}

TEST_F(ServiceUpdateTest, AnAnswerNeedsItsKeysAndCountsAsItIs) {
  std::string error;
  for (const auto& [text, good] :
       std::vector<std::pair<std::string, bool>>{{R"({"host": 1, "ipv6": 1, "ttl": 1})", true},
                                                 {R"({"host": 1, "ipv4": 1, "ttl": null})", true},
                                                 {R"({"ipv4": 1, "ttl": 1})", false},
                                                 {R"({"host": 1, "ttl": 1})", false},
                                                 {R"({"host": 1, "ipv4": 1, "ipv6": 1})", false},
                                                 {"[]", false},
                                                 {R"("x")", false},
                                                 {"null", false}}) {
    EXPECT_EQ(HttpDNSManager::CheckServiceResponseBody(Json::parse(text, error)), good) << text;
  }
  manager->LoadServerCache();
  for (const auto& [ttl, kept] : std::vector<std::pair<std::string, std::string>>{
           {R"("host": "h")", "3600000"},
           {R"("ttl": "9")", "0"},
           {R"("ttl": null)", "0"},
           {R"("ttl": -5)", "-5000"},
           {R"("ttl": 1e300)", "9223372036854775807"}}) {
    manager->UpdateServerCache(Json::parse("{" + ttl + "}", error));
    EXPECT_EQ(ReadTable()["ttl"].string_value(), kept);
    EXPECT_EQ(ReadTable()["host"].string_value() + ":443", Table().front());
  }
}

TEST_F(ServiceUpdateTest, AnAnswerCannotMakeARequestOfAnySize) {
  manager->Init();
  std::string many = "{}";
  while (many.size() < 750000) {
    many += ",{}";
  }
  const std::string at_most(259, 'x');
  Answer(Next().first, 200,
         R"({"ttl": 1, "host": ")" + std::string(250000, 'x') + R"(", "ipv4": [)" + many +
             R"(], "ipv6": [)" + Endpoint(at_most + "x", 1, true) + "," +
             Endpoint(at_most, 1, true) + "]}");
  Settle(1000);
  const auto request = Next().first;
  ASSERT_EQ(request.urls.size(), 66U);
  EXPECT_THAT(request.urls[2].url, HasSubstr("/[" + at_most + "]"));
  EXPECT_EQ(request.urls[2].host, "");
}

TEST_F(ServiceUpdateTest, AnUpdateWhoseRequestGoesNowhereHasFailed) {
  config->SetHttpRequestInvoker(nullptr);
  manager->Init();
  ASSERT_TRUE(log.WaitFor("redo after :60000ms"));
  MultipleURLHttpRequest kept;
  config->SetHttpRequestInvoker(
      [&](const MultipleURLHttpRequest& request, bool) { kept = request; });
  Settle(60000);
  EXPECT_EQ(kept.urls.size(), 8U);
  kept = {};  // as the queue of a thread that has stopped
  EXPECT_THAT(log.Texts(), Contains("[http dns] Update fail redo after :120000ms"));
}

TEST_F(ServiceUpdateTest, ALifetimeOfNothingReloadsAtOnceAndOneOfAgesWaits) {
  manager->Init();
  for (int i = 0; i < 200; ++i) {
    EXPECT_TRUE(Answer(Next().first, 200, R"({"host": "h", "ipv4": 1, "ttl": 0})"));
  }
  Answer(Next().first, 200, R"({"host": "h", "ipv4": 1, "ttl": -1e300})");
  Answer(Next().first, 200, R"({"host": "h", "ipv4": 1, "ttl": 1e300})");
  Settle(2147483646);
  EXPECT_EQ(Untaken(), 0U);
  clock.Advance(1);
  Next();
}

}  // namespace
}  // namespace zo_sturdy
