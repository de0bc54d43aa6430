#include "src/sturdy/http_agent/http_tools/http_tool.h"

#include "tests/http_agent/agent_fixture.h"

namespace {

using KRBASE::network::HttpHeaderList;
using zo_sturdy::HttpTool;
using zo_sturdy::HttpToolRequest;

struct ToolCase {
  const char* url;
  const char* host;
  std::vector<std::string> heads;
  HttpHeaderList headers;
  // As the request has them at its making, unless the tool sets them.
  const char* ip = "";
  int32_t port = 443;
  const char* name = "";
  bool sni = false;
};

TEST_F(AgentTest, ToolPresentsTheHost) {
  const std::vector<ToolCase> cases = {
      {"http://a.test:81/p", "", {}, {{"Host", "a.test"}}},
      {"http://a.test/",
       "b.test",
       {"N:a:b", "none", ":", "N:", "N: x "},
       {{"N", "b"}, {"N", " x "}, {"Host", "b.test"}}},
      {"http://a.test/", "b.test", {"hOsT:c"}, {{"hOsT", "c"}}},
      {"http://127.0.0.1/", "", {}, {{"Host", "127.0.0.1"}}, "127.0.0.1", 80, "127.0.0.1"},
      {"http://[::1]:8080/", "b.test", {}, {{"Host", "b.test"}}, "[::1]", 8080, "b.test"},
      {"https://127.0.0.1/", "b.test", {}, {{"Host", "b.test"}}, "127.0.0.1", 443, "b.test", true},
      {"https://a.test/", "b.test", {}, {{"Host", "b.test"}}},
      {"", "", {}, {{"Host", ""}}},
  };
  for (const ToolCase& c : cases) {
    SCOPED_TRACE(std::string(c.url) + " " + c.host);
    HttpToolRequest request;
    request.url = c.url;
    request.host = c.host;
    request.heads = c.heads;
    request.time_out = 77;
    request.body = "not sent";
    request.callback = [](int32_t, const std::string&, const std::string&) { return true; };
    HttpTool::PostRequest(request);
    const auto sent = transport_->WaitFor(c.url).first;
    EXPECT_EQ(std::make_tuple(sent->method, sent->time_out, sent->body.size()),
              std::make_tuple(0, 77, 0U));
    EXPECT_EQ(sent->headers, c.headers);
    EXPECT_EQ(std::tie(sent->ip, sent->port, sent->host, sent->sni),
              std::make_tuple(c.ip, c.port, c.name, c.sni));
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
  std::thread::id thread;
  request.callback = [&](int32_t code, const std::string& headers, const std::string& body) {
    answers = {std::to_string(code), headers, body};
    thread = std::this_thread::get_id();
    return false;
  };
  std::thread::id home;
  OnThread([&] {
    home = std::this_thread::get_id();
    HttpTool::PostRequest(request);
  });
  const auto sent = transport_->WaitFor(request.url).first;
  EXPECT_EQ(sent->method, 1);
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
  EXPECT_EQ(answers, (std::vector<std::string>{"-7", "A:1\r\nB:", "cut"}));
  EXPECT_EQ(thread, home);
}

}  // namespace
