#include "lab/scenario.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

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
  const std::string b = "servers[1].routes[0].behaviours[1]";
  // A text, and the words of its sentence that tell which key is bad and why.
  const std::pair<std::string, std::string> cases[] = {
      {"{\n  \"servers\": nul\n}", "scenario: is no JSON, from line 2, column 17 on."},
      {"[]", "scenario: must be an object."},
      {R"({"servers":1e999})", "scenario: holds a number that is too large."},
      {R"({"a\nb":1})", "a?b: is no key of a scenario."},
      {"{}", "servers: is missing."},
      {R"({"servers":[]})", "servers: must have at least one entry."},
      {R"({"servers":[{"name":7}]})", "servers[0].name: must be a text."},
      {R"({"servers":[{"name":"u:v"}]})", "must be a text without \":\" and \"}\"."},
      {R"({"servers":[{"name":"a"},{"name":"a"}]})", "\"a\" is taken already."},
      {WithServer(R"("port":1,"port":2)"), "port: stands twice in one object."},
      {std::string(200000, '['), "scenario: is nested too deeply."},
      {WithServer(R"("address":"192.0.2.1")"), "servers[1].address: must be in 127.0.0.0/8 or ::1"},
      {WithServer(R"("address":"localhost")"), "servers[1].address: must be in 127.0.0.0/8 or ::1"},
      {WithServer(R"("port":65536)"), "port: must be a number from 0 to 65535, not 65536."},
      {WithServer(R"("port":18446744073709551615)"), "port: must be a whole number below 2^31."},
      {WithServer(R"("port":1.5)"), "port: must be a whole number below 2^31."},
      {WithServer(R"("port_of":"a","port":1)"), "port_of: must not stand beside \"port\"."},
      {WithServer(R"("port_of":"b")"), "must name an earlier server with a port of its own"},
      {WithServer(R"("port_of":"a")"), "\"127.0.0.1\" is taken already at the port of \"a\"."},
      {WithServer(R"("certificate":"expired")"), "certificate: needs the scheme \"https\"."},
      {WithServer(R"("listening":"no_handshake")"), "\"no_handshake\" needs the scheme"},
      {WithServer(R"("routes":[{"path":"x","behaviours":[{}]}])"), "must begin with \"/\""},
      {WithServer(R"("routes":[{"path":"/x","behaviours":[]}])"), "must have at least one entry."},
      {WithServer(R"("routes":[{"path":"/x","behaviours":[{}]},{"path":"/x","behaviours":[{}]}])"),
       "servers[1].routes[1].path: \"/x\" stands there already."},
      {WithBehaviour(R"("do":"dance")"), b + ".do: must be one of \"answer\", \"silent\", "},
      {WithBehaviour(R"("status":99)"), b + ".status: must be a number from 100 to 999, not 99."},
      {WithBehaviour(R"("delay_ms":-1)"), "must be a number from 0 to 2147483647, not -1."},
      {WithBehaviour(R"("pieces":0)"), "pieces: must be a number from 1 to 100000, not 0."},
      {WithBehaviour(R"("keep_alive":1)"), "keep_alive: must be true or false."},
      {WithBehaviour(R"("body":"","json":{})"), "json: must not stand beside \"body\"."},
      {WithBehaviour(R"("status":204,"body":"x")"), "body: must be empty with the status 204."},
      {WithBehaviour(R"("missing_bytes":1,"framing":"close")"), "needs an announced length"},
      {WithBehaviour(R"("headers":{"A B":"x"})"), "\"A B\" is no name of a header field."},
      {WithBehaviour(R"("headers":{"A":["x","y\r\nz"]})"), "headers.A: must be one line."},
      {WithBehaviour(R"("body":"${c}")"), "body: names the server \"c\", which isn't there."},
      {WithBehaviour(R"("json":["${url:a"])"), "json: has a \"${\" without its \"}\"."},
      {WithBehaviour(R"("body":"${path:a}")"), "has the placeholder \"${path:...}\", which must"},
      {WithBehaviour(R"("service_table":{},"hosts":{})"), "beside \"service_table\"."},
      {WithBehaviour(R"("service_table":{"ipv4":["c"]})"), "service_table: names the server \"c\""},
      {WithBehaviour(R"("service_table":{"ipv6":[{"port":1}]})"), "ipv6[0].host: is missing."},
      {WithBehaviour(R"("hosts":{"h":{"ipv4":[]}})"), "hosts.h.ipv4: is no key of a host."},
      {WithBehaviour(R"("hosts":{"h":{"ip":["","${ip:c}"]}})"), "ip[1]: names the server \"c\""},
      {WithBehaviour(R"("code":200)"), "code: needs \"hosts\"."},
      {WithBehaviour(R"("do":"silent","status":200)"), "is no key of the behaviour \"silent\"."},
      {WithBehaviour(R"("do":"redirect_loop","status":200)"), "a number from 300 to 399"},
      {WithBehaviour(R"("do":"endless","framing":"length")"), "must be \"chunked\" or \"close\""},
  };
  for (const auto& [text, why] : cases) {
    EXPECT_THAT(WhyNot(text), testing::HasSubstr(why)) << text;
  }
  EXPECT_THROW(Scenario::ParseFile("/nowhere/scenario.json"), ScenarioError);
  EXPECT_THROW(Scenario::ParseFile("/"), ScenarioError);
}

