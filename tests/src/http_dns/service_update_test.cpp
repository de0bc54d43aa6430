#include "tests/src/http_dns/dns_fixture.h"

namespace zo_sturdy {
namespace {

using testing::ElementsAre;
using testing::EndsWith;

class ServiceUpdateTest : public DnsTest {
 protected:
  // Writes a table that expires after this time.
  void WriteTable(int64_t left_ms) {
    WriteCache(kFile,
               R"({"host": "old", "ipv4": "[{\"host\": \"10.0.0.1\"}]", "ipv6": "[{\"host\": )"
               R"(\"::7\", \"https\": false}]", "expired_time": ")" +
                   std::to_string(start_ms + left_ms) + R"(", "updated_at": "1"})");
  }
  std::string Saved(const std::string& key) { return Parsed(ReadCache(kFile))[key].string_value(); }
  static constexpr char kFile[] = "http_server_cache.data";
};

TEST_F(ServiceUpdateTest, BuiltInEndpointsAreAskedAtOnce) {
  config->sdk_version_text = "1.2";
  config->tp = 3;
  config->sv = 4;
  SetToken("key");
  EXPECT_TRUE(manager_->Init());
  const SentRequest request = Next();
  EXPECT_TRUE(request.on_agent_thread);
  std::vector<std::string> urls;
  for (const std::string host :
       {"localhost", "127.0.0.1:443", "[::1]:443", "127.0.0.2:443", "127.0.0.3:443",
        "127.0.0.4:443", "127.0.0.5:443", "127.0.0.6:443"}) {
    urls.push_back("https://" + host + "/httpdns/v2/s");
  }
  EXPECT_EQ(UrlsOf(request), urls);
  EXPECT_THAT(request.urls, testing::Each(testing::Field(&URLItem::host, "localhost")));
  EXPECT_THAT(request.heads, ElementsAre("X-QORVIN-BUSINESS : im_g1", "X-QORVIN-SDKVER : 1.2_3_4",
                                         "X-QORVIN-APPKEY : key"));
  EXPECT_EQ(std::tie(request.time_out, request.multiple_time_out, request.type,
                     request.use_http_dns, request.ip_family, request.body),
            std::make_tuple(7000, 2000, 0, false, 0, ""));
  const std::string now = std::to_string(start_ms);
  EXPECT_EQ(Saved("ttl") + " " + Saved("expired_time") + " " + Saved("updated_at"),
            "3600 " + now + " " + now);
  EXPECT_THAT(Saved("ipv4"), EndsWith(R"({"host": "127.0.0.6", "https": true, "port": 443}])"));
  RunOn(*manager_, [&] { EXPECT_TRUE(manager_->DoReload(net::kIPFamilyAny)); });
  EXPECT_EQ(log.Texts().back(), "[http dns] Update DNS -s updatting_interface_ = true,return");
  SetToken("later");
  Answer(request, 503, "");
  Settle(60000);
  EXPECT_EQ(Next().heads, request.heads);
}

TEST_F(ServiceUpdateTest, AnUnusableFileIsReplacedByTheBuiltInEndpoints) {
  // The last one is usable: a name and any text for IPv4 will do.
  for (const auto& [text, domain] :
       {std::pair("no JSON", "localhost"),
        {R"({"host": "h"})", "localhost"},
        {R"({"host": "h", "ipv4": []})", "localhost"},
        {R"({"host": 5, "ipv4": "[5]"})", "localhost"},
        {R"({"host": " h", "ipv4": "[{\"host\": \"1.1.1.1\"}]"})", "localhost"},
        {R"({"host": "h", "ipv4": "[]", "ipv6": "[{\"host\": \"[::9]\"}]"})", "h"}}) {
    WriteCache(kFile, text);
    NewManager();
    manager_->LoadServerCache();
    manager_->InitInterfaceAddress();
    EXPECT_EQ(Saved("host"), domain) << text;
    EXPECT_EQ(Table().size(), domain[0] == 'h' ? 2U : 8U) << text;
  }
}

TEST_F(ServiceUpdateTest, ATableWith2001MsLeftWaits) {
  WriteTable(2001);
  manager_->Init();
  Settle(2000);
  EXPECT_EQ(Waiting(), 0U);
  clock.Advance(1);
  const auto request = Next();  // kept: an update fails when its request is dropped
  EXPECT_THAT(UrlsOf(request),
              ElementsAre("https://old/httpdns/v2/s", "https://10.0.0.1:443/httpdns/v2/s",
                          "http://::7:80/httpdns/v2/s"));
  EXPECT_THAT(log.Tagged({"[http dns][init]"}),
              ElementsAre("[http dns][init] expired_time - time_now > 2000ms update after 2001ms",
                          "[http dns][init] Update S (ttl end)"));
  manager_->Stop();
  clock.SetWall(start_ms);
  WriteTable(2000);
  NewManager();
  manager_->Init();
  Next();
}

TEST_F(ServiceUpdateTest, PausesGrowToFiveMinutesAndASuccessStartsThemOver) {
  manager_->Init();
  Next().callback(false, "", "");
  for (const int minutes : {1, 2, 3, 4, 5, 5, 1}) {
    EXPECT_THAT(log.With("redo after").back(),
                EndsWith("redo after :" + std::to_string(minutes * 60000) + "ms"));
    Settle(minutes * 60000 - 1);
    EXPECT_EQ(Waiting(), 0U);
    clock.Advance(1);
    const auto request = Next();
    if (log.With("redo after").size() < 6) {
      EXPECT_FALSE(Answer(request, 0, ""));
    } else if (log.With("ttl : 9000").empty()) {
      EXPECT_TRUE(Answer(request, 200, R"({"host": "h", "ipv4": [], "ttl": 9})"));
      Settle(9000);
      EXPECT_FALSE(Answer(Next(), 200, "[]"));
    }
  }
  EXPECT_EQ(
      log.With("for body error").back(),
      "[http dns] Check response res = false for body error" + kLine + "\r\nbody:\r\n[]" + kLine);
  EXPECT_EQ(log.With("[http dns] Update S by (fail)").size(), 7U);
}

TEST_F(ServiceUpdateTest, AnAnswerReplacesTheFamiliesThatItHas) {
  WriteTable(0);
  manager_->Init();
  const std::string v6 = R"([{"host": "fe::1", "https": false, "port": 8443, "zone": "z"}, )"
                         R"({"host": "[fe::2]", "https": true, "port": 0, "zone": "z"}])";
  const std::string body =
      R"({"host": "new\r\nEvil: header", "ipv4": [], "ipv6": )" + v6 + R"(, "ttl": 1.5})";
  Answer(Next(), 200, body);
  Settle();
  EXPECT_THAT(Table(), ElementsAre("new:443", "10.0.0.1:0", "![fe::1]:8443", "[fe::2]:0"));
  EXPECT_THAT(Table(net::kIPFamilyV4), ElementsAre("new:443", "10.0.0.1:0"));
  EXPECT_THAT(Table(3), ElementsAre("new:443"));
  EXPECT_EQ(Saved("ipv4"), R"([{"host": "10.0.0.1"}])");
  EXPECT_EQ(Saved("ipv6"), v6);
  EXPECT_EQ(Saved("ttl") + " " + Saved("expired_time") + " " + Saved("updated_at"),
            "1500 " + std::to_string(start_ms + 1500) + " 1");
  Settle(1500);
  const auto next = Next();
  EXPECT_EQ(next.urls[2].url, "http://[fe::1]:8443/httpdns/v2/s");
  Answer(next, 503, "b");
  const std::string begin = "[http dns] Begin update service";
  const std::string index = "[http dns] Check response index:0 code:";
  const std::string complete = "[http dns] Service update complete ";
  const std::string success = "[http dns] Service update complete success = ";
  EXPECT_THAT(
      log.Tagged({"[http dns]"}),
      ElementsAre("[http dns][init] expired_time - time_now <= 2000ms update now", begin,
                  index + "200", "[http dns] Check response res = true", success + "true",
                  complete + kLine + "\r\n" + body + kLine,
                  "[http dns] Update success ttl : 1500 ms", "[http dns] Update S (success)", begin,
                  index + "503", "[http dns] Check response res = false", success + "false",
                  complete + kLine + "\r\nb" + kLine,
                  "[http dns] Update fail redo after :60000ms"));
  for (const std::string host :
       {"5", R"("")", R"(" h")", R"("/")", R"("/h")", R"("u@")", R"(":8")"}) {
    const std::string member = R"("host": )" + host;
    manager_->UpdateServerCache(Parsed("{" + member + R"(, "ipv4": [{}, {)" + member + "}]}"));
  }
  EXPECT_THAT(Table(), ElementsAre("new:443", "10.0.0.1:0", "![fe::1]:8443", "[fe::2]:0"));
  EXPECT_THAT(Saved("host") + Saved("ipv4"), EndsWith(R"(Evil: header[{"host": "10.0.0.1"}])"));
}

TEST_F(ServiceUpdateTest, AnAnswerNeedsItsKeysOfWhateverType) {
  for (const auto& [text, good] : {std::pair(R"({"host": 1, "ipv6": 1, "ttl": 1})", true),
                                   {R"({"host": 1, "ipv4": 1, "ttl": null})", true},
                                   {R"({"ipv4": 1, "ttl": 1})", false},
                                   {R"({"host": 1, "ttl": 1})", false},
                                   {R"({"host": 1, "ipv4": 1, "ipv6": 1})", false},
                                   {"[]", false}}) {
    EXPECT_EQ(HttpDNSManager::CheckServiceResponseBody(Parsed(text)), good) << text;
  }
}

TEST_F(ServiceUpdateTest, AnAnswerCannotMakeARequestOfAnySize) {
  manager_->Init();
  std::string many = R"({"host":"h"})";
  while (many.size() < 750000) {
    many += R"(,{"host":"h"})";
  }
  const std::string at_most(259, 'x');
  Answer(Next(), 200,
         R"({"ttl": 1, "host": ")" + std::string(250000, 'x') + R"(", "ipv4": [)" + many +
             R"(], "ipv6": [{"host": ")" + at_most + R"(x"}, {"host": ")" + at_most + "\"}]}");
  Settle(1000);
  const auto request = Next();
  ASSERT_EQ(request.urls.size(), 66U);
  EXPECT_EQ(request.urls[2].url, "http://[" + at_most + "]/httpdns/v2/s");
  EXPECT_EQ(request.urls[2].host, "localhost");
}

TEST_F(ServiceUpdateTest, AnUpdateWhoseRequestIsLostHasFailed) {
  config->SetHttpRequestInvoker(nullptr);
  manager_->Init();
  ASSERT_TRUE(log.WaitFor("redo after :60000ms"));
  MultipleURLHttpRequest kept;
  config->SetHttpRequestInvoker([&](const auto& request, bool) { kept = request; });
  Settle(60000);
  EXPECT_EQ(kept.urls.size(), 8U);
  kept = {};  // as the queue of a stopped thread drops it
  EXPECT_EQ(log.Texts().back(), "[http dns] Update fail redo after :120000ms");
}

TEST_F(ServiceUpdateTest, ALifetimeOfZeroReloadsAtOnceAndAHugeOneWaits) {
  manager_->Init();
  for (int i = 0; i < 200; ++i) {
    EXPECT_TRUE(Answer(Next(), 200, R"({"host": "h", "ipv4": 1, "ttl": 0})"));
  }
  Answer(Next(), 200, R"({"host": "h", "ipv4": 1, "ttl": -1e300})");
  Answer(Next(), 200, R"({"host": "h", "ipv4": 1, "ttl": 1e300})");
  Settle(2147483646);
  EXPECT_EQ(Waiting(), 0U);
  clock.Advance(1);
  Next();
}

}  // namespace
}  // namespace zo_sturdy
