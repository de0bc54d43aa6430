#include "src/sturdy/http_agent/http_tools/http_tool.h"

#include "tests/src/http_agent/agent_fixture.h"

namespace {

using KRBASE::network::HttpHeaderList;

TEST_F(AgentTest, ToolPresentsTheHostAndBringsTheAnswerHome) {
  const struct {
    const char *url, *host;
    std::vector<std::string> heads;
    int type;
    HttpHeaderList sent;
  } cases[] = {
      {"http://a.test:81/p", "", {}, 0, {{"Host", "a.test"}}},
      {"https://a.test/",
       "b.test",
       {"N:a:b", "none", ":", "N:", "N: x "},
       0,
       {{"N", "b"}, {"N", " x "}, {"Host", "b.test"}}},
      {"http://a.test/", "b.test", {"hOsT:c"}, 0, {{"hOsT", "c"}}},
      {"http://127.0.0.1/", "", {}, 0, {{"Host", "127.0.0.1"}}},
      {"", "", {}, 0, {{"Host", ""}}},
      {"https://[::1]/", "b.test", {"N: v"}, -3, {{"N", " v"}, {"Host", "b.test"}}},
  };
  for (const auto& c : cases) {
    std::vector<std::string> answer;
    const zo_sturdy::HttpToolRequest request = {
        .heads = c.heads,
        .time_out = 77,
        .type = c.type,
        .url = c.url,
        .host = c.host,
        .callback =
            [&](int32_t code, const std::string& headers, const std::string& body, const auto&) {
              answer = {std::to_string(code), headers, body, zo_base::CurrentThreadInfo()->name};
              return false;
            },
        .body = std::string("a\0b", 3)};
    RunOn(*thread_, [&] { zo_sturdy::HttpTool::PostRequest(request); });
    const auto sent = transport_->WaitFor(c.url).first;
    EXPECT_EQ(sent->headers, c.sent) << c.url;
    EXPECT_EQ(std::string(sent->body.begin(), sent->body.end()), c.type == 0 ? "" : request.body);
    EXPECT_EQ(sent->time_out, 77);
    transport_->Answer(c.url, -7, std::string("cut\0off", 7), {{"A", "1"}, {"B", ""}});
    Settle();
    EXPECT_EQ(answer, (std::vector<std::string>{"-7", "A:1\r\nB:", "cut", "requests"}));
  }
  EXPECT_EQ(log.Tagged({"[http tool]"}).back(),
            "[http tool]Post request to http lib info:\r\n"
            "url:https://[::1]/\r\ntype:POST\r\ntime_out:77\r\nhost_from sty:b.test\r\n"
            "host_is_ip:true\r\nis_https_url:true\r\n"
            "host_is_ip is true && host not empty set request host and port \r\n{\r\n"
            "    call req->setIP:[::1]\r\n    call req->setPort:443\r\n"
            "    call req->setHost:b.test\r\n}\r\n\r\n"
            "call req->setSNI:true\r\nHeads:\r\n    N: v\r\n    Host:b.test\r\n");
}

}  // namespace
