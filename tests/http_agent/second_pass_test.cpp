// What follows a request that has failed on all its URLs: the host query, the second pass, and the
// report of the failures.
#include "src/sturdy/http_agent/logic/second_pass.h"

#include <gmock/gmock.h>

#include <set>

#include "base/clock.h"
#include "base/json/json.h"
#include "base/platform/thread.h"
#include "lab/lab.h"
#include "tests/http_agent/agent_fixture.h"

namespace {

using KRBASE::network::HttpHeaderList;
using testing::ElementsAre;
using zo_base::json11::Json;
using zo_sturdy::MultipleURLHttpRequest;

std::string ListText(const std::vector<zo_sturdy::URLItem>& urls) {
  std::string text =
      "[multiple]Invoke send multiple url\r\n-----------------------\r\nurl list:\r\n";
  for (const auto& [url, host] : urls) {
    text += "host:" + host + " url:" + url + "\r\n";
  }
  return text + "-----------------------";
}

class SecondPassTest : public AgentTest {
 protected:
  static constexpr char kReport[] = "/statics/report/im/api/error";

  static MultipleURLHttpRequest Asking(const std::vector<std::string>& urls, Outcome& outcome) {
    MultipleURLHttpRequest request = Request(0, outcome);
    for (const std::string& url : urls) {
      request.urls.push_back({url, "not looked at"});
    }
    request.use_http_dns = true;
    return request;
  }
  void AnswerQuery(const std::string& hosts, int status, const std::string& body = "") {
    transport_->Answer("https://localhost/httpdns/v2/d?domain=" + hosts, status, body);
    if (status != 200) {
      transport_->Answer("https://127.0.0.1:443/httpdns/v2/d?domain=" + hosts, status, body);
    }
  }
  // Each failure is a batch of its own, or one of two.
  void ReportTo(const std::string& endpoint, int32_t count = 1) {
    config_->statistic_settings.Set(
        zo_sturdy::StatisticSettings{true, endpoint, count, 60000, 10000});
  }
  // Of a request whose first URL fails and is recorded.
  static MultipleURLHttpRequest Recorded(const std::vector<std::string>& urls, Outcome& outcome) {
    MultipleURLHttpRequest request = Asking(urls, outcome);
    request.check = [](int32_t, int32_t code, const auto&, const auto&, bool& need_statistic) {
      need_statistic = true;
      return code == 200;
    };
    return request;
  }
  void FailThenSucceed(const std::string& failing, bool with_loop = true) {
    Outcome outcome;
    const MultipleURLHttpRequest request = Recorded({failing, "http://10.0.0.1/good"}, outcome);
    if (with_loop) {
      StartRequest(request);
    } else {
      agent_->InvokeMultipleURLHttpRequest(request);
    }
    transport_->Answer(failing, 404);
    transport_->Answer("http://10.0.0.1/good", 200);
    Settle();
    EXPECT_TRUE(outcome.success);
  }
  // The threads that the statistics have told something on.
  std::set<uint32_t> ReportThreads() {
    std::set<uint32_t> threads;
    for (const LogMessage& message : log_.All()) {
      if (message.text.rfind("[statistic]", 0) == 0) {
        threads.insert(message.thread_id);
      }
    }
    return threads;
  }
  // What the requests' own thread has told of requests, but for detail.
  Messages Told() {
    uint32_t thread = 0;
    OnThread([&] { thread = zo_base::CurrentThreadId(); });
    Messages told;
    for (const LogMessage& message : log_.All()) {
      if (message.thread_id == thread && message.level == "LV_APP" &&
          message.text.rfind("[multiple]", 0) == 0) {
        told.push_back(message.text);
      }
    }
    return told;
  }
  // The lines of a pass of which every URL fails at once.
  static Messages FailingPass(const std::vector<zo_sturdy::URLItem>& urls, bool use_http_dns) {
    const std::string dns = use_http_dns ? "true" : "false";
    Messages lines = {
        "[multiple]Invoke send multiple_time_out:1500 time_out:6000 use http dns:" + dns,
        ListText(urls)};
    for (size_t i = 0; i < urls.size(); ++i) {
      const std::string n = std::to_string(i);
      const bool last = i + 1 == urls.size();
      for (const std::string& line :
           {"Send sub url request:" + urls[i].url, "Start timer index:" + n,
            "[rsp]Index:" + n + " code :500",
            std::string("[rsp]All url requested :") + (last ? "true" : "false"),
            "[rsp]Business check response false,index :" + n, "[rsp]Stop timer index :" + n,
            "[rsp]Remove timer index :" + n}) {
        lines.push_back("[multiple]" + line);
      }
      if (!last) {
        lines.push_back("[multiple][rsp]Has waitting request false");
        lines.push_back("[multiple][rsp]Switch to index :" + std::to_string(i + 1) +
                        " triggered by :" + n);
      }
    }
    lines.insert(lines.end(), {"[multiple][rsp]All sub url has been requested",
                               "[multiple]Request return false, use http dns if fail:" + dns});
    return lines;
  }
};

TEST_F(SecondPassTest, EachUrlGoesToEachAddressOfItsHost) {
  const std::vector<std::string> first = {"http://b.test/x", "https://a.test:8/b?h=a.test",
                                          "http://127.0.0.1:9/"};
  const std::vector<zo_sturdy::URLItem> second = {{"https://10.0.0.2:8/b?h=a.test", "a.test"},
                                                  {"https://10.0.0.1:8/b?h=a.test", "a.test"},
                                                  {"https://[::1]:8/b?h=a.test", "a.test"},
                                                  {"http://10.0.0.3/x", "b.test"}};
  Outcome outcome;
  MultipleURLHttpRequest request = Asking(first, outcome);
  request.time_out = 6000;
  request.multiple_time_out = 1500;
  StartRequest(request);
  for (const std::string& url : first) {
    transport_->Answer(url, 500, "first");
  }
  AnswerQuery("b.test,a.test", 200,
              R"({"code":200,"data":{"a.test":{"ip":["10.0.0.2","10.0.0.1"],"ipv6":["::1"]},)"
              R"("b.test":{"ip":["10.0.0.3"]}}})");
  for (const auto& [url, host] : second) {
    EXPECT_EQ(outcome.calls, 0);
    EXPECT_EQ(transport_->WaitFor(url).first->headers, (HttpHeaderList{{"Host", host}}));
    transport_->Answer(url, 500, "second " + url);
  }
  Settle();
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_EQ(std::tie(outcome.success, outcome.body),
            std::make_tuple(false, "second http://10.0.0.3/x"));
  EXPECT_EQ(transport_->sent, 8);
  Messages expected = FailingPass(request.urls, true);
  for (const char* line : {"Use http dns,host:", " -- b.test", " -- a.test",
                           "User http dns, host:a.testip list:", "User http dns, ------10.0.0.2",
                           "User http dns, ------10.0.0.1", "User http dns, ------[::1]",
                           "User http dns, host:b.testip list:", "User http dns, ------10.0.0.3"}) {
    expected.push_back(std::string("[multiple]") + line);
  }
  const std::string release = "[multiple]Request return,release request object";
  Messages last = FailingPass(second, false);
  // The first request is released once the second is on its way.
  last.insert(last.begin() + 4, release);
  last.insert(last.end(), {last.back(), release});
  expected.insert(expected.end(), last.begin(), last.end());
  EXPECT_EQ(Told(), expected);
  Outcome won;
  StartRequest(Asking({"http://a.test/"}, won));
  transport_->Answer("http://a.test/", 500);
  transport_->Answer("http://10.0.0.2/", 500);
  transport_->Answer("http://10.0.0.1/", 200, "good");
  Settle();
  EXPECT_EQ(std::make_tuple(won.calls.load(), won.success, won.body),
            std::make_tuple(1, true, "good"));
  EXPECT_EQ(Live(), 0U);
}

TEST_F(SecondPassTest, ThereIsNoneWithoutAnAddress) {
  struct Case {
    std::vector<std::string> urls;
    const char* query;
    int status;
    const char* last_line;
  };
  const std::vector<Case> cases = {{{"http://127.0.0.1/", "https://[::1]:8/", "http://0x7f.1/"},
                                    nullptr,
                                    0,
                                    "[multiple]Use http dns,host list empty"},
                                   {{"http://a.test/", "http://b.test/"},
                                    "a.test,b.test",
                                    500,
                                    "[multiple]User http dns,query host fail"},
                                   {{"http://a.test/", "https://a.test/"},
                                    "a.test",
                                    200,
                                    "[multiple]User http dns,query host fail"}};
  for (const Case& c : cases) {
    Outcome outcome;
    StartRequest(Asking(c.urls, outcome));
    for (const std::string& url : c.urls) {
      transport_->Answer(url, 500, url);
    }
    if (c.query != nullptr) {
      AnswerQuery(c.query, c.status, R"({"code":200,"data":{"b.test":{"ip":["10.0.0.1"]}}})");
    }
    Settle();
    EXPECT_EQ(std::make_tuple(outcome.calls.load(), outcome.success, outcome.body),
              std::make_tuple(1, false, c.urls.back()));
    const Messages told = Told();
    ASSERT_GE(told.size(), 2U);
    EXPECT_EQ(told[told.size() - 2], c.last_line);
  }
  // Hosts that were not asked for, or have come without addresses, give no URL.
  MultipleURLHttpRequest failed;
  failed.urls = {{"http://a.test/", ""}};
  const auto named = zo_sturdy::GatherNamedHosts(failed.urls);
  EXPECT_TRUE(
      zo_sturdy::MakeSecondPass(failed, named, {{"a.test", {}}, {"x", {"10.0.0.1"}}}).urls.empty());
}

TEST_F(SecondPassTest, IsBoundedWhateverAnAnswerLists) {
  const std::vector<zo_sturdy::URLItem> urls = {
      {"http://a.test/1", ""}, {"http://a.test/2", ""}, {"http://a.test/3", ""}, {"http://b/", ""}};
  MultipleURLHttpRequest failed;
  failed.urls = urls;
  const std::list<std::string> many(100000, "10.0.0.1");
  const auto second = zo_sturdy::MakeSecondPass(failed, zo_sturdy::GatherNamedHosts(urls),
                                                {{"a.test", many}, {"b", many}});
  EXPECT_EQ(second.urls.size(), 64U);
  EXPECT_EQ(log_.With("[multiple]User http dns, ").size(), 1U + 22U) << "a host, and 22 addresses";
}

TEST_F(SecondPassTest, ReportsTakeTheSameRoad) {
  ReportTo("https://s.test:8");
  config_->address_family = net::kIPFamilyV4;
  const auto urls_of = [](const HandTransport::Request& request) {
    std::string error;
    const Json body = Json::parse(std::string(request->body.begin(), request->body.end()), error);
    std::vector<std::string> urls;
    for (const Json& record : body.array_items()) {
      urls.push_back(record["request_url"].string_value());
    }
    return urls;
  };
  const std::string by_name = std::string("https://s.test:8") + kReport;
  const std::string by_address = std::string("https://10.0.0.9:8") + kReport;
  FailThenSucceed("http://10.0.0.1/a");
  EXPECT_EQ(log_.With("Request fail need statics size 1").size(), 1U);
  const auto report = transport_->WaitFor(by_name).first;
  EXPECT_EQ(report->method, 1);
  EXPECT_EQ(report->headers,
            (HttpHeaderList{
                {"Content-Type", " application/json"}, {"sdktype", "im"}, {"Host", "s.test"}}));
  std::string error;
  const Json record = Json::parse(std::string(report->body.begin(), report->body.end()), error)[0];
  EXPECT_EQ(record["host_ip"], Json(Json::array{"10.0.0.1"}));
  EXPECT_EQ(record["error_code"], Json(404));
  // The report fails over like any request, and goes back when it has failed for good; with a count
  // of one it is the next batch.
  transport_->Answer(by_name, 204);
  AnswerQuery("s.test", 200,
              R"({"code":200,"data":{"s.test":{"ip":["10.0.0.9"],"ipv6":["::9"]}}})");
  const auto again = transport_->WaitFor(by_address).first;
  EXPECT_EQ(std::tie(again->method, again->headers, again->body, again->time_out),
            std::tie(report->method, report->headers, report->body, report->time_out));
  ReportTo("https://s.test:8", 2);
  transport_->Answer(by_address, 0);
  Settle();
  EXPECT_TRUE(log_.With("[::9]:8").empty()) << "not of the request's family";
  FailThenSucceed("http://10.0.0.1/b");
  EXPECT_THAT(urls_of(transport_->WaitFor(by_name).first),
              ElementsAre("http://10.0.0.1/a", "http://10.0.0.1/b"));
  transport_->Answer(by_name, 200);
  Settle();
  EXPECT_EQ(log_.With("[statistic]Statistic ret:true").size(), 1U);
  // The last report lies ahead of a clock that was set back: no delay.
  clock_.SetWall(1000);
  ReportTo("https://s.test:8");
  FailThenSucceed("http://10.0.0.1/c");
  EXPECT_THAT(urls_of(transport_->WaitFor(by_name).first), ElementsAre("http://10.0.0.1/c"));
}

// The report begins on the thread "statistic", so its host query holds up nobody.
TEST_F(SecondPassTest, FailuresOfAThreadWithoutALoopAreHandedOver) {
  ReportTo("http://s.test");
  FailThenSucceed("http://10.0.0.1/a", false);
  transport_->Answer(std::string("http://s.test") + kReport, 500);
  transport_->WaitFor("https://localhost/httpdns/v2/d?domain=s.test");
  FailThenSucceed("http://10.0.0.1/b", false);
  AnswerQuery("s.test", 200, R"({"code":200,"data":{"s.test":{"ip":["10.0.0.9"]}}})");
  transport_->Answer(std::string("http://10.0.0.9") + kReport, 200);
  EXPECT_TRUE(log_.WaitFor("[statistic]Statistic ret:true"));
  EXPECT_EQ(ReportThreads().size(), 1U);
  EXPECT_FALSE(ReportThreads().contains(zo_base::CurrentThreadId()));
}

TEST_F(SecondPassTest, ReportsAsAServerGetsThem) {
  KRBASE::network::HttpClient::Instance()->Stop();
  KRBASE::network::HttpClient::Instance()->Start();
  const lab::Lab lab({lab::HttpServer("s")
                          .On("/bad", lab::Answer(404))
                          .On("/good", lab::Answer(200))
                          .On(kReport, {lab::Answer(204), lab::Answer(200)})});
  ReportTo(lab.Url("s"));
  Outcome outcome;
  StartRequest(Recorded({lab.Url("s", "/bad"), lab.Url("s", "/good")}, outcome));
  ASSERT_TRUE(log_.WaitFor("[statistic]Statistic ret:true"));
  EXPECT_EQ(lab.Requests().size(), 4U);
  const Json::array expected = {
      Json::object{{"appkey", ""},
                   {"error_code", 404},
                   {"host_ip", Json::array{"127.0.0.1"}},
                   {"platform", "pc"},
                   {"request_url", lab.Url("s", "/bad")},
                   {"send_time", 0},
                   {"timestamp", static_cast<long long>(zo_base::Clock::WallMs())}}};
  for (const lab::Request& report : lab.RequestsFor(kReport)) {
    EXPECT_EQ(report.method, "POST");
    EXPECT_EQ(report.body, Json(expected).dump());
    EXPECT_THAT(report.HeaderLines(),
                testing::IsSupersetOf(
                    {"Host: 127.0.0.1", "Content-Type:  application/json", "sdktype: im"}));
  }
  uint32_t sender = 0;
  OnThread([&] { sender = zo_base::CurrentThreadId(); });
  EXPECT_THAT(ReportThreads(), ElementsAre(sender));
}

}  // namespace
