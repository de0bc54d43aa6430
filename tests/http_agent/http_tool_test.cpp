#include "src/sturdy/http_agent/http_tools/http_tool.h"

#include <sstream>

#include "tests/http_agent/agent_fixture.h"

namespace {

using zo_sturdy::HttpToolRequest;

TEST_F(AgentTest, ToolPresentsTheHost) {
  // Header fields, then the IP, port, host and SNI: as they are at the making, or as the tool sets.
  const struct {
    const char *url, *host;
    std::vector<std::string> heads;
    const char* sent;
  } cases[] = {
      {"http://a.test:81/p", "", {}, "Host:a.test| 443  0"},
      {"https://a.test/",
       "b.test",
       {"N:a:b", "none", ":", "N:", "N: x "},
       "N:b|N: x |Host:b.test| 443  0"},
      {"http://a.test/", "b.test", {"hOsT:c"}, "hOsT:c| 443  0"},
      {"http://127.0.0.1/", "", {}, "Host:127.0.0.1|127.0.0.1 80 127.0.0.1 0"},
      {"http://[::1]:8080/", "b.test", {}, "Host:b.test|[::1] 8080 b.test 0"},
      {"https://127.0.0.1/", "b.test", {}, "Host:b.test|127.0.0.1 443 b.test 1"},
      {"", "", {}, "Host:| 443  0"},
  };
  for (const auto& c : cases) {
    HttpToolRequest request;
    request.url = c.url;
    request.host = c.host;
    request.heads = c.heads;
    request.body = "not sent";
    request.callback = [](const auto&...) { return true; };
    zo_sturdy::HttpTool::PostRequest(request);
    const auto sent = transport_->WaitFor(c.url).first;
    std::ostringstream text;
    for (const auto& [name, value] : sent->headers) {
      text << name << ":" << value << "|";
    }
    text << sent->ip << " " << sent->port << " " << sent->host << " " << sent->sni;
    EXPECT_EQ(text.str(), c.sent) << c.url;
    EXPECT_EQ(std::make_tuple(sent->method, sent->body.size()), std::make_tuple(0, 0U));
    transport_->Answer(c.url, 0);
  }
}

TEST_F(AgentTest, ToolTellsWhatItSendsAndBringsTheAnswerHome) {
  HttpToolRequest request;
  request.url = "https://[::1]/";
  request.host = "b.test";
  request.type = -3;
  request.time_out = 77;
  request.heads = {"N: v"};
  request.body = std::string("a\0b", 3);
  std::vector<std::string> answers;
  request.callback = [&](int32_t code, const std::string& headers, const std::string& body) {
    answers = {std::to_string(code), headers, body, zo_base::CurrentThreadInfo()->name};
    return false;
  };
  RunOn(*thread_, [&] { zo_sturdy::HttpTool::PostRequest(request); });
  const auto sent = transport_->WaitFor(request.url).first;
  EXPECT_EQ(std::make_tuple(sent->method, sent->time_out), std::make_tuple(1, 77));
  EXPECT_EQ(std::string(sent->body.begin(), sent->body.end()), request.body);
  EXPECT_EQ(log_.Tagged({"[http tool]"}),
            Messages{"[http tool]Post request to http lib info:\r\n"
                     "url:https://[::1]/\r\ntype:POST\r\ntime_out:77\r\nhost_from sty:b.test\r\n"
                     "host_is_ip:true\r\nis_https_url:true\r\n"
                     "host_is_ip is true && host not empty set request host and port \r\n{\r\n"
                     "    call req->setIP:[::1]\r\n    call req->setPort:443\r\n"
                     "    call req->setHost:b.test\r\n}\r\n\r\n"
                     "call req->setSNI:true\r\nHeads:\r\n    N: v\r\n    Host:b.test\r\n"});
  transport_->Answer(request.url, -7, std::string("cut\0off", 7), {{"A", "1"}, {"B", ""}});
  Settle();
  EXPECT_EQ(answers, (std::vector<std::string>{"-7", "A:1\r\nB:", "cut", "requests"}));
}

}  // namespace
