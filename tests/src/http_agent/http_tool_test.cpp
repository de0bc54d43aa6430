#include "src/sturdy/http_agent/http_tools/http_tool.h"

#include <sstream>

#include "tests/src/http_agent/agent_fixture.h"

namespace {

TEST_F(AgentTest, ToolPresentsTheHostAndBringsTheAnswerHome) {
  // `sent` has the method and body, the header fields, then IP, port, host and SNI, which keep
  // their defaults unless the tool sets them.
  const struct {
    const char *url, *host;
    std::vector<std::string> heads;
    int type;
    const char* sent;
  } cases[] = {
      {"http://a.test:81/p", "", {}, 0, "0|Host:a.test| 443  0"},
      {"https://a.test/",
       "b.test",
       {"N:a:b", "none", ":", "N:", "N: x "},
       0,
       "0|N:b|N: x |Host:b.test| 443  0"},
      {"http://a.test/", "b.test", {"hOsT:c"}, 0, "0|hOsT:c| 443  0"},
      {"http://127.0.0.1/", "", {}, 0, "0|Host:127.0.0.1|127.0.0.1 80 127.0.0.1 0"},
      {"http://[::1]:8080/", "b.test", {}, 0, "0|Host:b.test|[::1] 8080 b.test 0"},
      {"", "", {}, 0, "0|Host:| 443  0"},
      {"https://[::1]/", "b.test", {"N: v"}, -3, "1a-b|N: v|Host:b.test|[::1] 443 b.test 1"},
  };
  for (const auto& c : cases) {
    zo_sturdy::HttpToolRequest request;
    request.url = c.url;
    request.host = c.host;
    request.heads = c.heads;
    request.type = c.type;
    request.time_out = 77;
    request.body = std::string("a\0b", 3);
    std::vector<std::string> answer;
    request.callback = [&](int32_t code, const std::string& headers, const std::string& body) {
      answer = {std::to_string(code), headers, body, zo_base::CurrentThreadInfo()->name};
      return false;
    };
    RunOn(*thread_, [&] { zo_sturdy::HttpTool::PostRequest(request); });
    const auto sent = transport_->WaitFor(c.url).first;
    std::ostringstream text;
    text << sent->method;
    for (const char byte : sent->body) {
      text << (byte == '\0' ? '-' : byte);
    }
    for (const auto& [name, value] : sent->headers) {
      text << "|" << name << ":" << value;
    }
    text << "|" << sent->ip << " " << sent->port << " " << sent->host << " " << sent->sni;
    EXPECT_EQ(text.str(), c.sent) << c.url;
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