// All but the book of hosts, which is asked instead.
auto Fields(const Behaviour& b) {
  return std::tie(b.kind, b.status, b.reason, b.headers, b.body, b.framing, b.keep_alive,
                  b.delay_ms, b.head_drip_ms, b.body_pieces, b.body_over_ms, b.missing_bytes,
                  b.piece_every_ms, b.location, b.hold);
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
  const Server& a = scenario.servers.at(0);
  EXPECT_EQ(std::tie(a.https, a.address, a.port, a.certificate, a.listening),
            std::tuple(true, "::1", 7, Certificate::kExpired, Listening::kSilent));
  EXPECT_EQ(scenario.servers.at(1).port_of, "a");
  Behaviour endless = Endless(8, Framing::kUntilClose);
  endless.body = "p";
  const Behaviour expected[] = {
      Answer(201, "{\"z\":1,\"a\":\"\xc3\xa4\"}")
          .Reason("R")
          .Field("A", "1")
          .Field("A", "2")
          .Field("B", "${a}")
          .CloseAfter()
          .HeadDripped(3)
          .Framed(Framing::kChunked)
          .InPieces(4, 5)
          .Truncated(6)
          .HeldAt("g")
          .Delayed(9),
      endless,
      Redirect("/y", 307),
      RedirectLoop(),
      Garbage(std::string("a\0b", 3)),
      Silent(),
      CloseEarly(),
      Reset(),
      Answer(R"({"host":"d","ipv4":[${endpoint:a},{"host":"h","port":443,"https":true}],)"
             R"("ipv6":[{"host":"[::1]","port":2,"https":false}],"ttl":-1})"),
      Answer("")};
  const std::vector<Behaviour>& came = a.routes.at(0).behaviours;
  ASSERT_EQ(came.size(), std::size(expected));
  for (size_t i = 0; i < came.size(); ++i) {
    EXPECT_EQ(Fields(came[i]), Fields(expected[i])) << i;
  }
  const HostBook& book = came.back().hosts.value();
  EXPECT_EQ(book.AnswerTo("domain=none,no,,h"),
            R"({"code":7,"data":{"none":{},"h":{"ip":["1"],"ipv6":["2"],"ttl":3}}})");
  for (const char* nothing : {"", "domain", "domain=", "domain=H", "domain:h"}) {
    EXPECT_EQ(book.AnswerTo(nothing), R"({"code":7,"data":{}})") << nothing;
  }
}

TEST(ScenarioTest, TheExamplesOfThePagesAreGood) {
  size_t count = 0;
  for (const char* name : {"/lab-scenario.md", "/client-guide.md"}) {
    std::ifstream page(STURDY_DOCS + std::string(name));
    const std::string text((std::istreambuf_iterator<char>(page)), {});
    for (size_t at = 0; (at = text.find("```json\n", at)) != std::string::npos; ++count) {
      at += 8;
      EXPECT_EQ(WhyNot(text.substr(at, text.find("\n```", at) - at)), "");
    }
  }
  EXPECT_EQ(count, 4u);
}

}  // namespace
}  // namespace lab
