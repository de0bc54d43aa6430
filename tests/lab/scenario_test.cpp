#include "lab/scenario.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

namespace lab {
namespace {

std::string WithServer(const std::string& keys) {
  return R"({"servers":[{"name":"a"},{"name":"b",)" + keys + "}]}";
}

std::string WithBehaviour(const std::string& keys) {
  return WithServer(R"("routes":[{"path":"/x","behaviours":[{},{)" + keys + "}]}]");
}

// One row for each kind of refusal: a document, and the end of the sentence about it.
TEST(ScenarioTest, BadScenarioIsRefusedByKeyAndReason) {
  const std::pair<std::string, std::string> cases[] = {
      {"{\n  \"servers\": nul\n}", "scenario: is not JSON at line 2, column 17."},
      {std::string(200000, '['), "scenario: is nested too deeply."},
      {R"({"a\nb":1})", "a?b: is not a key of a scenario."},
      {R"({"servers":[{"name":7}]})", "servers[0].name: must be a string."},
      {R"({"servers":[{"name":"a"},{"name":"a"}]})", "\"a\" is already taken."},
      {WithServer(R"("port":1,"port":2)"), "port: appears twice in one object."},
      {WithServer(R"("port":18446744073709551615)"), "port: must be a whole number below 2^31."},
      {WithServer(R"("address":"192.0.2.1")"), "since the lab's traffic stays on loopback."},
      {WithServer(R"("port_of":"a")"), "\"127.0.0.1\" is already taken at the port of \"a\"."},
      {WithServer(R"("queue":1)"), "servers[1].queue: needs \"answers_per_s\"."},
      {WithBehaviour(R"("status":99)"),
       "servers[1].routes[0].behaviours[1].status: must be a number from 100 to 999, not 99."},
      {WithBehaviour(R"("body":"","json":{})"), "json: must not be given with \"body\"."},
      {WithBehaviour(R"("status":204,"body":"x")"), "body: must be empty with the status 204."},
      {WithBehaviour(R"("headers":{"A":["x","y\r\nz"]})"), "headers.A: must be one line."},
      {WithBehaviour(R"("hosts":{"h":{"ip":["","${ip:c}"]}})"),
       "ip[1]: names the server \"c\", which doesn't exist."},
  };
  for (const auto& [text, end] : cases) {
    EXPECT_THAT([&text = text] { Scenario::Parse(text); },
                testing::ThrowsMessage<ScenarioError>(testing::EndsWith(end)))
        << text;
  }
  EXPECT_THROW(Scenario::ParseFile("/"), ScenarioError);
}

// All fields except the book of hosts, whose answer is compared instead.
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
    {"name":"b","address":"127.0.0.2","port_of":"a","answers_per_s":7,"queue":8}]})");
  const Server& a = scenario.servers.at(0);
  EXPECT_EQ(std::tie(a.https, a.address, a.port, a.certificate, a.listening),
            std::tuple(true, "::1", 7, Certificate::kExpired, Listening::kSilent));
  const Server& b = scenario.servers.at(1);
  EXPECT_EQ(std::tie(b.port_of, b.answers_per_s, b.queue), std::tuple("a", 7, 8));
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

TEST(ScenarioTest, ExamplesOfTheDocsParse) {
  size_t count = 0;
  for (const char* name : {"/lab-scenario.md", "/client-guide.md"}) {
    std::ifstream page(STURDY_DOCS + std::string(name));
    const std::string text((std::istreambuf_iterator<char>(page)), {});
    for (size_t at = 0; (at = text.find("```json\n", at)) != std::string::npos; ++count) {
      at += 8;
      EXPECT_NO_THROW(Scenario::Parse(text.substr(at, text.find("\n```", at) - at)));
    }
  }
  EXPECT_EQ(count, 4u);
}

}  // namespace
}  // namespace lab
