#include "lab/scenario.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace lab {
namespace {

std::string WhyNot(const std::string& text) {
  try {
    Scenario::Parse(text);
  } catch (const ScenarioError& error) {
    return error.what();
  }
  return "";
}

std::string WithServer(const std::string& keys) {
  return R"({"servers":[{"name":"a"},{"name":"b",)" + keys + "}]}";
}

std::string WithBehaviour(const std::string& keys) {
  return WithServer(R"("routes":[{"path":"/x","behaviours":[{},{)" + keys + "}]}]");
}

TEST(ScenarioTest, ABadOneNamesTheKeyInOneSentence) {
  const std::string server = "servers[1]";
  const std::string behaviour = server + ".routes[0].behaviours[1]";
  const struct {
    std::string text;
    std::string why;
  } cases[] = {
      {"{\n  \"servers\": nul\n}", "scenario: is no JSON, from line 2, column 17 on."},
      {"", "scenario: is no JSON, from line 1, column 1 on."},
      {"[]", "scenario: must be an object."},
      {"{}", "servers: is missing."},
      {R"({"servers":[]})", "servers: must have at least one entry."},
      {R"({"servers":{}})", "servers: must be a list."},
      {R"({"servers":[],"more":1})", "more: is no key of a scenario."},
      {R"({"servers":[7]})", "servers[0]: must be an object."},
      {R"({"servers":[{}]})", "servers[0].name: is missing."},
      {R"({"servers":[{"name":7}]})", "servers[0].name: must be a text."},
      {R"({"servers":[{"name":"u:v"}]})",
       "servers[0].name: must be a text without \":\" and \"}\"."},
      {R"({"servers":[{"name":"a"},{"name":"a"}]})", "servers[1].name: \"a\" is taken already."},
      {WithServer(R"("port":1,"port":2)"), "port: stands twice in one object."},
      {WithServer(R"("ports":1)"), server + ".ports: is no key of a server."},
      {WithServer(R"("scheme":"ftp")"),
       server + R"(.scheme: must be one of "http", "https", not "ftp".)"},
      {WithServer(R"("address":"192.0.2.1")"),
       server + ".address: must be in 127.0.0.0/8 or ::1, not \"192.0.2.1\", since the lab's "
                "traffic stays on loopback."},
      {WithServer(R"("address":"localhost")"),
       server + ".address: must be in 127.0.0.0/8 or ::1, not \"localhost\", since the lab's "
                "traffic stays on loopback."},
      {WithServer(R"("port":65536)"),
       server + ".port: must be a number from 0 to 65535, not 65536."},
      {WithServer(R"("port":18446744073709551615)"),
       server + ".port: must be a whole number below 2^31."},
      {WithServer(R"("port":1.5)"), server + ".port: must be a whole number below 2^31."},
      {WithServer(R"("port_of":"a","port":1)"),
       server + ".port_of: must not stand beside \"port\"."},
      {WithServer(R"("port_of":"b")"),
       server + ".port_of: must name an earlier server with a port of its own, unlike \"b\"."},
      {WithServer(R"("port_of":"")"), server + ".port_of: must not be empty."},
      {WithServer(R"("port_of":"a")"),
       server + ".address: \"127.0.0.1\" is taken already at the port of \"a\"."},
      {WithServer(R"("certificate":"expired")"),
       server + ".certificate: needs the scheme \"https\"."},
      {WithServer(R"("listening":"no_handshake")"),
       server + ".listening: \"no_handshake\" needs the scheme \"https\"."},
      {WithServer(R"("routes":[{"path":"x","behaviours":[{}]}])"),
       server + R"(.routes[0].path: must begin with "/" and have no query, unlike "x".)"},
      {WithServer(R"("routes":[{"path":"/x","behaviours":[]}])"),
       server + ".routes[0].behaviours: must have at least one entry."},
      {WithServer(R"("routes":[{"path":"/x","behaviours":[{}]},{"path":"/x","behaviours":[{}]}])"),
       server + ".routes[1].path: \"/x\" stands there already."},
      {WithBehaviour(R"("do":"dance")"),
       behaviour + R"(.do: must be one of "answer", "silent", "close", "reset", "garbage", )"
                   R"("endless", "redirect", "redirect_loop", not "dance".)"},
      {WithBehaviour(R"("status":99)"),
       behaviour + ".status: must be a number from 100 to 999, not 99."},
      {WithBehaviour(R"("status":"200")"),
       behaviour + ".status: must be a whole number below 2^31."},
      {WithBehaviour(R"("delay_ms":-1)"),
       behaviour + ".delay_ms: must be a number from 0 to 2147483647, not -1."},
      {WithBehaviour(R"("pieces":0)"),
       behaviour + ".pieces: must be a number from 1 to 100000, not 0."},
      {WithBehaviour(R"("keep_alive":1)"), behaviour + ".keep_alive: must be true or false."},
      {WithBehaviour(R"("body":"","json":{})"),
       behaviour + ".json: must not stand beside \"body\"."},
      {WithBehaviour(R"("status":204,"body":"x")"),
       behaviour + ".body: must be empty with the status 204."},
      {WithBehaviour(R"("missing_bytes":1,"framing":"close")"),
       behaviour + ".missing_bytes: needs an announced length, so no framing \"close\"."},
      {WithBehaviour(R"("headers":{"A B":"x"})"),
       behaviour + ".headers: \"A B\" is no name of a header field."},
      {WithBehaviour(R"("headers":{"A":["x","y\r\nz"]})"),
       behaviour + ".headers.A: must be one line."},
      {WithBehaviour(R"("headers":{"A":{}})"), behaviour + ".headers.A: must be a text."},
      {WithBehaviour(R"("body":"${c}")"),
       behaviour + ".body: names the server \"c\", which isn't there."},
      {WithBehaviour(R"("json":["${url:a"])"),
       behaviour + ".json: has a \"${\" without its \"}\"."},
      {WithBehaviour(R"("body":"${path:a}")"),
       behaviour + R"(.body: has the placeholder "${path:...}", which must be one of "url:", )"
                   R"("ip:", "port:", "endpoint:".)"},
      {WithBehaviour(R"("service_table":{},"hosts":{})"),
       behaviour + ".hosts: must not stand beside \"service_table\"."},
      {WithBehaviour(R"("service_table":{"domain":"x"})"),
       behaviour + ".service_table.domain: is no key of a service table."},
      {WithBehaviour(R"("service_table":{"ipv4":["c"]})"),
       behaviour + ".service_table: names the server \"c\", which isn't there."},
      {WithBehaviour(R"("service_table":{"ipv6":[{"port":1}]})"),
       behaviour + ".service_table.ipv6[0].host: is missing."},
      {WithBehaviour(R"("hosts":{"h":{"ipv4":[]}})"),
       behaviour + ".hosts.h.ipv4: is no key of a host."},
      {WithBehaviour(R"("hosts":{"h":{"ip":["","${ip:c}"]}})"),
       behaviour + ".hosts.h.ip[1]: names the server \"c\", which isn't there."},
      {WithBehaviour(R"("hosts":{"h":{"ttl":"1"}})"),
       behaviour + ".hosts.h.ttl: must be a whole number below 2^31."},
      {WithBehaviour(R"("hosts":{},"status":204)"),
       behaviour + ".hosts: must be empty with the status 204."},
      {WithBehaviour(R"("code":200)"), behaviour + ".code: needs \"hosts\"."},
      {WithBehaviour(R"("location":"/y")"),
       behaviour + ".location: is no key of the behaviour \"answer\"."},
      {WithBehaviour(R"("do":"silent","status":200)"),
       behaviour + ".status: is no key of the behaviour \"silent\"."},
      {WithBehaviour(R"("do":"redirect")"), behaviour + ".location: is missing."},
      {WithBehaviour(R"("do":"redirect_loop","status":200)"),
       behaviour + ".status: must be a number from 300 to 399 for a redirect."},
      {WithBehaviour(R"("do":"endless","framing":"length")"),
       behaviour + ".framing: must be \"chunked\" or \"close\" for a body without end."},
  };
  for (const auto& bad : cases) {
    EXPECT_EQ(WhyNot(bad.text), bad.why) << bad.text;
  }
  EXPECT_THROW(Scenario::ParseFile("/nowhere/scenario.json"), ScenarioError);
  EXPECT_THROW(Scenario::ParseFile("/"), ScenarioError);
}

TEST(ScenarioTest, EachKeyReachesItsField) {
  const Scenario scenario = Scenario::Parse(R"({"description":"all","servers":[
    {"name":"a","scheme":"https","address":"::1","port":7,"certificate":"expired",
     "listening":"silent","routes":[{"path":"/x","behaviours":[
       {"status":201,"reason":"R","headers":{"A":["1","2"],"B":"${a}"},"keep_alive":false,
        "head_drip_ms":3,"json":{"z":1,"a":"\u00e4"},"framing":"chunked","pieces":4,"over_ms":5,
        "missing_bytes":6,"hold":"g","delay_ms":9},
       {"do":"endless","body":"p","piece_every_ms":8,"framing":"close"},
       {"do":"redirect","location":"/y","status":307},{"do":"redirect_loop"},
       {"do":"garbage","body":"a\u0000b"},{"do":"silent"},{"do":"close"},{"do":"reset"},
       {"service_table":{"host":"d","ipv4":["a",{"host":"h"}],"ttl":-1,
                         "ipv6":[{"host":"[::1]","port":2,"https":false}]}},
       {"code":7,"hosts":{"h":{"ip":["1"],"ipv6":["2"],"ttl":3},"none":{}}}]}]},
    {"name":"b","address":"127.0.0.2","port_of":"a"}]})");
  const Server& server = scenario.servers.at(0);
  EXPECT_TRUE(server.https && server.address == "::1" && server.port == 7);
  EXPECT_EQ(server.certificate, Certificate::kExpired);
  EXPECT_EQ(server.listening, Listening::kSilent);
  const std::vector<Behaviour>& b = server.routes.at(0).behaviours;
  using Fields = std::vector<HeaderField>;
  EXPECT_EQ(b.at(0).headers, (Fields{{"A", "1"}, {"A", "2"}, {"B", "${a}"}}));
  EXPECT_EQ(b[0].body, "{\"z\":1,\"a\":\"\xc3\xa4\"}");
  EXPECT_TRUE(b[0].status == 201 && b[0].reason == "R" && !b[0].keep_alive && b[0].hold == "g");
  EXPECT_TRUE(b[0].head_drip_ms == 3 && b[0].body_pieces == 4 && b[0].body_over_ms == 5);
  EXPECT_TRUE(b[0].missing_bytes == 6 && b[0].delay_ms == 9);
  EXPECT_EQ(b[0].framing, Framing::kChunked);
  EXPECT_TRUE(b[1].body == "p" && b[1].piece_every_ms == 8);
  EXPECT_EQ(b[1].framing, Framing::kUntilClose);
  EXPECT_TRUE(b[2].location == "/y" && b[2].status == 307 && b[3].status == 302);
  EXPECT_EQ(b[4].body, std::string("a\0b", 3));
  EXPECT_EQ(b[8].body, R"({"host":"d","ipv4":[${endpoint:a},{"host":"h","port":443,"https":true}],)"
                       R"("ipv6":[{"host":"[::1]","port":2,"https":false}],"ttl":-1})");
  EXPECT_EQ(b[9].hosts.value().AnswerTo("domain=none,h"),
            R"({"code":7,"data":{"none":{},"h":{"ip":["1"],"ipv6":["2"],"ttl":3}}})");
  EXPECT_EQ(scenario.servers.at(1).port_of, "a");
  using Kind = Behaviour::Kind;
  const Kind kinds[] = {Kind::kAnswer,  Kind::kEndless, Kind::kRedirect, Kind::kRedirectLoop,
                        Kind::kGarbage, Kind::kSilent,  Kind::kClose,    Kind::kReset,
                        Kind::kAnswer,  Kind::kAnswer};
  for (size_t i = 0; i < b.size(); ++i) {
    EXPECT_EQ(b[i].kind, kinds[i]) << i;
  }
}

TEST(ScenarioTest, TheExamplesOfThePageAreGood) {
  std::ifstream page(STURDY_DOCS "/lab-scenario.md");
  const std::string text((std::istreambuf_iterator<char>(page)), std::istreambuf_iterator<char>());
  size_t count = 0;
  for (size_t at = 0; (at = text.find("```json\n", at)) != std::string::npos; ++count) {
    at += 8;
    EXPECT_EQ(WhyNot(text.substr(at, text.find("\n```", at) - at)), "");
  }
  EXPECT_EQ(count, 2u);
}

}  // namespace
}  // namespace lab
