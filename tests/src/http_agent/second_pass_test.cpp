// The steps after a request has failed on all its URLs: host query, second pass, report.
#include "src/sturdy/http_agent/logic/second_pass.h"

#include "lab/lab.h"
#include "lab/paths.h"
#include "tests/src/http_agent/agent_fixture.h"

namespace {

using KRBASE::network::HttpHeaderList;
using testing::ElementsAre;
using zo_base::json11::Json;
using zo_sturdy::MultipleURLHttpRequest;

class SecondPassTest : public AgentTest {
 protected:
  static MultipleURLHttpRequest WithSecondPass(const std::vector<std::string>& urls,
                                               Outcome& outcome) {
    MultipleURLHttpRequest request = Request(urls, outcome);
    request.use_http_dns = true;
    return request;
  }
  void AnswerQuery(const std::string& hosts, const std::string& data) {
    transport_->Answer("https://localhost/httpdns/v2/d?domain=" + hosts, 200,
                       R"({"code":200,"data":{)" + data + "}}");
  }
  // A request whose failures are reported at once, except status 403.
  MultipleURLHttpRequest Reported(const std::string& endpoint, const std::vector<std::string>& urls,
                                  Outcome& outcome) {
    config->statistic_settings.Set({true, endpoint, 1, 60000, 10000});
    MultipleURLHttpRequest request = WithSecondPass(urls, outcome);
    request.check = [](int32_t, int32_t code, const auto&, const auto&, bool& need_statistic) {
      need_statistic = code != 403;
      return code == 200;
    };
    return request;
  }
};

TEST_F(SecondPassTest, EachUrlGoesToEachAddressOfItsHost) {
  Outcome outcome;
  MultipleURLHttpRequest request = WithSecondPass(
      {"http://b.test/x", "https://a.test:8/b?h=a.test", "http://127.0.0.1:9/"}, outcome);
  request.time_out = 6000;
  request.multiple_time_out = 1500;
  request.type = 1;
  request.body = "posted";
  request.heads = {"N:v"};
  const std::vector<zo_sturdy::URLItem> second = {{"https://10.0.0.2:8/b?h=a.test", "a.test"},
                                                  {"https://10.0.0.1:8/b?h=a.test", "a.test"},
                                                  {"https://[::1]:8/b?h=a.test", "a.test"},
                                                  {"http://10.0.0.3/x", "b.test"}};
  StartRequest(request);
  for (const auto& [url, host] : request.urls) {
    transport_->Answer(url, 500, "first");
  }
  AnswerQuery("b.test,a.test", R"("a.test":{"ip":["10.0.0.2","10.0.0.1"],"ipv6":["::1"]},)"
                               R"("b.test":{"ip":["10.0.0.3"]})");
  for (const auto& [url, host] : second) {
    EXPECT_EQ(outcome.calls, 0);
    const auto sent = transport_->WaitFor(url).first;
    EXPECT_EQ(sent->headers, (HttpHeaderList{{"N", "v"}, {"Host", host}}));
    EXPECT_EQ(std::string(sent->body.begin(), sent->body.end()), "posted");
    transport_->Answer(url, 500, "second " + url);
  }
  Settle();
  EXPECT_EQ(outcome.Result(), std::make_tuple(1, false, "second http://10.0.0.3/x"));
  EXPECT_EQ(transport_->sent, 8);
  EXPECT_EQ(log.With("multiple_time_out:1500 time_out:6000 use http dns:false").size(), 1U);
  EXPECT_EQ(log.With("[multiple]Second pass of " + request.urls[0].url).size(), 1U);
  EXPECT_EQ(
      log.Tagged({"[multiple]Use", "[multiple] -- "}),
      (Messages{
          "[multiple]Use http dns,host:", "[multiple] -- b.test", "[multiple] -- a.test",
          "[multiple]User http dns, host:a.testip list:", "[multiple]User http dns, ------10.0.0.2",
          "[multiple]User http dns, ------10.0.0.1", "[multiple]User http dns, ------[::1]",
          "[multiple]User http dns, host:b.testip list:",
          "[multiple]User http dns, ------10.0.0.3"}));
}

TEST_F(SecondPassTest, IsBoundedWhateverAnAnswerLists) {
  MultipleURLHttpRequest failed;
  failed.urls = {
      {"http://a.test/1", ""}, {"http://a.test/2", ""}, {"http://a.test/3", ""}, {"http://b/", ""}};
  const auto named = zo_sturdy::GatherNamedHosts(failed.urls);
  const std::list<std::string> many(100000, "10.0.0.1");
  const auto second = zo_sturdy::MakeSecondPass(failed, named, {{"a.test", many}, {"b", many}});
  EXPECT_EQ(second.urls.size(), 64U);
  EXPECT_EQ(log.With("[multiple]User http dns, ").size(), 1U + 22U) << "a host, and 22 addresses";
  // Hosts that weren't asked for, or have no addresses, add no URL.
  EXPECT_TRUE(
      zo_sturdy::MakeSecondPass(failed, named, {{"a.test", {}}, {"x", {"10.0.0.1"}}}).urls.empty());
}

// The report starts on the thread "statistic". Here its host query would wait for an answer that
// comes only later.
TEST_F(SecondPassTest, FailuresOfAThreadWithoutALoopGoToTheStatisticsThread) {
  Outcome outcome;
  agent_->InvokeMultipleURLHttpRequest(Reported("http://s.test", {"http://10.0.0.1/"}, outcome));
  transport_->Answer("http://10.0.0.1/", 404);
  EXPECT_EQ(outcome.calls, 1);
  transport_->Answer(std::string("http://s.test") + lab::kReportPath, 500);
  AnswerQuery("s.test", R"("s.test":{"ip":["10.0.0.9"]})");
  transport_->Answer(std::string("http://10.0.0.9") + lab::kReportPath, 200);
  EXPECT_TRUE(log.WaitFor("[statistic]Statistic ret:true"));
}

// The thread of the failed host query can't wait for another one.
TEST_F(SecondPassTest, FailuresOfAHostQueryGoToTheStatisticsThread) {
  Outcome outcome;
  StartRequest(WithSecondPass({"http://a.test/"}, outcome));
  config->statistic_settings.Set({true, "http://s.test", 1, 60000, 10000});
  transport_->Answer("http://a.test/", 500);
  for (const std::string endpoint : {"localhost", "127.0.0.1:443"}) {
    transport_->Answer("https://" + endpoint + "/httpdns/v2/d?domain=a.test", 500);
  }
  const std::string report = std::string("http://s.test") + lab::kReportPath;
  const std::vector<char> body = transport_->WaitFor(report).first->body;
  EXPECT_EQ(Parsed({body.begin(), body.end()})[0]["host_ip"].dump(), "[]")
      << "no look-up but that of the transfer, which gave nothing";
  transport_->Answer(report, 500);
  AnswerQuery("s.test", R"("s.test":{"ip":["10.0.0.9"]})");
  transport_->Answer(std::string("http://10.0.0.9") + lab::kReportPath, 200);
  EXPECT_TRUE(log.WaitFor("[statistic]Statistic ret:true"));
}

TEST_F(SecondPassTest, ReportsAsAServerGetsThem) {
  KRBASE::network::HttpClient::Instance()->Stop();
  KRBASE::network::HttpClient::Instance()->Start();
  lab::Lab lab(
      {lab::HttpServer("s")
           .On("/bad", {lab::Answer(404).HeldAt("gate"), lab::Answer(404), lab::Answer(500)})
           .On("/forbidden", lab::Answer(403))
           .On("/good", lab::Answer(200))
           .On(lab::kReportPath, {lab::Answer(204), lab::Answer(200)})});
  const std::string bad = lab.Url("s", "/bad");
  const std::string named = "http://localhost:" + std::to_string(lab.Port("s")) + "/bad";
  SetToken("key");
  Outcome outcome;
  StartRequest(Reported(lab.Url("s"),
                        {bad, bad, bad, lab.Url("s", "/forbidden"), named, lab.Url("s", "/good")},
                        outcome));
  EXPECT_TRUE(lab.gates().WaitForHeld("gate", 1, kPatience));
  clock.Advance(7);
  lab.gates().Release("gate");
  ASSERT_TRUE(log.WaitFor("[statistic] Last report failed,wait ms :"));
  Settle(10000);
  ASSERT_TRUE(log.WaitFor("[statistic]Statistic ret:true"));
  const auto reports = lab.journal().RequestsFor(lab::kReportPath);
  ASSERT_EQ(reports.size(), 2U) << "one more when the first had failed";
  const Json local = Json::array{"127.0.0.1"};
  const Json by_name = Parsed(reports[0].body)[2]["host_ip"];
  EXPECT_THAT(by_name.array_items(), testing::Contains(Json("127.0.0.1")));
  const auto record = [&](const std::string& url, const Json& addresses, int code, int send_time) {
    return Json::object{{"appkey", "key"},          {"error_code", code}, {"host_ip", addresses},
                        {"platform", "pc"},         {"request_url", url}, {"send_time", send_time},
                        {"timestamp", start_ms + 7}};
  };
  const std::string body = Json(Json::array{record(bad, local, 404, 7), record(bad, local, 500, 0),
                                            record(named, by_name, 500, 0)})
                               .dump();
  for (const lab::Request& report : reports) {
    EXPECT_EQ(report.method + report.body, "POST" + body);
    EXPECT_THAT(report.HeaderLines(), testing::IsSupersetOf({"Host: 127.0.0.1", "sdktype: im"}));
    EXPECT_EQ(*report.Header("Content-Type"), "application/json");
  }
  const std::string checked =
      "[statistic]Statistic check \r\n-----------------------\r\n\r\n-----------------------";
  EXPECT_THAT(log.Tagged({"[statistic]Statistic check"}),
              ElementsAre("[statistic]Statistic check code:204", checked,
                          "[statistic]Statistic check code:200", checked));
  EXPECT_EQ(log.With("need statics").size(), 1U) << "no report's own failure is recorded";
}

}  // namespace
